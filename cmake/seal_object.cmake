# SPDX-License-Identifier: Apache-2.0
# Makes of an object, in a build step, one of which `symbol` alone can be seen from outside.
# Variables: linker, objcopy, objdump, object, symbol, sanitized, sealed.
execute_process(
    COMMAND "${linker}" -r --force-group-allocation -o "${sealed}.open" "${object}"
    COMMAND_ERROR_IS_FATAL ANY)
execute_process(
    COMMAND "${objcopy}" "--keep-global-symbol=${symbol}" "${sealed}.open" "${sealed}"
    COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE "${sealed}.open")

# Sanitizers register themselves at the start, by plain instructions.
if(NOT sanitized)
    execute_process(
        COMMAND "${objdump}" -h "${sealed}"
        OUTPUT_VARIABLE sections
        COMMAND_ERROR_IS_FATAL ANY)
    if(sections MATCHES "\\.(init_array|ctors)")
        file(REMOVE "${sealed}")
        message(FATAL_ERROR
            "${object} has code that runs when a program starts, on any machine. An inline variable "
            "of the host's headers is not initialised by a constant; give it a constexpr "
            "initialiser, or build with GAS_INSTRUCTION_SETS=baseline.")
    endif()
endif()
