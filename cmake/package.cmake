# SPDX-License-Identifier: Apache-2.0
# A Debian package by `cpack -G DEB`, of what `cmake --install` installs. With /usr as prefix when the
# build is configured, libraries go where the machine's own do.
set(GAS_PACKAGE_CONTACT "The developers of Gas" CACHE STRING
    "Who maintains packages made of this build: a name and an address")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME gas)
set(CPACK_PACKAGE_VENDOR "Gas")
set(CPACK_PACKAGE_CONTACT "${GAS_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "Headers and libraries to trace rays through bounding-volume hierarchies,\n and the program gas.")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# What the package needs is read off its libraries, which find each other before they are installed.
find_program(GAS_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(GAS_DPKG_SHLIBDEPS)
if(GAS_DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/gas")
endif()
include(CPack)
