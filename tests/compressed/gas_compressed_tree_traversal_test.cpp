// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/compressed_checker.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using support::is_leaf;

/// Drives the traversal interface as a walk of the caller's own does.
class Slots : public testing::Test {
  protected:
    void build(const std::vector<Box>& boxes, naive::Split split = naive::Split::median) {
        support::build(tree, boxes, split);
        ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
        tree.init_traversal(ctx);
    }

    struct Children {
        unsigned first;
        unsigned second;
        bool operator==(const Children&) const = default;
    };

    Children expand(unsigned slot) {
        Children children = {77, 77};
        tree.get_node_children(ctx, slot, children.first, children.second);
        return children;
    }

    void expect_box(unsigned slot, const Box& expected) {
        GasBbox bbox = {{9, 9, 9, 9}, {9, 9, 9, 9}};
        tree.get_node_bbox(ctx, slot, bbox);
        SimdF min(9.0f);
        SimdF max(9.0f);
        tree.get_node_bbox(ctx, slot, min, max);
        const GasBbox lanes = {{min.get(0), min.get(1), min.get(2), min.get(3)},
                               {max.get(0), max.get(1), max.get(2), max.get(3)}};
        const GasBbox wide = {{expected.min[0], expected.min[1], expected.min[2], 0},
                              {expected.max[0], expected.max[1], expected.max[2], 0}};
        EXPECT_EQ(std::memcmp(&bbox, &wide, sizeof wide), 0);
        EXPECT_EQ(std::memcmp(&lanes, &wide, sizeof wide), 0);
        for (const unsigned sample : {0u, 5u}) { // which is ignored
            GasBbox blurred = {{9, 9, 9, 9}, {9, 9, 9, 9}};
            tree.get_blurred_node_bbox(ctx, slot, sample, blurred);
            EXPECT_EQ(std::memcmp(&blurred, &wide, sizeof wide), 0);
            tree.get_blurred_node_bbox(ctx, slot, sample, min, max);
            min.store(blurred.min);
            max.store(blurred.max);
            EXPECT_EQ(std::memcmp(&blurred, &wide, sizeof wide), 0);
        }
    }

    GasCompressedTree tree;
    GasTreeCtx ctx;
};

} // namespace

TEST_F(Slots, AWalkStartsAtTheRootInSlotZero) {
    build({{{-1, -2, -3}, {4, 5, 6}}, {{-1, -2, -3}, {4, 5, 6}}});
    EXPECT_EQ(ctx.counters[0], 1u); // the next unused slot
    EXPECT_EQ(ctx.counters[1], 0u); // freed slots
    EXPECT_FALSE(tree.is_node_a_leaf(ctx, 0));
    expect_box(0, {{-1, -2, -3}, {4, 5, 6}});
    EXPECT_EQ(static_cast<const unsigned*>(ctx.node_states)[0], 0u);
    EXPECT_EQ(static_cast<const unsigned*>(ctx.node_states)[1], 0u);
}

TEST_F(Slots, TheFirstSlotsAreOneAndTwoAndFreedOnesComeBackLastFirst) {
    build(support::row_of_boxes(16));
    EXPECT_EQ(expand(0), (Children{1, 2}));
    EXPECT_EQ(ctx.counters[0], 3u);
    tree.free_node(ctx, 1);
    EXPECT_EQ(ctx.counters[1], 1u);
    EXPECT_EQ(ctx.indices[0], 1u);
    EXPECT_EQ(expand(2), (Children{1, 3}));
    EXPECT_EQ(ctx.counters[0], 4u);
    EXPECT_EQ(ctx.counters[1], 0u);
    tree.free_node(ctx, 2);
    tree.free_node(ctx, 0);
    tree.free_node(ctx, 3);
    EXPECT_EQ(expand(1), (Children{3, 0}));
    EXPECT_EQ(ctx.counters[1], 1u);
    EXPECT_EQ(expand(3), (Children{2, 4}));
    tree.deinit_traversal(ctx);
    EXPECT_EQ(ctx.counters[0], 5u);
}

TEST_F(Slots, AWalkStartsAfreshWhateverTheLastOneLeft) {
    build(support::row_of_boxes(16));
    expand(0);
    expand(1);
    tree.free_node(ctx, 0);
    tree.init_traversal(ctx);
    EXPECT_EQ(ctx.counters[0], 1u);
    EXPECT_EQ(ctx.counters[1], 0u);
    EXPECT_EQ(expand(0), (Children{1, 2}));
}

TEST_F(Slots, ChildrenHoldTheirReferenceLeafBitAndDecodedBox) {
    // The first child is a node, the second a leaf.
    build({{{0, 0, 0}, {5, 255, 255}},
           {{100, 0, 0}, {120, 255, 255}},
           {{200, 0, 0}, {255, 255, 255}}});
    ASSERT_EQ(expand(0), (Children{1, 2}));
    EXPECT_FALSE(tree.is_node_a_leaf(ctx, 1));
    EXPECT_TRUE(tree.is_node_a_leaf(ctx, 2));
    EXPECT_EQ(tree.get_leaf_value(ctx, 2), 2u);
    expect_box(1, {{0, 0, 0}, {121, 255, 255}});
    expect_box(2, {{199, 0, 0}, {255, 255, 255}});
    const unsigned* const words = static_cast<const unsigned*>(ctx.node_states);
    EXPECT_EQ(words[2], 1u); // node 1
    EXPECT_EQ(words[3] & 1u << 16, 0u);
    EXPECT_EQ(words[4], 2u); // position 2
    EXPECT_EQ(words[5] & 1u << 16, 1u << 16);

    ASSERT_EQ(expand(1), (Children{3, 4}));
    EXPECT_TRUE(tree.is_node_a_leaf(ctx, 3));
    EXPECT_TRUE(tree.is_node_a_leaf(ctx, 4));
    EXPECT_EQ(tree.get_leaf_value(ctx, 3), 0u);
    EXPECT_EQ(tree.get_leaf_value(ctx, 4), 1u);
    // Children may take the slot of a parent that was freed before, but not this one's.
    expect_box(1, {{0, 0, 0}, {121, 255, 255}});
}

TEST_F(Slots, EveryNodeIsReachedWithItsDecodedBox) {
    for (const naive::Split split : support::all_splits) {
        const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 300, 4);
        build(boxes, split);
        const support::CompressedBoxes expected = support::get_boxes(tree, boxes);
        std::vector<unsigned> leaves(300, 0);
        std::vector<unsigned> pending = {0};
        unsigned most_live = 1;
        while (!pending.empty()) {
            const unsigned slot = pending.back();
            pending.pop_back();
            const unsigned reference = tree.get_leaf_value(ctx, slot);
            if (tree.is_node_a_leaf(ctx, slot)) {
                ++leaves[reference];
                expect_box(slot, expected.decoded_leaves[reference]);
            } else {
                expect_box(slot, expected.decoded_nodes[reference]);
                const Children children = expand(slot);
                pending.push_back(children.second);
                pending.push_back(children.first);
            }
            tree.free_node(ctx, slot);
            most_live = std::max(most_live, ctx.counters[0]);
        }
        EXPECT_EQ(leaves, std::vector<unsigned>(300, 1));
        EXPECT_EQ(ctx.counters[0], ctx.counters[1]) << "every slot is free again";
        EXPECT_LE(most_live, tree.get_depth() + 1);
    }
}

TEST_F(Slots, TheOrderIsReadFromTheNodeInTheSlot) {
    // Root along x, the pair below along y with the first above.
    build({{{0, 5, 0}, {1, 6, 1}}, {{0, 0, 0}, {1, 1, 1}}, {{50, 0, 0}, {51, 1, 1}}});
    ASSERT_EQ(tree.get_nodes()[0].children[0], 1u);
    const GMathBasicRay ray({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
    EXPECT_EQ(tree.get_node_traversal_order(ctx, 0, ray), 0u);
    ASSERT_EQ(expand(0), (Children{1, 2}));
    const unsigned pair = is_leaf(tree.get_nodes()[0], 0) ? 2 : 1;
    const unsigned first_item = tree.get_nodes()[1].children[0];
    EXPECT_EQ(tree.get_node_traversal_order(ctx, pair, ray), first_item == 0 ? 1u : 0u);
}

TEST_F(Slots, BuffersGrowToTheStackAndNeverShrink) {
    build(support::row_of_boxes(40));
    const unsigned capacity = ctx.stack_capacity;
    EXPECT_EQ(capacity, 2 * tree.get_depth());
    EXPECT_EQ(ctx.decoded_box_capacity, capacity);
    EXPECT_EQ(ctx.node_state_capacity, capacity);
    EXPECT_EQ(ctx.index_capacity, capacity);
    const GasBbox* const boxes = ctx.decoded_boxes;
    const void* const states = ctx.node_states;
    const unsigned* const indices = ctx.indices;

    build(support::row_of_boxes(3));
    EXPECT_EQ(ctx.decoded_boxes, boxes);
    EXPECT_EQ(ctx.node_states, states);
    EXPECT_EQ(ctx.indices, indices);
    EXPECT_EQ(ctx.decoded_box_capacity, capacity);

    build(support::row_of_boxes(300));
    EXPECT_EQ(ctx.stack_capacity, 2 * tree.get_depth());
    EXPECT_GT(ctx.stack_capacity, capacity);
    EXPECT_EQ(ctx.decoded_box_capacity, ctx.stack_capacity);
    EXPECT_EQ(ctx.node_state_capacity, ctx.stack_capacity);
    EXPECT_EQ(ctx.index_capacity, ctx.stack_capacity);
}

#ifndef NDEBUG
TEST_F(Slots, FreeingASlotTwiceAsserts) {
    build(support::row_of_boxes(2));
    tree.free_node(ctx, 0);
    EXPECT_DEATH(tree.free_node(ctx, 0), "freed once");
}

TEST_F(Slots, AWalkThatFreesNothingAsserts) {
    build(support::row_of_boxes(2));
    expand(0); // three of four slots
    EXPECT_DEATH(expand(0), "frees each slot");
}
#endif
