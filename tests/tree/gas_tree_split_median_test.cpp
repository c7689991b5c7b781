// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using support::list_items;
using support::point_box;
using support::SplitResult;
using support::SplitScene;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

std::vector<Box> along_x(const std::vector<float>& positions) {
    std::vector<Box> boxes;
    for (const float x : positions)
        boxes.push_back(point_box(x, 0.0f, 0.0f));
    return boxes;
}

SplitResult split_along_x(const std::vector<float>& positions) {
    return SplitScene(along_x(positions)).split_without_workspace(GasTree::split_median);
}

SplitResult split_centers(const std::vector<float>& positions) {
    std::vector<GMathVec3<float>> centers;
    for (const float x : positions)
        centers.push_back({x, 0.0f, 0.0f});
    const GasTreeSplitContext context = {nullptr, centers.data(), nullptr, nullptr, 0};
    SplitResult result = {99, list_items(static_cast<unsigned>(centers.size()))};
    GasTree::split_median(context, result.items.data(), static_cast<unsigned>(centers.size()),
                          result.left_count);
    return result;
}

} // namespace

TEST(SplitMedian, ThreeItemsCutAtTheMiddleOfTheirRange) {
    EXPECT_EQ(split_along_x({0, 0, 10}), (SplitResult{2, {0, 1, 2}}));
}

TEST(SplitMedian, CentreOnThePlaneStaysLow) {
    EXPECT_EQ(split_along_x({0, 5, 10}), (SplitResult{2, {0, 1, 2}}));
    EXPECT_EQ(split_along_x({10, 5, 0}), (SplitResult{2, {2, 1, 0}}));
    const float above = std::nextafter(5.0f, 10.0f);
    EXPECT_EQ(split_along_x({0, above, 10}), (SplitResult{1, {0, 2, 1}}));
}

TEST(SplitMedian, CutsAlongTheAxisOfTheWidestSpread) {
    const SplitScene along_y({point_box(0, 9, 0), point_box(3, 0, 1), point_box(1, 4, 2)});
    EXPECT_EQ(along_y.split(GasTree::split_median), (SplitResult{2, {2, 1, 0}}));
    const SplitScene along_z({point_box(0, 1, 8), point_box(3, 0, 0), point_box(1, 2, 9)});
    EXPECT_EQ(along_z.split(GasTree::split_median), (SplitResult{1, {1, 2, 0}}));
}

TEST(SplitMedian, EqualSpreadsCutAlongTheLowerAxis) {
    const SplitScene scene({point_box(4, 0, 0), point_box(0, 4, 4), point_box(1, 4, 4)});
    EXPECT_EQ(scene.split(GasTree::split_median), (SplitResult{2, {2, 1, 0}}));
}

TEST(SplitMedian, TheSizeOfTheBoxesDoesNotMatter) {
    const SplitScene scene(
        {{{-100, 0, 0}, {100, 1, 1}}, {{9, 0, 0}, {11, 1, 1}}, point_box(6, 0, 0)});
    EXPECT_EQ(scene.split(GasTree::split_median), (SplitResult{1, {0, 2, 1}}));
}

TEST(SplitMedian, OnlyTheListedItemsCount) {
    const SplitScene scene(along_x({1000, 1, 2, 9, -1000}));
    EXPECT_EQ(scene.split(GasTree::split_median, {3, 1, 2}), (SplitResult{2, {2, 1, 3}}));
}

TEST(SplitMedian, CoincidentCentresAreHalvedInTheirOrder) {
    for (const unsigned count : {3u, 4u, 5u, 40u}) {
        const SplitScene scene(std::vector<Box>(count, point_box(1, 2, 3)));
        std::vector<unsigned> items = list_items(count);
        std::swap(items[0], items[2]);
        EXPECT_EQ(scene.split(GasTree::split_median, items), (SplitResult{count / 2, items}));
    }
}

TEST(SplitMedian, AnExtentBelow1em8CountsAsCoincident) {
    const float below = 1e-8f; // the nearest float, a little less than 1e-8
    EXPECT_EQ(split_along_x({below, 0, below}), (SplitResult{1, {0, 1, 2}}));
    const float above = std::nextafter(below, 1.0f);
    EXPECT_EQ(split_along_x({above, 0, above}), (SplitResult{1, {1, 2, 0}}));
}

TEST(SplitMedian, InfiniteCentresAreHalvedInTheirOrder) {
    EXPECT_EQ(split_along_x({infinity, 0, 1, 2, 3}), (SplitResult{2, {0, 1, 2, 3, 4}}));
    EXPECT_EQ(split_along_x({5, 0, -infinity, 2, 3}), (SplitResult{2, {0, 1, 2, 3, 4}}));
    EXPECT_EQ(split_along_x({infinity, infinity, infinity}), (SplitResult{1, {0, 1, 2}}));
}

TEST(SplitMedian, CentresThatAreNoNumbersAreHalvedWhereTheyHideTheExtent) {
    EXPECT_EQ(split_along_x({not_a_number, 9, 0}), (SplitResult{1, {0, 1, 2}}));
    EXPECT_EQ(split_along_x({9, 0, not_a_number}), (SplitResult{1, {0, 1, 2}}));
    // In between it is forgotten, and goes to the high side.
    EXPECT_EQ(split_along_x({0, not_a_number, 9}), (SplitResult{1, {0, 2, 1}}));
}

// The centre of a box is half of a sum that may overflow, so the largest centres are given
// directly.
TEST(SplitMedian, AMiddleThatOverflowsDownwardPutsEveryItemOnTheHighSide) {
    EXPECT_EQ(split_centers({-2e38f, -3e38f, -3.2e38f}), (SplitResult{0, {1, 2, 0}}));
}

TEST(SplitMedian, AMiddleThatOverflowsUpwardIsHalved) {
    EXPECT_EQ(split_centers({3.2e38f, 3e38f, 2e38f}), (SplitResult{1, {0, 1, 2}}));
}

TEST(SplitMedian, AnExtentThatOverflowsIsHalved) {
    EXPECT_EQ(split_centers({3e38f, 0, -3e38f}), (SplitResult{1, {0, 1, 2}}));
}

TEST(SplitMedian, InfiniteBoxesGiveABalancedTree) {
    const std::vector<Box> boxes(64, {{-1, -1, -1}, {infinity, 1, 1}});
    GasTree tree;
    support::build(tree, boxes, naive::Split::median);
    EXPECT_EQ(tree.get_depth(), 7u);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}
