// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include <gas/split/gas_split_items.h>
#include <gas/split/gas_split_methods.h>

#include <tests/support/axis_cases.h>
#include <tests/support/split_scene.h>

namespace {

using Centers = std::vector<GMathVec3<float>>;
using Items = std::vector<unsigned>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

Centers along_x(const std::vector<float>& positions) {
    Centers centers;
    for (const float x : positions)
        centers.push_back({x, 0.0f, 0.0f});
    return centers;
}

unsigned partition(Items& items, const Centers& centers, unsigned axis, float position) {
    return gas_partition_items(items.data(), static_cast<unsigned>(items.size()), centers.data(),
                               axis, position);
}

Items sort(const Centers& centers) {
    Items items = support::list_items(static_cast<unsigned>(centers.size()));
    gas_sort_by_center(items.data(), static_cast<unsigned>(items.size()), centers.data(),
                       &GMathVec3<float>::x);
    return items;
}

unsigned widest(float x, float y, float z) {
    return gas_widest_axis({{0.0f, 0.0f, 0.0f}, {x, y, z}});
}

} // namespace

TEST(SplitItems, CentreOnThePlaneStaysLow) {
    const Centers centers = along_x({5, 6, 4, 5});
    Items items = {0, 1, 2, 3};
    EXPECT_EQ(partition(items, centers, 0, 5.0f), 3u);
    EXPECT_EQ(items, (Items{0, 3, 2, 1}));
}

TEST(SplitItems, PartitionLooksAtTheGivenAxis) {
    const Centers centers = {{9, 0, 1}, {8, 1, 0}, {7, 2, 3}};
    Items by_y = {2, 1, 0};
    EXPECT_EQ(partition(by_y, centers, 1, 0.5f), 1u);
    EXPECT_EQ(by_y, (Items{0, 1, 2}));
    Items by_z = {2, 1, 0};
    EXPECT_EQ(partition(by_z, centers, 2, 1.0f), 2u);
    EXPECT_EQ(by_z, (Items{0, 1, 2}));
}

TEST(SplitItems, LowSideKeepsItsOrderAndTheHighSideIsSwappedFromTheEnd) {
    const Centers centers = along_x({1, 9, 2, 8, 7, 3});
    Items items = {0, 1, 2, 3, 4, 5};
    // 9 goes to the end for 3; 8 goes before it for 7, which then goes nowhere.
    EXPECT_EQ(partition(items, centers, 0, 5.0f), 3u);
    EXPECT_EQ(items, (Items{0, 5, 2, 4, 3, 1}));
}

TEST(SplitItems, CentreThatIsNoNumberGoesHigh) {
    const Centers centers = along_x({not_a_number, 1, 2});
    Items items = {0, 1, 2};
    EXPECT_EQ(partition(items, centers, 0, 5.0f), 2u);
    EXPECT_EQ(items, (Items{2, 1, 0}));
}

TEST(SplitItems, PlaneBelowEveryCentreStaysInsideTheArray) {
    const Centers centers = along_x({1, 2, 3, 4});
    for (const float position : {0.0f, -infinity, not_a_number}) {
        // A guard on either side would show a swap past the ends.
        Items guarded = {3, 0, 1, 2, 3, 0};
        EXPECT_EQ(gas_partition_items(guarded.data() + 1, 4, centers.data(), 0, position), 0u);
        EXPECT_EQ(guarded, (Items{3, 1, 2, 3, 0, 0}));
    }
}

TEST(SplitItems, PlaneAboveEveryCentreMovesNothing) {
    const Centers centers = along_x({1, 2, 3, 4});
    for (const float position : {4.0f, infinity}) {
        Items items = {3, 1, 0, 2};
        EXPECT_EQ(partition(items, centers, 0, position), 4u);
        EXPECT_EQ(items, (Items{3, 1, 0, 2}));
    }
}

TEST(SplitItems, PartitionOfASingleItemAndOfNone) {
    const Centers centers = along_x({1});
    Items items = {0};
    EXPECT_EQ(partition(items, centers, 0, 1.0f), 1u);
    EXPECT_EQ(partition(items, centers, 0, 0.0f), 0u);
    EXPECT_EQ(items, (Items{0}));
    EXPECT_EQ(gas_partition_items(nullptr, 0, nullptr, 0, 0.0f), 0u);
}

TEST(SplitItems, SortAscends) {
    EXPECT_EQ(sort(along_x({3, 1, 2, 5, 4})), (Items{1, 2, 0, 4, 3}));
    EXPECT_EQ(sort(along_x({1, 2, 3})), (Items{0, 1, 2}));
    EXPECT_EQ(sort(along_x({3, 2, 1})), (Items{2, 1, 0}));
    EXPECT_EQ(sort(along_x({infinity, -infinity, 0})), (Items{1, 2, 0}));
}

TEST(SplitItems, EqualCentresComeOutInTheOrderOfTheSwaps) {
    EXPECT_EQ(sort(along_x({1, 1})), (Items{1, 0}));
    EXPECT_EQ(sort(along_x({1, 1, 1})), (Items{2, 0, 1}));
    EXPECT_EQ(sort(along_x({1, 1, 1, 0})), (Items{3, 0, 1, 2}));
    // The pivot 1 takes the place of the first 3, which goes last; then 3, 2 and 3 are sorted.
    EXPECT_EQ(sort(along_x({3, 2, 3, 1})), (Items{3, 1, 0, 2}));
}

TEST(SplitItems, SortEndsWithCentresThatAreNoNumbers) {
    // Nothing is smaller than a pivot that is no number, so it moves to the front.
    EXPECT_EQ(sort(along_x({2, 1, not_a_number})), (Items{2, 1, 0}));
    EXPECT_EQ(sort(Centers(3, {not_a_number, 0, 0})), (Items{2, 0, 1}));
}

TEST(SplitItems, WidestAxisTiesGoToTheLowerAxis) {
    support::expect_axes(support::widest_axes, widest);
}

TEST(SplitItems, AnExtentThatIsNoNumberComparesWithNothing) {
    EXPECT_EQ(widest(not_a_number, 2, 1), 0u);
    EXPECT_EQ(widest(1, not_a_number, 2), 2u);
    EXPECT_EQ(widest(1, 2, not_a_number), 1u);
}

TEST(SplitItems, CentreBoundsSpanTheListedItemsOnly) {
    const Centers centers = {{1, 5, -2}, {4, -3, 0}, {2, 7, 9}, {100, 100, 100}};
    const Items items = {1, 0, 2};
    const GMathBbox3<float> bounds = gas_center_bounds(items.data(), 3, centers.data());
    EXPECT_EQ(bounds, (GMathBbox3<float>{{1, -3, -2}, {4, 7, 9}}));
    EXPECT_EQ(gas_center_bounds(items.data(), 0, centers.data()), GMathBbox3<float>());
}

TEST(SplitItems, CentreBoundsKeepTheFirstMinimumThatIsNoNumber) {
    const auto bounds_of = [](const std::vector<float>& positions) {
        const Centers centers = along_x(positions);
        const Items items = support::list_items(static_cast<unsigned>(positions.size()));
        return gas_center_bounds(items.data(), static_cast<unsigned>(items.size()), centers.data());
    };
    // The minimum keeps the running value against a NaN, the maximum takes the new one.
    const GMathBbox3<float> in_the_middle = bounds_of({3, not_a_number, 2});
    EXPECT_EQ(in_the_middle.min.x, 2.0f);
    EXPECT_EQ(in_the_middle.max.x, 2.0f);
    const GMathBbox3<float> at_the_front = bounds_of({not_a_number, 3, 2});
    EXPECT_NE(at_the_front.min.x, at_the_front.min.x);
    EXPECT_EQ(at_the_front.max.x, 3.0f);
}

TEST(SplitItems, CentresDivideFromAnExtentOf1em8Up) {
    const float below = 1e-8f; // the nearest float, a little less than 1e-8
    EXPECT_FALSE(gas_is_divisible(below));
    EXPECT_TRUE(gas_is_divisible(std::nextafter(below, 1.0f)));
    EXPECT_TRUE(gas_is_divisible(infinity));
    EXPECT_FALSE(gas_is_divisible(not_a_number));
    EXPECT_FALSE(gas_is_divisible(0.0f));
    EXPECT_FALSE(gas_is_divisible(-1.0f));
}
