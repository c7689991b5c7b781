# SPDX-License-Identifier: Apache-2.0
include(CMakePackageConfigHelpers)

# A host of a renderer's own goes with the library, unless it comes from a package of its own. The
# library is of use to nobody without it.
set(gas_installed_targets gas_host gas)
foreach(target IN ITEMS gas_files gas_easy)
    if(TARGET ${target})
        list(APPEND gas_installed_targets ${target})
    endif()
endforeach()
if(GAS_HOST_TARGET)
    set(gas_installed_host ${GAS_HOST_TARGET})
    get_target_property(gas_aliased_host ${GAS_HOST_TARGET} ALIASED_TARGET)
    if(gas_aliased_host)
        set(gas_installed_host ${gas_aliased_host})
    endif()
    get_target_property(gas_host_is_imported ${gas_installed_host} IMPORTED)
    if(NOT gas_host_is_imported)
        list(APPEND gas_installed_targets ${gas_installed_host})
    endif()
endif()

install(TARGETS ${gas_installed_targets}
    EXPORT gas_targets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILE_SET generated_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(TARGET gas_app)
    install(TARGETS gas_app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    if(TARGET gas_mpi)
        install(TARGETS gas_mpi RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
    install(FILES "${PROJECT_SOURCE_DIR}/apps/gas/help/gas.1"
        DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
    install(FILES "${PROJECT_SOURCE_DIR}/apps/gas/help/gas.bash"
        DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions"
        RENAME gas)
endif()

set(gas_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/gas")
install(EXPORT gas_targets
    FILE gasTargets.cmake
    NAMESPACE gas::
    DESTINATION "${gas_package_dir}")

configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/gasConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/gasConfig.cmake"
    INSTALL_DESTINATION "${gas_package_dir}")
write_basic_package_version_file(
    "${PROJECT_BINARY_DIR}/gasConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/gasConfig.cmake"
    "${PROJECT_BINARY_DIR}/gasConfigVersion.cmake"
    DESTINATION "${gas_package_dir}")

# The flags that a renderer's host needs are known to CMake alone.
if(NOT GAS_HOST_TARGET)
    include(pkg_config)
endif()

# Pages lie to each other as in the source tree, so that their links hold. CMAKE_INSTALL_DOCDIR may be
# that of a project around this one.
set(gas_doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/gas")
install(FILES
        "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        "${PROJECT_SOURCE_DIR}/CONTRIBUTING.md"
        "${PROJECT_SOURCE_DIR}/LICENSE"
        "${PROJECT_SOURCE_DIR}/README.md"
        "${PROJECT_SOURCE_DIR}/SECURITY.md"
    DESTINATION "${gas_doc_dir}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" "${PROJECT_SOURCE_DIR}/examples"
    DESTINATION "${gas_doc_dir}"
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.cpp" PATTERN "*.h"
        REGEX "/own_host/(host/)?CMakeLists[.]txt$")

if(PROJECT_IS_TOP_LEVEL)
    include(package)
endif()
