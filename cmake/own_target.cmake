# SPDX-License-Identifier: Apache-2.0
# What every target of this project shares: sources in C++20, exact floating point, hidden symbols,
# our warnings, and the sanitizers that were asked for. Nothing of it reaches a user of the installed
# library.
function(gas_own_target target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    gas_exact_floating_point(${target})
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${target} PRIVATE
        $<BUILD_INTERFACE:gas_warnings>
        $<BUILD_INTERFACE:gas_sanitizers>)
endfunction()
