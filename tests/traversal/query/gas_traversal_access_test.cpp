// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/row_of_boxes.h>

namespace {

using naive::Box;
using Access = GasTraversalAccess;

class TraversalAccess : public testing::Test {
  protected:
    GasTree tree;
    GasTreeCtx ctx;
};

TEST_F(TraversalAccess, NodesGiveTheirChildrenOrTheirLeafPosition) {
    const std::vector<unsigned> indices = {70, 60, 50, 40, 30, 20, 10};
    support::build(tree, support::row_of_boxes(7), naive::Split::sah, indices);
    std::vector<unsigned> leaves(7, 0);
    std::vector<unsigned> reached(tree.get_node_count(), 0);
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        if (Access::is_node_a_leaf(tree, ctx, node)) {
            const unsigned leaf = Access::get_leaf_value(tree, ctx, node);
            ASSERT_LT(leaf, 7u);
            ++leaves[leaf];
            continue;
        }
        unsigned first = 0;
        unsigned second = 0;
        Access::get_node_children(tree, ctx, node, first, second);
        EXPECT_EQ(first, tree.get_nodes()[node].index);
        EXPECT_EQ(second, first + 1);
        ASSERT_LT(second, tree.get_node_count());
        ++reached[first];
        ++reached[second];
    }
    EXPECT_EQ(leaves, std::vector<unsigned>(7, 1));
    EXPECT_EQ(reached[0], 0u);
    for (unsigned node = 1; node < tree.get_node_count(); ++node)
        EXPECT_EQ(reached[node], 1u);
}

/// Both forms of a box must agree and have zeros, of positive sign, in their fourth lanes.
void expect_box(const GasBbox& bbox, const SimdF& min, const SimdF& max, const Box& expected) {
    const GasBbox all_forms[2] = {bbox,
                                  {{min.get(0), min.get(1), min.get(2), min.get(3)},
                                   {max.get(0), max.get(1), max.get(2), max.get(3)}}};
    for (const GasBbox& form : all_forms) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(form.min[axis], expected.min[axis]);
            EXPECT_EQ(form.max[axis], expected.max[axis]);
        }
        const float zero = 0.0f;
        EXPECT_EQ(std::memcmp(&form.min[3], &zero, sizeof zero), 0);
        EXPECT_EQ(std::memcmp(&form.max[3], &zero, sizeof zero), 0);
    }
}

TEST_F(TraversalAccess, BoxesHaveZeroFourthLanesWhateverTheWordsHold) {
    support::build(tree, {{{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}}});
    auto& node = const_cast<GasTree::Node&>(tree.get_nodes()[0]);
    const GasTree::Node original = node;
    for (const unsigned word : {0u, 1u, 0x7fc00000u, 0x7f800000u, 0x80000000u, 0xffffffffu}) {
        node.index = word;
        node.flags = word;
        GasBbox bbox = {{9.0f, 9.0f, 9.0f, 9.0f}, {9.0f, 9.0f, 9.0f, 9.0f}};
        SimdF min(9.0f);
        SimdF max(9.0f);
        Access::get_node_bbox(tree, ctx, 0u, bbox);
        Access::get_node_bbox(tree, ctx, 0u, min, max);
        expect_box(bbox, min, max, {{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}});
    }
    node = original;
}

TEST_F(TraversalAccess, SampleBoxesHaveZeroFourthLanesUpToTheLastNode) {
    const std::vector<Box> boxes = support::row_of_boxes(3);
    const std::vector<Box> moved = support::row_of_boxes(3, 100.0f);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, moved});
    for (unsigned sample = 0; sample < 2; ++sample) {
        for (unsigned node = 0; node < tree.get_node_count(); ++node) {
            GasBbox bbox = {{9.0f, 9.0f, 9.0f, 9.0f}, {9.0f, 9.0f, 9.0f, 9.0f}};
            SimdF min(9.0f);
            SimdF max(9.0f);
            Access::get_blurred_node_bbox(tree, ctx, node, sample, bbox);
            Access::get_blurred_node_bbox(tree, ctx, node, sample, min, max);
            const GasTree::Node& record = tree.get_nodes()[node];
            Box expected = support::from_corners(record.bbox_min, record.bbox_max);
            expected.min[0] += sample == 1 ? 100.0f : 0.0f;
            expected.max[0] += sample == 1 ? 100.0f : 0.0f;
            expect_box(bbox, min, max, expected);
        }
    }
}

TEST_F(TraversalAccess, EmptyOperationsLeaveTheFrameAlone) {
    support::build(tree, support::row_of_boxes(3));
    Access::init_traversal(tree, ctx);
    Access::free_node(tree, ctx, 0u);
    Access::deinit_traversal(tree, ctx);
    EXPECT_EQ(ctx.stack, nullptr);
    EXPECT_EQ(ctx.decoded_boxes, nullptr);
    EXPECT_EQ(ctx.node_states, nullptr);
    EXPECT_EQ(ctx.indices, nullptr);
}

} // namespace
