# SPDX-License-Identifier: Apache-2.0
# Our warnings are about our code: to this target, headers of a renderer's host are those of a system.
# Our own are not, where a host that borrows parts of the reference host brings their folders along.
function(gas_spare_host target host)
    set(folders $<TARGET_PROPERTY:${host},INTERFACE_INCLUDE_DIRECTORIES>)
    foreach(own IN ITEMS "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/include")
        target_include_directories(${target} PRIVATE "${own}")
        string(REGEX REPLACE "([][+.*()^$?|])" "\\\\\\1" own "${own}")
        set(folders $<FILTER:${folders},EXCLUDE,^${own}$>)
    endforeach()
    target_include_directories(${target} SYSTEM PRIVATE ${folders})
endfunction()

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
    if(GAS_HOST_TARGET)
        gas_spare_host(${target} ${GAS_HOST_TARGET})
    endif()
endfunction()
