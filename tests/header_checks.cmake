# Lane back ends compile only on their machines.
set(gas_foreign_headers)
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND gas_foreign_headers gas/host/simd/simd_sse2.h)
endif()
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
    list(APPEND gas_foreign_headers gas/host/simd/simd_neon.h)
endif()

# Adds a test that compiles every header of a file set by itself, once for each file and included
# twice in it, under the given language standard.
function(gas_add_header_check name standard header_set_property)
    set(sources)
    foreach(library IN ITEMS gas_host gas)
        get_target_property(headers ${library} ${header_set_property})
        get_target_property(folder ${library} SOURCE_DIR)
        foreach(header IN LISTS headers)
            if(NOT header)
                continue()
            endif()
            cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY "${folder}" NORMALIZE)
            cmake_path(RELATIVE_PATH header BASE_DIRECTORY "${PROJECT_SOURCE_DIR}"
                OUTPUT_VARIABLE include_path)
            if(include_path IN_LIST gas_foreign_headers)
                continue()
            endif()
            set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}/${include_path}.cpp")
            file(CONFIGURE OUTPUT "${source}"
                CONTENT "#include <@include_path@>\n#include <@include_path@>\n" @ONLY)
            list(APPEND sources "${source}")
        endforeach()
    endforeach()
    if(NOT sources)
        return()
    endif()

    add_library(gas_${name} OBJECT EXCLUDE_FROM_ALL ${sources})
    target_link_libraries(gas_${name} PRIVATE gas::gas gas_warnings gas_sanitizers)
    target_compile_features(gas_${name} PRIVATE ${standard})
    string(REGEX MATCH "[0-9]+$" year ${standard})
    set_target_properties(gas_${name} PROPERTIES
        CXX_STANDARD ${year}
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF)

    add_test(NAME ${name}
        COMMAND "${CMAKE_COMMAND}" --build "${PROJECT_BINARY_DIR}" --target gas_${name})
    # Two builds in one folder would get in each other's way.
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK gas_build_folder)
endfunction()
