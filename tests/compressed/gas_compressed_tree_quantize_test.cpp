// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include <tests/support/compressed_checker.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using support::get_order_code;
using support::point_box;
using support::unit_box;

/// The order code of a root over two leaves: the axis, plus 4 where the second is on the low side.
unsigned order_of(const Box& first, const Box& second) {
    GasCompressedTree tree;
    support::build(tree, {first, second});
    EXPECT_EQ(tree.get_nodes()[0].flags & 0xE3u, 3u);
    return get_order_code(tree.get_nodes()[0]);
}

} // namespace

// The root's steps are units. Its first child, exactly 0 to 120 along x, is seen as 0 to 121, and
// that is what its own children are stored against.
TEST(Quantize, ChildrenAreEncodedAgainstTheDecodedBoxOfTheirParent) {
    const std::vector<Box> boxes = {
        {{0, 0, 0}, {5, 255, 255}}, {{100, 0, 0}, {120, 255, 255}}, {{200, 0, 0}, {255, 255, 255}}};
    GasCompressedTree tree;
    support::build(tree, boxes, Split::median);
    EXPECT_EQ(support::get_bytes(tree),
              (std::vector<unsigned char>{199, 0, 0, 8, 134, 0, 0, 2, 1, 0, 0, 0, 2, 0, 0, 0, //
                                          210, 0, 0, 8, 244, 0, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{0, 0, 0}, {255, 255, 255}}));
}

TEST(Quantize, TheOrderIsThatOfTheLargestGap) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        Box low = unit_box(0, 0, 0);
        Box high = unit_box(2, 2, 2);
        high.min[axis] += 5.0f;
        high.max[axis] += 5.0f;
        EXPECT_EQ(order_of(low, high), axis);
        EXPECT_EQ(order_of(high, low), axis + 4);
    }
}

TEST(Quantize, OverlappingChildrenTakeTheAxisOfTheLeastOverlap) {
    const Box whole = {{0, 0, 0}, {10, 10, 10}};
    EXPECT_EQ(order_of(whole, {{5, 9, 6}, {15, 19, 16}}), 1u);
    EXPECT_EQ(order_of({{5, 9, 6}, {15, 19, 16}}, whole), 1u + 4);
    EXPECT_EQ(order_of(whole, {{-5, -6, -9}, {5, 4, 1}}), 2u + 4);
    EXPECT_EQ(order_of({{-5, -6, -9}, {5, 4, 1}}, whole), 2u);
}

TEST(Quantize, OfEqualGapsTheFirstStays) {
    const Box box = unit_box(0, 0, 0);
    EXPECT_EQ(order_of(box, box), 0u);
    EXPECT_EQ(order_of(unit_box(0, 3, 3), unit_box(0, 0, 0)), 1u + 4);
    EXPECT_EQ(order_of(unit_box(0, 0, 3), unit_box(0, 3, 0)), 1u);
    // Both gaps along y are -1, those of x and z -2.
    EXPECT_EQ(order_of({{0, 0, 0}, {2, 1, 2}}, {{0, 0, 0}, {2, 1, 2}}), 1u);
}

TEST(Quantize, WithoutAGapThatComparesTheOrderIsZero) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    const Box lost = point_box(not_a_number, not_a_number, not_a_number);
    EXPECT_EQ(order_of(lost, lost), 0u);
    EXPECT_EQ(order_of(lost, unit_box(0, 0, 0)), 0u);
}

TEST(Quantize, EveryTreeContainsItsItemsAndKeepsWithinItsBoxes) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {1u, 2u, 3u, 16u, 129u, 1000u, 3000u}) {
                const std::vector<Box> boxes = scenes::make(kind, count, count + 1);
                GasCompressedTree tree;
                support::build(tree, boxes, split);
                ASSERT_EQ(support::find_flaw(tree, boxes), "")
                    << scenes::name(kind) << ", " << support::name(split) << ", " << count;
            }
        }
    }
}

// Scenes in the working range, moved away from the origin: exact there as well.
TEST(Quantize, TreesFarFromTheOriginContainTheirItems) {
    for (const float offset : {100.0f, 1000.0f, 1e4f, 1e6f}) {
        std::vector<Box> boxes = scenes::make(scenes::Kind::random, 1500, 3);
        for (Box& box : boxes) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] += offset;
                box.max[axis] += offset;
            }
        }
        GasCompressedTree tree;
        support::build(tree, boxes, Split::sah);
        EXPECT_EQ(support::find_flaw(tree, boxes), "") << offset;
    }
}

// A ray sees boxes that are not much larger than the exact ones: on an axis, by less than two of
// the parent's steps, and the widening.
TEST(Quantize, DecodedBoxesAreTight) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 2000, 4);
    GasCompressedTree tree;
    support::build(tree, boxes, Split::sah);
    const support::CompressedBoxes found = support::get_boxes(tree, boxes);
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        const Box& parent = found.decoded_nodes[i];
        const Box& exact = found.exact_nodes[i];
        for (unsigned child = 0; child < 2; ++child) {
            const unsigned index = node.children[child];
            const bool leaf = support::is_leaf(node, child);
            const Box& decoded = (leaf ? found.decoded_leaves : found.decoded_nodes)[index];
            const Box& inner = (leaf ? boxes : found.exact_nodes)[index];
            for (unsigned axis = 0; axis < 3; ++axis) {
                const float step = (parent.max[axis] - parent.min[axis]) / 255.0f + 4e-5f;
                const float low_slack = exact.min[axis] - parent.min[axis];
                const float high_slack = parent.max[axis] - exact.max[axis];
                ASSERT_LE(inner.min[axis] - decoded.min[axis], low_slack + 1.01f * step);
                ASSERT_LE(decoded.max[axis] - inner.max[axis], high_slack + 1.01f * step);
            }
        }
    }
}
