# SPDX-License-Identifier: Apache-2.0
# Results are the same bits everywhere only if every multiply and add is rounded by itself. The flag
# is for this project's own sources, which may rely on it; inline bodies of public headers, compiled
# in users' files as well, keep their products apart themselves (gas_rounded).
function(gas_exact_floating_point target)
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-ffp-contract=off>
        # Where GCC 11 and 12 make vectors of lone statements, they drop the rounding of two doubles
        # that become floats and doubles again (tests/flags/rounded_pairs.cpp). Loops stay vectors.
        $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
    target_compile_definitions(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:GAS_NOTHING_FUSES>)
endfunction()
