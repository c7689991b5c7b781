# SPDX-License-Identifier: Apache-2.0
# microhttpd::microhttpd where libmicrohttpd is installed, which comes without a configuration for CMake.
find_path(GAS_MICROHTTPD_INCLUDE_DIR microhttpd.h)
find_library(GAS_MICROHTTPD_LIBRARY microhttpd)
mark_as_advanced(GAS_MICROHTTPD_INCLUDE_DIR GAS_MICROHTTPD_LIBRARY)
if(GAS_MICROHTTPD_INCLUDE_DIR AND GAS_MICROHTTPD_LIBRARY AND NOT TARGET microhttpd::microhttpd)
    add_library(microhttpd::microhttpd UNKNOWN IMPORTED GLOBAL)
    set_target_properties(microhttpd::microhttpd PROPERTIES
        IMPORTED_LOCATION "${GAS_MICROHTTPD_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${GAS_MICROHTTPD_INCLUDE_DIR}")
endif()
