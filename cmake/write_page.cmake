# SPDX-License-Identifier: Apache-2.0
# Run by gas_embed_page: writes OUTPUT, the source that holds the page NAME. A string literal holds one
# file, because compilers need not take longer ones than 65,536 bytes. First lines, which name the
# licence, are left out.
function(append_literals files literals all)
    string(REPLACE "|" ";" files "${files}")
    set(text "")
    set(whole "")
    foreach(file IN LISTS files)
        file(READ "${file}" part)
        string(FIND "${part}" "\n" first)
        math(EXPR first "${first} + 1")
        string(SUBSTRING "${part}" ${first} -1 part)
        string(LENGTH "${part}" length)
        if(length GREATER 65000)
            message(FATAL_ERROR "${file}: longer than a string literal may be")
        endif()
        string(APPEND whole "${part}")
        string(APPEND text "    R\"gas_page(${part})gas_page\",\n")
    endforeach()
    set(${literals} "${text}" PARENT_SCOPE)
    set(${all} "${whole}" PARENT_SCOPE)
endfunction()

append_literals("${HTML}" html_literal html)
append_literals("${STYLES}" style_literals style)
append_literals("${SCRIPTS}" script_literals script)
string(SHA256 style_hash "${style}")
string(SHA256 script_hash "${script}")
file(WRITE "${OUTPUT}" "// Made by cmake/write_page.cmake.
#include <apps/gas/page/page_text.h>

namespace gas_app {

namespace {

constexpr std::string_view ${NAME}_page_html[] = {
${html_literal}};
constexpr std::string_view ${NAME}_page_styles[] = {
${style_literals}};
constexpr std::string_view ${NAME}_page_scripts[] = {
${script_literals}};

} // namespace

const PageText ${NAME}_page = {${NAME}_page_html[0], ${NAME}_page_styles, ${NAME}_page_scripts,
    \"${style_hash}\", \"${script_hash}\"};

} // namespace gas_app
")
