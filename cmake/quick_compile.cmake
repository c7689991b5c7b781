# SPDX-License-Identifier: Apache-2.0
# What makes a build quick that is made once, to be tested, and thrown away.
option(GAS_JOIN_SOURCES "Compile the sources of a target together, several files at a time" OFF)
if(GAS_JOIN_SOURCES)
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)
endif()

# Where sources are joined, a target of which nothing but its results counts is not optimised. Their
# flags come after those of the build type.
function(gas_compile_quickly target)
    if(GAS_JOIN_SOURCES)
        target_compile_options(${target} PRIVATE
            $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-O0>)
        # Then headers are most of the work.
        set_target_properties(${target} PROPERTIES UNITY_BUILD_BATCH_SIZE 50)
    endif()
endfunction()

# Sources that a sanitizer watches need not be fast unless they do the work: the library and the
# second implementations are optimised, tests and examples are not.
function(gas_without_optimisation target)
    set_target_properties(${target} PROPERTIES GAS_SANITIZED_LEVEL -O0)
endfunction()

# Where sources are joined, a target that does work in tests alone is optimised a little.
function(gas_optimise_little target)
    if(GAS_JOIN_SOURCES)
        target_compile_options(${target} PRIVATE "$<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-O1>")
        set_target_properties(${target} PROPERTIES GAS_SANITIZED_LEVEL -O1)
    endif()
endfunction()

# Writes one source that holds those named, each in a namespace of its own, so that equal names do not
# meet; their includes come before, at global scope, and are empty inside. `closing` stands at its end.
function(gas_write_joined_source source closing)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGN})
    set(includes)
    set(bodies)
    foreach(joined IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH joined BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
        file(STRINGS "${joined}" joined_includes REGEX "^#include")
        list(APPEND includes ${joined_includes})
        get_filename_component(name "${joined}" NAME_WE)
        string(APPEND bodies "namespace joined_${name} {\n#include \"${joined}\"\n}\n")
    endforeach()
    list(REMOVE_DUPLICATES includes)
    list(JOIN includes "\n" includes)
    file(CONFIGURE OUTPUT "${source}" CONTENT "@includes@\n@bodies@@closing@" @ONLY)
    # A name without linkage of an included file is as good as one of the file itself.
    set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS
        "$<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>")
endfunction()

# Sets the variable `sources` to what is to be compiled of a program's sources: these, or where
# sources are joined its tests up to sixteen in a file.
function(gas_join_tests program)
    if(NOT GAS_JOIN_SOURCES)
        set(sources ${ARGN} PARENT_SCOPE)
        return()
    endif()
    set(tests ${ARGN})
    list(FILTER tests INCLUDE REGEX "_test\\.cpp$")
    set(joined ${ARGN})
    list(FILTER joined EXCLUDE REGEX "_test\\.cpp$")

    set(number 0)
    while(tests)
        list(SUBLIST tests 0 16 some)
        list(REMOVE_ITEM tests ${some})
        set(source "${CMAKE_CURRENT_BINARY_DIR}/joined/${program}_${number}.cpp")
        gas_write_joined_source("${source}" "" ${some})
        list(APPEND joined "${source}")
        math(EXPR number "${number} + 1")
    endwhile()
    set(sources ${joined} PARENT_SCOPE)
endfunction()

# Headers of the standard library that most sources include, parsed once for the named target.
# Never for the library as it is shipped: its sources must include what they use. A target that is
# joined to one file parses them once as it is.
function(gas_precompile_standard_headers target)
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    list(LENGTH sources source_count)
    get_target_property(joined_count ${target} UNITY_BUILD_BATCH_SIZE)
    if(GAS_JOIN_SOURCES AND source_count LESS_EQUAL joined_count)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE
        <algorithm> <array> <atomic> <bit> <cassert> <cmath> <cstdint> <cstring> <functional>
        <limits> <memory> <mutex> <string> <type_traits> <utility> <vector> ${ARGN})
endfunction()
