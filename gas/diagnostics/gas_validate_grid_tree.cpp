// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include <gas/diagnostics/gas_validate_arrays.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

/// The cells' boxes, as the leaves of the top tree have them.
std::vector<GasLaneBox> get_cell_boxes(const GasTree& top_tree) {
    std::vector<GasLaneBox> boxes(top_tree.get_leaf_count());
    for (unsigned i = 0; i < top_tree.get_node_count(); ++i) {
        const GasTreeNode& node = top_tree.get_nodes()[i];
        if (node.flags & GasTreeNode::leaf_flag)
            boxes[node.index] = gas_load_box(node);
    }
    return boxes;
}

void validate_cell(const GasGridTree& grid, unsigned cell, const GasLaneBox& cell_box,
                   GasFlawList& flaws) {
    const GasGridSubTree* const tree = grid.find_sub_tree(cell);
    if (!tree)
        return;
    if (tree->get_leaf_count() != grid.get_cell_item_count(cell)) {
        flaws.add("the tree has ", tree->get_leaf_count(), " leaves for ",
                  grid.get_cell_item_count(cell), " items");
        return;
    }
    const GasCompressedTreeArrays arrays = GasCompressedTreeArrays::of(*tree);
    if (!arrays.items ||
        !std::equal(arrays.items, arrays.items + arrays.leaf_count, grid.get_cell_items(cell)))
        flaws.add("the tree has other items than the cell");
    const GasLaneBox box = GasLaneBox::load(tree->get_bbox());
    const SimdF beyond = (box.min < cell_box.min) | (cell_box.max < box.max);
    if ((beyond.get_mask() & 7) != 0)
        flaws.add("the tree's box is not in that of the cell: other boxes were given when it was"
                  " built than before");
    // Samples come when a ray in motion does; those that are still to be filled are not looked at.
    if (tree->is_motion_update_pending()) {
        GasCompressedTreeArrays still = arrays;
        still.sample_count = 0;
        gas_validate(still, {}, flaws);
        return;
    }
    gas_validate(arrays, {}, flaws);
}

} // namespace

std::vector<std::string> gas_validate(const GasGridTree& grid,
                                      const GasValidateSettings& settings) {
    const GasTree& top_tree = grid.get_top_tree();
    GasValidateSettings top_settings;
    top_settings.max_count = settings.max_count;
    std::vector<std::string> top_flaws = gas_validate(top_tree, top_settings);
    for (std::string& flaw : top_flaws)
        flaw.insert(0, "tree over the cells: ");
    if (!top_flaws.empty())
        return top_flaws;

    GasFlawList flaws(settings.max_count);
    if (top_tree.get_leaf_count() != grid.get_cell_count()) {
        flaws.add("the tree over the cells has ", top_tree.get_leaf_count(), " leaves for ",
                  grid.get_cell_count(), " cells");
        return flaws.take();
    }
    const std::vector<GasLaneBox> boxes = get_cell_boxes(top_tree);
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        const GasFlawList::Place place(flaws, "cell ", cell);
        validate_cell(grid, cell, boxes[cell], flaws);
    }
    return flaws.take();
}

} // namespace gas_abi1
