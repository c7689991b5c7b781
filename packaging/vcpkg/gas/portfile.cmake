# SPDX-License-Identifier: Apache-2.0
# Builds the checkout in which this port lies.
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_cmake_configure(
    SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS
        -DGAS_BUILD_APP=OFF
        -DGAS_BUILD_BENCH=OFF
        -DGAS_BUILD_EXAMPLES=OFF
        -DGAS_BUILD_TESTS=OFF
        -DGAS_INSTALL=ON)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/gas)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE
    "${CURRENT_PACKAGES_DIR}/debug/include"
    "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
