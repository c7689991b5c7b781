// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_upward_pass.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/wide_checker.h>

namespace {

using naive::Box;
using scenes::Kind;
using support::to_boxes;

/// Counts of items whose nodes fill no block, just about one or two, and many.
constexpr unsigned item_counts[] = {2, 3, 63, 64, 65, 66, 128, 129, 130, 3000};

TEST(UpwardPass, ComesToEveryNodeOnceAfterItsChildrenAndTellsHowFarItIs) {
    for (const unsigned item_count : item_counts) {
        GasTree tree;
        const std::vector<Box> boxes = scenes::make(Kind::clustered, item_count, item_count);
        support::build(tree, boxes);
        const GasTreeNode* const nodes = tree.get_nodes();
        const unsigned node_count = tree.get_node_count();
        const CoreArray<GMathBbox3<float>> items = to_boxes(boxes);
        std::vector<unsigned> visits(node_count, 0);
        unsigned last_first = node_count;
        gas_pass_upwards(
            nodes, node_count, gas_host::get_items(items),
            [&](unsigned i) {
                EXPECT_EQ(nodes[i].flags & GasTreeNode::leaf_flag, 1u);
                ++visits[i];
            },
            [&](unsigned i) {
                EXPECT_EQ(nodes[i].flags & GasTreeNode::leaf_flag, 0u);
                EXPECT_EQ(visits[nodes[i].index], 1u);
                EXPECT_EQ(visits[nodes[i].index + 1], 1u);
                ++visits[i];
            },
            [&](unsigned first) {
                EXPECT_LT(first, last_first);
                for (unsigned i = 0; i < node_count; ++i)
                    EXPECT_EQ(visits[i], i < first ? 0u : 1u);
                last_first = first;
            });
        EXPECT_EQ(last_first, 0u);
    }
}

TEST(UpwardPass, WideNodesAndSamplesFollowRefitsOfSeveralBlocks) {
    for (const unsigned item_count : item_counts) {
        GasTree tree;
        tree.set_wide_nodes(true);
        const std::vector<Box> first = scenes::make(Kind::random, item_count, 1);
        const std::vector<Box> second = scenes::make(Kind::clustered, item_count, 2);
        support::build(tree, first);
        support::fill_samples(tree, {first, second});
        EXPECT_EQ(support::find_wide_flaw(tree), "") << item_count;
        ASSERT_TRUE(tree.refit(to_boxes(second)));
        support::fill_samples(tree, {second, first});
        EXPECT_EQ(support::find_wide_flaw(tree), "") << item_count;
        EXPECT_EQ(support::find_flaw(tree, second), "") << item_count;

        // One box out of order, in whichever block it is.
        for (const unsigned item : {0u, item_count / 2, item_count - 1}) {
            std::vector<Box> boxes = first;
            std::swap(boxes[item].min[1], boxes[item].max[1]);
            ASSERT_TRUE(tree.refit(to_boxes(boxes)));
            EXPECT_EQ(support::get_wide_nodes(tree), nullptr) << item_count;
            ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(boxes), 1));
            EXPECT_EQ(support::get_wide_sample(tree, 1), nullptr) << item_count;
        }
        ASSERT_TRUE(tree.refit(to_boxes(first)));
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(first), 1));
        EXPECT_EQ(support::find_wide_flaw(tree), "") << item_count;
    }
}

} // namespace
