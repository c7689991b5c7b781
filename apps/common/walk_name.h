// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/traversal/wide/gas_wide_node.h>

namespace gas_app {

/// How many boxes a node's record gives a ray to test: those of the two children, or of a wide
/// node.
inline unsigned get_node_width(bool is_wide) {
    constexpr unsigned binary_width = 2;
    return is_wide ? GasWideNode::width : binary_width;
}

/// What counts and rates are of, such as "single, width 4, avx2". `way`: single, packets or
/// streams. `width`: of nodes.
inline std::string describe_walk(const std::string& way, const std::string& width,
                                 const std::string& instruction_set) {
    return way + ", width " + width + ", " + instruction_set;
}

} // namespace gas_app
