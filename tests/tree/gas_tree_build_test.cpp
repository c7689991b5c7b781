// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::point_box;
using support::QuietProgress;

constexpr unsigned fast_setting = 2;

struct BarState {
    unsigned step_interval;
    float step_increment;
    float value;
};

/// How a build over `count` boxes leaves a bar.
BarState fill_bar(unsigned count, float share) {
    QuietProgress progress(fast_setting);
    GasTree tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, count, 1)), nullptr, &progress.bar,
                share);
    return {progress.bar.get_step_interval(), progress.bar.get_step_increment(),
            progress.bar.get_value()};
}

} // namespace

TEST(Build, OneItemIsALeafAtTheRoot) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {{{1, 2, 3}, {4, 5, 6}}};
        GasTree tree;
        support::build(tree, boxes, split);
        EXPECT_FALSE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 1u);
        EXPECT_EQ(tree.get_node_count(), 1u);
        EXPECT_EQ(tree.get_depth(), 1u);
        EXPECT_EQ(tree.get_nodes()[0].flags & 15, 1u);
        EXPECT_EQ(tree.get_nodes()[0].index, 0u);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
    }
}

TEST(Build, TwoItemsKeepTheirOrder) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {point_box(9, 0, 0), point_box(0, 0, 0)};
        GasTree tree;
        support::build(tree, boxes, split);
        EXPECT_EQ(tree.get_node_count(), 3u);
        EXPECT_EQ(tree.get_depth(), 2u);
        EXPECT_EQ(tree.get_nodes()[0].index, 1u);
        EXPECT_EQ(tree.get_nodes()[0].flags & 15, 4u << 1);
        EXPECT_EQ(tree.get_nodes()[1].index, 0u);
        EXPECT_EQ(tree.get_nodes()[1].flags & 15, 1u);
        EXPECT_EQ(tree.get_nodes()[2].index, 1u);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
    }
}

// Middle at 5: items 0, 2 and 3 on the low side, then 0 and 2 below 2.
TEST(Build, ChildrenAreNumberedInPairsFirstSubtreesFirst) {
    const std::vector<Box> boxes = {point_box(0, 0, 0), point_box(10, 0, 0), point_box(1, 0, 0),
                                    point_box(4, 0, 0), point_box(8, 0, 0)};
    GasTree tree;
    support::build(tree, boxes, Split::median);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
    EXPECT_EQ(tree.get_depth(), 4u);
    // By node: first child or item, and whether it is a leaf.
    const unsigned expected[9][2] = {{1, 0}, {3, 0}, {7, 0}, {5, 0}, {3, 1},
                                     {0, 1}, {2, 1}, {4, 1}, {1, 1}};
    for (unsigned i = 0; i < 9; ++i) {
        EXPECT_EQ(tree.get_nodes()[i].index, expected[i][0]) << i;
        EXPECT_EQ(tree.get_nodes()[i].flags & 1, expected[i][1]) << i;
    }
}

TEST(Build, AThousandItemsStepAHundredTimes) {
    const BarState bar = fill_bar(1000, 1.0f);
    EXPECT_EQ(bar.step_interval, 10u);
    EXPECT_EQ(bar.step_increment, 0.01f);
    float value = 0.0f;
    for (unsigned step = 0; step < 100; ++step)
        value += 0.01f;
    EXPECT_EQ(bar.value, value);
}

TEST(Build, FewItemsStepOneByOne) {
    const BarState bar = fill_bar(50, 1.0f);
    EXPECT_EQ(bar.step_interval, 1u);
    EXPECT_EQ(bar.step_increment, 0.02f);
    EXPECT_NEAR(bar.value, 1.0f, 1e-6f);
    EXPECT_EQ(fill_bar(100, 1.0f).step_interval, 1u);
    EXPECT_EQ(fill_bar(199, 1.0f).step_interval, 1u);
    EXPECT_EQ(fill_bar(200, 1.0f).step_interval, 2u);
}

TEST(Build, ABuildFillsItsShareOfTheBar) {
    const BarState quarter = fill_bar(1000, 0.25f);
    EXPECT_EQ(quarter.step_interval, 40u);
    EXPECT_EQ(quarter.step_increment, 0.01f);
    EXPECT_NEAR(quarter.value, 0.25f, 1e-6f);
    // In floats, 0.29 times 100 is exactly 29.
    EXPECT_EQ(fill_bar(1000, 0.29f).step_interval, 1000u / 29);

    const BarState smallest = fill_bar(1000, 0.01f);
    EXPECT_EQ(smallest.step_interval, 1000u);
    EXPECT_EQ(smallest.step_increment, 0.01f);
    EXPECT_EQ(smallest.value, 0.01f);
}

TEST(Build, TwoBuildsShareABar) {
    QuietProgress progress(fast_setting);
    GasTree first;
    GasTree second;
    first.create(support::to_boxes(scenes::make(Kind::random, 100, 1)), nullptr, &progress.bar,
                 0.5f);
    EXPECT_NEAR(progress.bar.get_value(), 0.5f, 1e-5f);
    second.create(support::to_boxes(scenes::make(Kind::random, 70, 1)), nullptr, &progress.bar,
                  0.5f);
    EXPECT_NEAR(progress.bar.get_value(), 1.0f, 1e-5f);
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG

TEST(Build, MoreItemsThanNodesCanCountClears) {
    const GMathBbox3<float> box = support::to_box(point_box(0, 0, 0));
    GasTree tree;
    tree.create(&box, 1, nullptr, nullptr, 1.0f);
    tree.create(&box, 1u << 31, nullptr, nullptr, 1.0f);
    EXPECT_TRUE(tree.is_empty());
}

TEST(Build, AShareBelowAHundredthStepsAsOneHundredth) {
    for (const float share : {0.005f, 0.0f, -1.0f}) {
        const BarState bar = fill_bar(1000, share);
        EXPECT_EQ(bar.step_interval, 1000u) << share;
        EXPECT_EQ(bar.step_increment, 1000.0f * share / 1000.0f) << share;
    }
}

#else

TEST(BuildDeathTest, AShareBelowAHundredthAsserts) {
    EXPECT_DEATH(fill_bar(10, 0.005f), "hundredth of its progress bar");
}

#endif
