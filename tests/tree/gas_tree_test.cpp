// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>

#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

TEST(GasTree, ANodeIsTwoHalvesOfFourWords) {
    EXPECT_EQ(sizeof(GasTree::Node), 32u);
    EXPECT_EQ(alignof(GasTree::Node), 16u);
    EXPECT_EQ(offsetof(GasTree::Node, bbox_min), 0u);
    EXPECT_EQ(offsetof(GasTree::Node, index), 12u);
    EXPECT_EQ(offsetof(GasTree::Node, bbox_max), 16u);
    EXPECT_EQ(offsetof(GasTree::Node, flags), 28u);
}

TEST(GasTree, ASplitCallbackLastsUntilTheNextBuild) {
    GasTree tree;
    tree.set_split_callback(nullptr);
    EXPECT_EQ(tree.get_split_callback(), nullptr);
    tree.set_split_callback(GasTree::split_median);
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_median);
    tree.create(support::to_boxes(scenes::make(scenes::Kind::random, 9, 1)), nullptr, nullptr,
                1.0f);
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_sah_bins_fast);
}
