// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace support {

/// Where in a tree something differs.
inline std::string at_node(unsigned node, const char* what) {
    return "node " + std::to_string(node) + ": " + what;
}

} // namespace support
