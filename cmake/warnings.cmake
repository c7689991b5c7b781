# SPDX-License-Identifier: Apache-2.0
add_library(gas_warnings INTERFACE)
target_compile_options(gas_warnings INTERFACE
    -Wall
    -Wextra
    -Wpedantic
    -Wconversion
    -Wdouble-promotion
    -Wshadow
    # GCC 12 sees overlapping copies in the strings of its own library where there are none.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    $<$<BOOL:${GAS_WERROR}>:-Werror>)
