// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/traversal/wide/gas_wide_node.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// The arrays and numbers of a GasTree, all that it holds but its callbacks: for code that keeps
/// trees elsewhere and makes them anew from there.
struct GasTreeArrays {
    /// 2 * leaf_count - 1 nodes.
    GasTreeNode* nodes = nullptr;
    /// The index array, one for each leaf; or null.
    unsigned* items = nullptr;
    unsigned leaf_count = 0;
    unsigned depth = 0;
    /// Of every leaf: min <= max and a centre that is no NaN.
    bool are_boxes_ordered = false;
    /// For each sample the nodes' boxes, readable one float past the last; null where it was never
    /// filled.
    GMathBbox3<float>** samples = nullptr;
    unsigned sample_count = 0;
    /// Whether some are to be made where there are none.
    bool wants_wide_nodes = false;
    /// Null where there are none.
    GasWideNode* wide_nodes = nullptr;
    unsigned wide_count = 0;
    bool are_wide_boxes_ordered = false;
    /// Of as many samples as the tree has or more; of none where none was filled.
    GasWideSampleRecords wide_samples;
    /// For each sample whether every item's box has min <= max; may be null without wide samples.
    const bool* are_samples_ordered = nullptr;

    unsigned get_node_count() const { return 2 * leaf_count - 1; }

    /// What `tree`, which is not empty, holds; `are_samples_ordered` stays null.
    GAS_EXPORT static GasTreeArrays of(const GasTree& tree);
    /// Whether boxes of `sample` stand in the tree's wide samples, and are ordered and finite.
    GAS_EXPORT static bool is_sample_walked(const GasTree& tree, unsigned sample);

    /// Puts these into `tree` in place of what it held, of which copies keep theirs. All arrays lie
    /// in `block`, which is the tree's from now on, also where std::bad_alloc is thrown; then the
    /// tree stays as it was. Callbacks stay. A tree that wants wide nodes has some made where these
    /// have none, and one that is given some wants them from then on.
    GAS_EXPORT void give_to(GasTree& tree, const GasArrayBlock& block) const;
};

} // namespace gas_abi1
