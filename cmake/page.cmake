# SPDX-License-Identifier: Apache-2.0
# Embeds a page in a program: its html, the style sheets and the scripts in this order, as text, and the
# hashes by which a content security policy lets nothing else run.
#
# gas_embed_page(<target> <name> HTML <file> STYLES <files> SCRIPTS <files>)
#
# `const PageText <name>_page` of apps/gas/page/page_text.h is then defined in the target.
function(gas_embed_page target name)
    cmake_parse_arguments(PARSE_ARGV 2 page "" "HTML" "STYLES;SCRIPTS")
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}_page.cpp")
    list(JOIN page_STYLES "|" styles)
    list(JOIN page_SCRIPTS "|" scripts)
    add_custom_command(
        OUTPUT "${source}"
        COMMAND "${CMAKE_COMMAND}" "-DNAME=${name}" "-DHTML=${page_HTML}" "-DSTYLES=${styles}"
            "-DSCRIPTS=${scripts}" "-DOUTPUT=${source}"
            -P "${PROJECT_SOURCE_DIR}/cmake/write_page.cmake"
        DEPENDS ${page_HTML} ${page_STYLES} ${page_SCRIPTS}
            "${PROJECT_SOURCE_DIR}/cmake/write_page.cmake"
        WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}"
        COMMENT "Embedding the page ${name}"
        VERBATIM)
    target_sources(${target} PRIVATE "${source}")
endfunction()
