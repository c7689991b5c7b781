// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/gas_export.h>

inline namespace gas_abi1 {

/// The arrays and numbers of a GasCompressedTree, all that it holds but its callbacks, as
/// GasTreeArrays are of a GasTree.
struct GasCompressedTreeArrays {
    /// One less than leaves, but 1 for a lone leaf.
    GasCompressedNode* nodes = nullptr;
    /// The index array, one for each leaf; or null.
    unsigned* items = nullptr;
    unsigned leaf_count = 0;
    unsigned depth = 0;
    /// Whether every item's box has min <= max and a centre that is no NaN.
    bool are_boxes_ordered = false;
    GMathBbox3<float> bbox = {};
    /// For each sample the nodes' pairs of boxes, readable 9 bytes past the last; null where it was
    /// never filled.
    unsigned char** samples = nullptr;
    unsigned sample_count = 0;
    /// The root's box in each sample.
    const GMathBbox3<float>* sample_bboxes = nullptr;

    unsigned get_node_count() const { return leaf_count > 1 ? leaf_count - 1 : 1; }

    /// What `tree`, which is not empty, holds.
    GAS_EXPORT static GasCompressedTreeArrays of(const GasCompressedTree& tree);
    /// Puts these into `tree` as GasTreeArrays::give_to does.
    GAS_EXPORT void give_to(GasCompressedTree& tree, const GasArrayBlock& block) const;
};

} // namespace gas_abi1
