# SPDX-License-Identifier: Apache-2.0
# OpenEXR::OpenEXR where it is installed. Its configuration talks of parts that nobody asked for.
set(CMAKE_MESSAGE_LOG_LEVEL NOTICE)
find_package(OpenEXR 3 CONFIG QUIET)
unset(CMAKE_MESSAGE_LOG_LEVEL)
