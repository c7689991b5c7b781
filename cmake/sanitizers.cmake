# SPDX-License-Identifier: Apache-2.0
add_library(gas_sanitizers INTERFACE)

if(GAS_SANITIZE)
    set(gas_sanitizer_flags -fsanitize=${GAS_SANITIZE} -fno-sanitize-recover=all)
    if(GAS_SANITIZE MATCHES "undefined")
        # A float out of an integer's range is not part of "undefined", and is what we care about.
        list(APPEND gas_sanitizer_flags -fsanitize=float-cast-overflow)
        if(GAS_SANITIZE MATCHES "address")
            # Accesses through null and beyond objects are the address sanitizer's to find; a null
            # that is bound or called on without an access goes unseen.
            list(APPEND gas_sanitizer_flags -fno-sanitize=null,object-size)
            # Up to Clang 14 frames are on the stack unless a run asks for others, and none does;
            # later ones look for uses of frames that have returned, which stays.
            if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang"
               AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15)
                list(APPEND gas_sanitizer_flags -fsanitize-address-use-after-return=never)
            endif()
        endif()
    endif()
    # Lines are enough for a report; whole debug information takes a quarter more of compiling.
    target_compile_options(gas_sanitizers INTERFACE
        ${gas_sanitizer_flags}
        # Packages' headers are not ours to watch.
        $<$<CXX_COMPILER_ID:Clang>:-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/unwatched_headers.txt>
        $<IF:$<BOOL:$<TARGET_PROPERTY:GAS_SANITIZED_LEVEL>>,$<TARGET_PROPERTY:GAS_SANITIZED_LEVEL>,-O2>
        -g1 -fno-omit-frame-pointer)
    target_compile_definitions(gas_sanitizers INTERFACE _GLIBCXX_ASSERTIONS GAS_INLINE_FREELY)
    target_link_options(gas_sanitizers INTERFACE ${gas_sanitizer_flags})
endif()
