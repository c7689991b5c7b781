// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::get_order_code;
using support::point_box;
using support::to_boxes;

constexpr unsigned item_count = 33;

std::vector<Box> first_boxes() { return scenes::make(Kind::random, item_count, 1); }
std::vector<Box> moved_boxes(unsigned seed) {
    return scenes::make(Kind::clustered, item_count, seed);
}

} // namespace

TEST(Refit, AnotherNumberOfBoxesIsRefusedAndChangesNothing) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    const std::vector<unsigned char> before = support::get_bytes(tree);
    std::vector<Box> boxes = moved_boxes(2);
    boxes.pop_back();
    EXPECT_FALSE(tree.refit(to_boxes(boxes)));
    boxes.resize(item_count + 1, point_box(0, 0, 0));
    EXPECT_FALSE(tree.refit(to_boxes(boxes)));
    EXPECT_FALSE(tree.refit({}));
    EXPECT_EQ(support::get_bytes(tree), before);
}

TEST(Refit, AnEmptyTreeTakesNoBoxes) {
    GasTree tree;
    EXPECT_TRUE(tree.refit({}));
    EXPECT_FALSE(tree.refit(to_boxes({point_box(0, 0, 0)})));
    EXPECT_TRUE(tree.is_empty());
}

TEST(Refit, BoxesAndOrderCodesFollowTheItemsAndTheTopologyStays) {
    for (const Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, first_boxes(), split);
        const std::vector<unsigned char> before = support::get_bytes(tree);
        const std::vector<GasTree::Node> nodes(tree.get_nodes(),
                                               tree.get_nodes() + tree.get_node_count());
        const std::vector<Box> boxes = moved_boxes(2);
        ASSERT_TRUE(tree.refit(to_boxes(boxes)));
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
        EXPECT_NE(support::get_bytes(tree), before);
        for (unsigned i = 0; i < tree.get_node_count(); ++i) {
            EXPECT_EQ(tree.get_nodes()[i].index, nodes[i].index);
            EXPECT_EQ(tree.get_nodes()[i].flags & 1, nodes[i].flags & 1);
        }
    }
}

TEST(Refit, TheFirstBoxesBringTheFirstTreeBack) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::hybrid);
    const std::vector<unsigned char> before = support::get_bytes(tree);
    ASSERT_TRUE(tree.refit(to_boxes(moved_boxes(3))));
    ASSERT_TRUE(tree.refit(to_boxes(first_boxes())));
    EXPECT_EQ(support::get_bytes(tree), before);
}

TEST(Refit, ALoneLeafTakesItsBox) {
    GasTree tree;
    support::build(tree, {point_box(1, 2, 3)}, Split::sah);
    ASSERT_TRUE(tree.refit(to_boxes({{{4, 5, 6}, {7, 8, 9}}})));
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{4, 5, 6}, {7, 8, 9}}));
    EXPECT_EQ(tree.get_nodes()[0].flags & 15, 1u);
}

TEST(Refit, OrderCodesStayWhereNoGapCompares) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    const Box lost = point_box(not_a_number, not_a_number, not_a_number);
    GasTree tree;
    support::build(tree, {point_box(0, 9, 0), point_box(0, 1, 0)}, Split::sah);
    ASSERT_EQ(get_order_code(tree.get_nodes()[0]), 5u);
    ASSERT_TRUE(tree.refit(to_boxes({lost, lost})));
    EXPECT_EQ(get_order_code(tree.get_nodes()[0]), 5u);
    EXPECT_EQ(tree.get_nodes()[0].flags & 1, 0u);
    ASSERT_TRUE(tree.refit(to_boxes({point_box(0, 0, 1), point_box(0, 0, 9)})));
    EXPECT_EQ(get_order_code(tree.get_nodes()[0]), 2u);

    // A fresh tree starts from code 0.
    support::build(tree, {lost, lost}, Split::sah);
    EXPECT_EQ(tree.get_nodes()[0].flags & 15, 0u);
}

// The minimum takes the second child's value unless the first is smaller or nothing compares, the
// maximum the first child's only when it is larger.
TEST(Refit, UnionsOrderEqualAndUnorderedValues) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    GasTree tree;
    support::build(tree, {point_box(0, 0, 0), point_box(1, 0, 0)}, Split::sah);
    ASSERT_TRUE(tree.refit(to_boxes({{{0.0f, -0.0f, not_a_number}, {0.0f, -0.0f, not_a_number}},
                                     {{-0.0f, 0.0f, 2.0f}, {-0.0f, 0.0f, 2.0f}}})));
    const GMathBbox3<float> first_lost = tree.get_bbox();
    EXPECT_TRUE(std::signbit(first_lost.min.x));
    EXPECT_FALSE(std::signbit(first_lost.min.y));
    EXPECT_TRUE(std::isnan(first_lost.min.z));
    EXPECT_TRUE(std::signbit(first_lost.max.x));
    EXPECT_FALSE(std::signbit(first_lost.max.y));
    EXPECT_EQ(first_lost.max.z, 2.0f);

    ASSERT_TRUE(tree.refit(
        to_boxes({{{0, 0, 2}, {0, 0, 2}}, {{0, 0, not_a_number}, {0, 0, not_a_number}}})));
    EXPECT_EQ(tree.get_bbox().min.z, 2.0f);
    EXPECT_TRUE(std::isnan(tree.get_bbox().max.z));
}

TEST(Refit, TheBoxOfATreeIsItsRoots) {
    EXPECT_EQ(GasTree().get_bbox(), GMathBbox3<float>());
    GasTree tree;
    support::build(tree, {{{-1, 2, 0}, {0, 3, 1}}, {{5, -2, 0}, {6, 1, 4}}}, Split::median);
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{-1, -2, 0}, {6, 3, 4}}));
}

TEST(MotionSamples, BoxesOfMissingSamplesAreZero) {
    EXPECT_EQ(GasTree().get_blurred_bbox(0), GMathBbox3<float>());
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    EXPECT_EQ(tree.get_blurred_bbox(0), GMathBbox3<float>());
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 1));
    EXPECT_EQ(tree.get_blurred_bbox(0), GMathBbox3<float>()) << "never filled";
    EXPECT_EQ(tree.get_blurred_bbox(1), tree.get_bbox());
    EXPECT_EQ(tree.get_blurred_bbox(2), GMathBbox3<float>()) << "beyond the samples";
}
