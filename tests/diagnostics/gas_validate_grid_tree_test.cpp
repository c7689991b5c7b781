// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/diagnostics/gas_validate.h>
#include <gas/tree/gas_tree_arrays.h>

#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>

namespace {

using support::GridItems;
using Flaws = std::vector<std::string>;

struct GasValidateGridTree : testing::Test {
    GasValidateGridTree() : items(support::make_clusters(3, 30)) {
        items.speeds.assign(items.get_count(), 1.0f);
        items.build(grid, support::get_cluster_target(3));
    }

    GridItems items;
    GasGridTree grid;
};

} // namespace

TEST_F(GasValidateGridTree, NothingIsWrongWithAGridWhateverOfItIsBuilt) {
    EXPECT_EQ(gas_validate(GasGridTree()), Flaws());
    EXPECT_EQ(gas_validate(grid), Flaws());
    support::reach_all_cells(grid);
    EXPECT_EQ(support::get_built_cells(grid).size(), 3u);
    EXPECT_EQ(gas_validate(grid), Flaws());
    const CtxMotionBlur motion(0.0f, 1.0f, 3);
    grid.update_motion_blur(motion);
    EXPECT_EQ(gas_validate(grid), Flaws());
    support::reach_all_cells(grid, motion);
    EXPECT_EQ(gas_validate(grid), Flaws());
    const GasGridTree copy(grid);
    EXPECT_EQ(gas_validate(copy), Flaws());
    grid.clear();
    EXPECT_EQ(gas_validate(grid), Flaws());
}

TEST_F(GasValidateGridTree, WhatIsWrongIsToldOfItsCell) {
    support::reach_all_cells(grid);
    const GasCompressedTreeArrays arrays = GasCompressedTreeArrays::of(*grid.find_sub_tree(1));
    const unsigned child = arrays.nodes[0].children[0];
    arrays.nodes[0].children[0] = 0;
    EXPECT_EQ(gas_validate(grid).front(), "cell 1: node 0: its children are not nodes behind it");
    arrays.nodes[0].children[0] = child;
    arrays.items[5] += 1;
    EXPECT_EQ(gas_validate(grid), Flaws{"cell 1: the tree has other items than the cell"});
    arrays.items[5] -= 1;
    EXPECT_EQ(gas_validate(grid), Flaws());
    GasTreeNode& root = GasTreeArrays::of(grid.get_top_tree()).nodes[0];
    root.bbox_min.y -= 1.0f;
    EXPECT_EQ(gas_validate(grid).front(),
              "tree over the cells: node 0: the box is not the union of those of its children, "
              "the nodes 1 and 2");
    root.bbox_min.y += 1.0f;
}

// Rays that reach the items outside would miss the cell.
TEST_F(GasValidateGridTree, BoxesThatLeaveTheirCellAreTold) {
    GridItems wandering(support::make_clusters(3, 30));
    std::vector<naive::Box> shrunk = wandering.get_boxes();
    for (naive::Box& box : shrunk)
        box.max[1] = box.min[1];
    wandering.attach(grid);
    grid.create(support::to_boxes(shrunk), support::get_cluster_target(3), nullptr, nullptr);
    support::reach_all_cells(grid);
    const Flaws flaws = gas_validate(grid);
    ASSERT_EQ(flaws.size(), 3u);
    EXPECT_EQ(flaws[2], "cell 2: the tree's box is not in that of the cell: other boxes were given "
                        "when it was built than before");
}
