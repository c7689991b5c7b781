# SPDX-License-Identifier: Apache-2.0
# Sets `result` to whether a header, directly or not, includes the host.
function(gas_includes_host header result)
    set(headers "${header}")
    set(seen)
    while(headers)
        list(POP_FRONT headers next)
        list(APPEND seen "${next}")
        if(EXISTS "${PROJECT_SOURCE_DIR}/${next}")
            file(STRINGS "${PROJECT_SOURCE_DIR}/${next}" includes REGEX "^#include <gas/")
            list(TRANSFORM includes REPLACE "^#include <(.*)>$" "\\1")
            list(APPEND headers ${includes})
            list(REMOVE_ITEM headers ${seen})
        endif()
    endwhile()
    set(includes_host FALSE)
    if("gas/host/host.h" IN_LIST seen AND NOT "${header}" STREQUAL "gas/host/host.h")
        set(includes_host TRUE)
    endif()
    set(${result} ${includes_host} PARENT_SCOPE)
endfunction()

function(gas_add_headers_library name standard)
    add_library(${name} OBJECT EXCLUDE_FROM_ALL ${ARGN})
    target_link_libraries(${name} PRIVATE gas::easy gas::files gas_warnings gas_sanitizers)
    target_compile_features(${name} PRIVATE ${standard})
    gas_compile_quickly(${name})
    string(REGEX MATCH "[0-9]+$" year ${standard})
    set_target_properties(${name} PROPERTIES
        CXX_STANDARD ${year}
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF)
endfunction()

# Adds a test that compiles every header of a file set by itself, once for each file and included
# twice in it, under the given language standard. The host, which nearly all include, is parsed
# once, and only for those that include it.
function(gas_add_header_check name standard header_set_property)
    set(sources_over_host)
    set(sources)
    foreach(library IN ITEMS gas_host gas gas_files gas_easy)
        get_target_property(headers ${library} ${header_set_property})
        get_target_property(folder ${library} SOURCE_DIR)
        foreach(header IN LISTS headers)
            if(NOT header)
                continue()
            endif()
            cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY "${folder}" NORMALIZE)
            cmake_path(RELATIVE_PATH header BASE_DIRECTORY "${PROJECT_SOURCE_DIR}"
                OUTPUT_VARIABLE include_path)
            set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}/${include_path}.cpp")
            file(CONFIGURE OUTPUT "${source}"
                CONTENT "#include <@include_path@>\n#include <@include_path@>\n" @ONLY)
            gas_includes_host("${include_path}" includes_host)
            if(includes_host)
                list(APPEND sources_over_host "${source}")
            else()
                list(APPEND sources "${source}")
            endif()
        endforeach()
    endforeach()
    set(libraries)
    if(sources)
        gas_add_headers_library(gas_${name} ${standard} ${sources})
        list(APPEND libraries gas_${name})
    endif()
    if(sources_over_host)
        gas_add_headers_library(gas_${name}_over_host ${standard} ${sources_over_host})
        target_precompile_headers(gas_${name}_over_host PRIVATE <gas/host/host.h>)
        list(APPEND libraries gas_${name}_over_host)
    endif()

    add_test(NAME ${name}
        COMMAND "${CMAKE_COMMAND}" --build "${PROJECT_BINARY_DIR}" --target ${libraries})
    # Two builds in one folder would get in each other's way.
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK gas_build_folder)
endfunction()

# Compiles all public headers together as a program without exceptions and type information does,
# their templates for a type or two.
function(gas_add_headers_without_exceptions)
    set(includes)
    foreach(library IN ITEMS gas_host gas gas_files gas_easy)
        get_target_property(headers ${library} HEADER_SET)
        get_target_property(folder ${library} SOURCE_DIR)
        foreach(header IN LISTS headers)
            cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY "${folder}" NORMALIZE)
            cmake_path(RELATIVE_PATH header BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
            string(APPEND includes "#include <${header}>\n")
        endforeach()
    endforeach()
    set(source "${CMAKE_CURRENT_BINARY_DIR}/headers_without_exceptions.cpp")
    file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT "@includes@
template class CoreArray<int>;
template class CoreVector<int>;
template struct GMathVec3<float>;
template struct GMathBbox3<double>;
")
    add_library(gas_headers_without_exceptions OBJECT "${source}")
    target_link_libraries(gas_headers_without_exceptions PRIVATE gas::easy gas::files gas_warnings)
    target_compile_options(gas_headers_without_exceptions PRIVATE
        -O0 -fno-exceptions -fno-rtti)
    set_target_properties(gas_headers_without_exceptions PROPERTIES
        CXX_STANDARD 17
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF)
endfunction()
