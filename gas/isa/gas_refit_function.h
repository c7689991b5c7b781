// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_forward.h>
#include <gas/host/host.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// The refit of a GasTree as one instruction set has it; see gas_ray_calls.h.

/// New boxes for nodes whose topology stays.
struct GasNodeRefit {
    GasTreeNode* nodes;
    unsigned node_count;
    /// The items' boxes.
    const GMathBbox3<float>* bboxes;
    /// Get theirs from the nodes'; null where there are none.
    GasWideNode* wide_nodes;
    unsigned wide_count;
};

/// Tells whether every item's box has min <= max, which no NaN has.
using GasRefitFunction = bool (*)(const GasNodeRefit& refit);

} // namespace gas_abi1
