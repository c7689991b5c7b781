// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/trees/traced_tree.h>

namespace gas_app {

/// A box of a tree: of a node, or of a leaf.
struct TreeBox {
    static constexpr unsigned no_parent = 0xFFFFFFFFu;

    GMathBbox3<float> box;
    /// Its place in the list, and that of its parent, which stands before it.
    unsigned number = 0;
    unsigned parent = no_parent;
    /// From 0, that of the root.
    unsigned level = 0;
    unsigned item_count = 0;
    bool is_leaf = false;
    /// Of this box and all below it: the surface areas over that of the root (the SAH cost, where
    /// the visit of a node and that of a leaf cost 1 each).
    double cost = 0.0;
};

/// All boxes of a tree, as the items have them (not scaled). Of a grid the tree over its cells and,
/// where they are built, those of the cells below it; a cell that is not built is a leaf of several
/// items.
std::vector<TreeBox> list_tree_boxes(const TracedTree& tree);

/// Sums over the boxes of a level.
struct TreeLevel {
    unsigned node_count = 0;
    unsigned leaf_count = 0;
    double cost = 0.0;
    /// The surface area that the children of this level's nodes share with their siblings, over
    /// that of the nodes: about how often a ray that crosses a node crosses both children at one
    /// point.
    double overlap = 0.0;
};

std::vector<TreeLevel> sum_levels(const std::vector<TreeBox>& boxes);

/// The mean over all leaves of their levels, counted from 1.
double get_mean_leaf_depth(const std::vector<TreeLevel>& levels);

/// The boxes of a level that are shown, in the order of the list.
struct ShownLevel {
    /// Of all boxes of the level.
    std::size_t box_count = 0;
    std::vector<TreeBox> boxes;

    /// Keeps only those with the largest areas where there are more than `limit`.
    void keep_largest(std::size_t limit);
};

std::vector<ShownLevel> choose_boxes(const std::vector<TreeBox>& boxes, std::size_t limit);

} // namespace gas_app
