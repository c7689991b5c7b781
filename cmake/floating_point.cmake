# Results are the same bits everywhere only if every multiply and add is rounded by itself. The
# flag is public, because inline code of the headers is compiled in users' files too.
function(gas_exact_floating_point target)
    target_compile_options(${target} PUBLIC
        $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-ffp-contract=off>)
endfunction()
