// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/forest_shape.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

constexpr unsigned item_count = 30'000;
constexpr unsigned sample_count = 5;

bool contains(const Box& outer, const Box& inner) {
    for (unsigned axis = 0; axis < 3; ++axis)
        if (!(inner.min[axis] >= outer.min[axis] && inner.max[axis] <= outer.max[axis]))
            return false;
    return true;
}

bool is_equal(const Box& a, const Box& b) { return a.min == b.min && a.max == b.max; }

TEST(ForestShape, ItemsDependOnTheirNumbersAlone) {
    const ForestShape forest("", item_count, 1);
    const ForestShape larger("", 3 * item_count, 1);
    for (unsigned item = 0; item < item_count; item += 7)
        ASSERT_TRUE(is_equal(forest.get_item_box(item, 0), larger.get_item_box(item, 0))) << item;
    // The other way round: nothing is left of what was asked for before.
    for (unsigned item = item_count; item-- > 0;)
        if (item % 7 == 0) {
            ASSERT_TRUE(is_equal(forest.get_item_box(item, 0), larger.get_item_box(item, 0)))
                << item;
            ASSERT_GT(larger.get_item_box(item_count + item, 0).max.y, lowest_land);
        }
}

TEST(ForestShape, EverythingLiesInItsBoxAtEverySample) {
    for (const unsigned count : {1u, 1000u, item_count}) {
        const ForestShape forest("", count, sample_count);
        for (unsigned sample = 0; sample < sample_count; ++sample)
            for (unsigned item = 0; item < count; ++item)
                ASSERT_TRUE(
                    contains(forest.get_exact_box(sample), forest.get_item_box(item, sample)))
                    << item;
    }
    for (double x = -2000.0; x < 2000.0; x += 37.0)
        for (double z = -2000.0; z < 2000.0; z += 41.0) {
            ASSERT_GE(get_land_height(x, z), lowest_land);
            ASSERT_LE(get_land_height(x, z), highest_land);
        }
}

TEST(ForestShape, ItemsAreSmallAndStandOutsideTheClearing) {
    const ForestShape forest("", item_count, 1);
    for (unsigned item = 0; item < item_count; ++item) {
        const Box box = forest.get_item_box(item, 0);
        ASSERT_GT(length(box.max - box.min), 0.0) << item;
        ASSERT_LT(length(box.max - box.min), 5.0) << item;
        const Vec3 center = get_center(box);
        ASSERT_GT(std::hypot(center.x, center.z), 0.8 * ForestShape::clearing_radius) << item;
        ASSERT_LT(std::hypot(center.x, center.z), ForestShape::get_radius(item_count)) << item;
    }
}

TEST(ForestShape, MovesInStraightLinesBetweenSamples) {
    const ForestShape forest("", item_count, sample_count);
    unsigned moved_count = 0;
    for (unsigned item = 0; item < item_count; item += 11)
        for (unsigned sample = 0; sample + 1 < sample_count; ++sample) {
            const Box before = forest.get_item_box(item, sample);
            const Box after = forest.get_item_box(item, sample + 1);
            const auto get_between = [&](double fraction) {
                return forest.get_item_at(item, {sample, fraction}).get_box();
            };
            ASSERT_TRUE(is_equal(get_between(0.0), before));
            moved_count += is_equal(before, after) ? 0 : 1;
            for (unsigned axis = 0; axis < 3; ++axis) {
                // One corner decides at the start and at the end, mostly the same one.
                const double middle = get_between(0.5).min[axis];
                ASSERT_GE(middle, 0.5 * (before.min[axis] + after.min[axis]) - 1e-9);
                ASSERT_NEAR(get_between(1.0).min[axis], after.min[axis], 1e-9);
            }
        }
    EXPECT_GT(moved_count, 2 * item_count / 11);
}

} // namespace
