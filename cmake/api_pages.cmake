# SPDX-License-Identifier: Apache-2.0
# The target gas_api_pages: pages of the public headers in api/ of the build folder. tools/api_pages.sh
# builds it.
find_program(GAS_DOXYGEN doxygen DOC "Doxygen, for the pages of the public headers")
if(NOT GAS_DOXYGEN)
    return()
endif()

set(gas_api_headers)
foreach(library IN ITEMS gas_host gas gas_easy)
    get_target_property(headers ${library} HEADER_SET)
    get_target_property(folder ${library} SOURCE_DIR)
    foreach(header IN LISTS headers)
        cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY "${folder}" NORMALIZE)
        string(APPEND gas_api_headers " \\\n    \"${header}\"")
    endforeach()
endforeach()
set(gas_api_folder "${PROJECT_BINARY_DIR}/api")
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY CONTENT
"@INCLUDE = \"@PROJECT_SOURCE_DIR@/docs/Doxyfile\"
PROJECT_NUMBER = @PROJECT_VERSION@
INPUT =@gas_api_headers@
STRIP_FROM_PATH = \"@PROJECT_SOURCE_DIR@\"
STRIP_FROM_INC_PATH = \"@PROJECT_SOURCE_DIR@\"
OUTPUT_DIRECTORY = \"@gas_api_folder@\"
")
add_custom_target(gas_api_pages
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${gas_api_folder}"
    COMMAND "${GAS_DOXYGEN}" "${PROJECT_BINARY_DIR}/Doxyfile"
    COMMENT "Pages of the public headers"
    VERBATIM)
