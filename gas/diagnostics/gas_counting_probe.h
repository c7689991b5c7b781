// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/diagnostics/gas_walk_counts.h>

inline namespace gas_abi1 {

/// The probe of the counting walks.
struct GasCountingProbe {
    GasWalkCounts& counts;

    void visit_node() const { ++counts.visited_nodes; }
    void call_leaf() const { ++counts.leaf_calls; }
};

} // namespace gas_abi1
