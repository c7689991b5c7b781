# SPDX-License-Identifier: Apache-2.0
# The walks of rays for instruction sets beyond the one that a build is for; which to use is chosen
# at run time (gas/isa/).
#
# Inline functions and templates are compiled in every file that uses them, and the linker keeps one
# copy of each, from wherever it likes. A copy with AVX2 must not become that of a program that
# starts on a machine without. So what is compiled for an instruction set becomes one object, in
# which all but its table of functions is made local (seal_object.cmake).
set(GAS_INSTRUCTION_SETS "auto" CACHE STRING
    "Beside the baseline: auto (those that the compiler has), baseline (none) or avx2")
set_property(CACHE GAS_INSTRUCTION_SETS PROPERTY STRINGS auto baseline avx2)
if(NOT GAS_INSTRUCTION_SETS MATCHES "^(auto|baseline|avx2)$")
    message(FATAL_ERROR
        "GAS_INSTRUCTION_SETS is auto, baseline or avx2, not '${GAS_INSTRUCTION_SETS}'")
endif()

# GNU's, of which alone is known that it dissolves groups of sections.
find_program(GAS_GNU_LINKER NAMES ld.bfd DOC "GNU ld, which joins what is compiled for AVX2")
mark_as_advanced(GAS_GNU_LINKER)
set(gas_can_build_avx2 OFF)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$"
        AND CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$" AND GAS_SIMD MATCHES "^(auto|sse2)$"
        AND GAS_GNU_LINKER AND CMAKE_OBJCOPY AND CMAKE_OBJDUMP)
    set(gas_can_build_avx2 ON)
endif()
if(GAS_INSTRUCTION_SETS STREQUAL "avx2" AND NOT gas_can_build_avx2)
    message(FATAL_ERROR "AVX2 code needs x86-64 Linux, GCC or Clang, GNU ld and objcopy")
endif()

# gas_add_instruction_set(<library> <name> <source> <flag>...): compiles the source with the flags,
# and puts the sealed object into the library.
function(gas_add_instruction_set library name source)
    set(object ${library}_${name})
    add_library(${object} OBJECT "${source}")
    gas_own_target(${object})
    # A linker cannot join what waits for its optimisation, and unique symbols cannot be made local.
    target_compile_options(${object} PRIVATE
        $<TARGET_PROPERTY:${library},COMPILE_OPTIONS> ${ARGN} -fno-lto
        $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    target_compile_definitions(${object} PRIVATE $<TARGET_PROPERTY:${library},COMPILE_DEFINITIONS>)
    target_include_directories(${object} PRIVATE $<TARGET_PROPERTY:${library},INCLUDE_DIRECTORIES>)
    set_target_properties(${object} PROPERTIES UNITY_BUILD OFF)
    get_target_property(type ${library} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
        set_target_properties(${object} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    endif()

    set(sealed "${CMAKE_CURRENT_BINARY_DIR}/${object}.o")
    add_custom_command(OUTPUT "${sealed}"
        COMMAND "${CMAKE_COMMAND}" "-Dlinker=${GAS_GNU_LINKER}" "-Dobjcopy=${CMAKE_OBJCOPY}"
            "-Dobjdump=${CMAKE_OBJDUMP}" "-Dobject=$<TARGET_OBJECTS:${object}>"
            "-Dsymbol=gas_abi1_${name}_ray_calls" "-Dsanitized=${GAS_SANITIZE}"
            "-Dsealed=${sealed}" -P "${PROJECT_SOURCE_DIR}/cmake/seal_object.cmake"
        DEPENDS $<TARGET_OBJECTS:${object}> "${PROJECT_SOURCE_DIR}/cmake/seal_object.cmake"
        COMMENT "Sealing ${object}"
        VERBATIM)
    set_source_files_properties("${sealed}" PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
    target_sources(${library} PRIVATE "${sealed}")
    string(TOUPPER "${name}" upper_name)
    target_compile_definitions(${library} PRIVATE GAS_HAS_${upper_name}=1)
endfunction()

# gas_add_instruction_sets(<library> <source for AVX2> <flag>...): all that were asked for and can be
# built. The flags come last and must optimise, in debug builds too: without, constants are
# initialised by code that runs on any machine.
function(gas_add_instruction_sets library avx2_source)
    if(gas_can_build_avx2 AND NOT GAS_INSTRUCTION_SETS STREQUAL "baseline")
        # Of 256 bits at a time only what is written so: arithmetic of that width lowers the clock of
        # some processors, for the host's callbacks too.
        gas_add_instruction_set(${library} avx2 "${avx2_source}" -mavx2 -mprefer-vector-width=128
            ${ARGN})
    endif()
endfunction()
