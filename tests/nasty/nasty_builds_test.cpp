// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <vector>

#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/naive/naive_leaves.h>
#include <tests/nasty/nasty_rays.h>
#include <tests/nasty/nasty_subject.h>
#include <tests/support/closest_item.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/tree_kinds.h>

// What builds, refits and queries in space make of the box sets.

namespace {

using namespace nasty;

std::vector<naive::Split> choose_methods() {
    return {std::begin(naive::all_splits), std::end(naive::all_splits)};
}

bool same_floats(const std::vector<float>& a, const std::vector<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

/// Points at the corners and in the middle of a box, far away, and none at all.
std::vector<support::ClosestPoint> choose_points(const Box& box) {
    support::ClosestPoint middle;
    support::ClosestPoint low;
    support::ClosestPoint high;
    for (unsigned axis = 0; axis < 3; ++axis) {
        low[axis] = static_cast<double>(box.min[axis]);
        high[axis] = static_cast<double>(box.max[axis]);
        middle[axis] = 0.5 * low[axis] + 0.5 * high[axis];
    }
    return {middle,
            low,
            high,
            {0.0, -0.0, 0.0},
            {1e30, 0.0, 0.0},
            {0.0, no_number, 0.0},
            {0.0, 0.0, -endless}};
}

class NastyBuilds : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Trees, NastyBuilds, testing::ValuesIn(all_kinds),
                         [](const auto& kind) { return name(kind.param); });

template <typename Tree> class NastyTrees : public testing::Test {};
TYPED_TEST_SUITE(NastyTrees, support::BothTrees, support::TreeNames);

} // namespace

TEST_P(NastyBuilds, AreThoseOfTheNaiveTreesByEveryMethod) {
    Subject subject(GetParam());
    for (const BoxSet& set : all_box_sets()) {
        for (const naive::Split split : choose_methods()) {
            subject.build(set.boxes, split, {set.boxes, transform(set.boxes, 2.0f, -1.0f)});
            ASSERT_EQ(subject.find_difference(), "") << set.name << ", " << support::name(split);
        }
    }
}

TYPED_TEST(NastyTrees, AreTheSameOnSeveralThreads) {
    SysThreadTaskManager tasks(nullptr);
    for (const BoxSet& set : all_box_sets()) {
        if (set.boxes.empty())
            continue;
        // Often enough for threads to take parts of their own.
        std::vector<Box> boxes;
        while (boxes.size() < 2500)
            boxes.insert(boxes.end(), set.boxes.begin(), set.boxes.end());
        const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
        const auto method = static_cast<GasBuildMethod>(set.boxes.size() % 4);
        TypeParam one;
        TypeParam several;
        one.create(array, nullptr, method);
        several.create(array, nullptr, method, tasks, 3);
        ASSERT_EQ(support::get_bytes(one), support::get_bytes(several)) << set.name;
    }
}

TYPED_TEST(NastyTrees, ClosestItemsAreThoseOfAskingForAll) {
    TypeParam tree;
    GasTreeCtx ctx;
    unsigned found = 0;
    for (const BoxSet& set : all_box_sets()) {
        support::build(tree, set.boxes, naive::Split::hybrid);
        const support::ItemDistance get_distance = [&](unsigned item, const auto& point, double) {
            return support::get_box_distance(set.boxes[item], point);
        };
        const std::size_t count = set.boxes.size();
        for (const std::size_t item : {count / 2, count - 1}) {
            if (count == 0)
                continue;
            for (const support::ClosestPoint& point : choose_points(set.boxes[item])) {
                for (const double limit : {endless, 3.0, 0.0, -1.0, no_number}) {
                    const support::ClosestItem expected = support::search_closest(
                        static_cast<unsigned>(count), point, limit, get_distance);
                    ASSERT_EQ(support::find_closest(tree, ctx, point, limit, get_distance),
                              expected)
                        << set.name << ", at " << point.x << " " << point.y << " " << point.z
                        << " within " << limit;
                    found += expected.is_found;
                }
            }
        }
    }
    EXPECT_GT(found, 500u);
}

TEST(NastyPlainTrees, RefitsAreThoseOfTheNaiveTree) {
    const std::vector<Box> calm = make_crowd(9);
    for (const BoxSet& set : all_box_sets()) {
        if (set.boxes.size() != calm.size())
            continue;
        for (const bool wide : {false, true}) {
            GasTree tree;
            tree.set_wide_nodes(wide);
            support::build(tree, calm, naive::Split::sah);
            naive::Tree expected = naive::build(calm, naive::Split::sah);
            for (const std::vector<Box>& boxes : {set.boxes, calm}) {
                EXPECT_TRUE(tree.refit(support::to_boxes(boxes)));
                naive::refit(expected, boxes);
                ASSERT_EQ(support::find_difference(tree, expected), "") << set.name;
            }
        }
    }
}

TEST(NastyPlainTrees, LeavesInABoxAreThoseThatOverlapIt) {
    GasTreeCtx ctx;
    unsigned found = 0;
    for (const BoxSet& set : all_box_sets()) {
        GasTree tree;
        support::build(tree, set.boxes, naive::Split::median);
        // Of other boxes the union rule says which hide others.
        if (!are_ordered(set.boxes))
            continue;
        for (const Box& searched : set.boxes) {
            std::vector<unsigned> expected;
            for (unsigned item = 0; item < set.boxes.size(); ++item) {
                const Box& box = set.boxes[item];
                bool overlaps = true;
                for (unsigned axis = 0; axis < 3; ++axis)
                    overlaps = overlaps && box.min[axis] <= searched.max[axis] &&
                               box.max[axis] >= searched.min[axis];
                if (overlaps)
                    expected.push_back(item);
            }
            CoreVector<unsigned> leaves;
            tree.get_leaves_in_bbox(ctx, support::to_box(searched), leaves);
            std::vector<unsigned> sorted(leaves.begin(), leaves.end());
            std::sort(sorted.begin(), sorted.end());
            ASSERT_EQ(sorted, expected) << set.name;
            found += leaves.get_count();
        }
    }
    EXPECT_GT(found, 1000u);
}

TEST(NastyPlainTrees, NearestLeavesAreThoseOfTheNaiveWalk) {
    GasTreeCtx ctx;
    unsigned found = 0;
    for (const BoxSet& set : all_box_sets()) {
        GasTree tree;
        support::build(tree, set.boxes, naive::Split::sah_fast);
        const naive::Tree expected_tree = naive::build(set.boxes, naive::Split::sah_fast);
        const Box middle = set.boxes.empty() ? Box{} : set.boxes[set.boxes.size() / 2];
        for (const support::ClosestPoint& wide : choose_points(middle)) {
            const float point[3] = {static_cast<float>(wide.x), static_cast<float>(wide.y),
                                    static_cast<float>(wide.z)};
            for (const float reach : {infinity, 5.0f, 0.0f, -1.0f, not_a_number}) {
                for (const unsigned count : {1u, 4u, 200u}) {
                    const naive::NearestLeaves expected =
                        naive::nearest_leaves(expected_tree, point, reach, count);
                    std::vector<unsigned> leaves(count);
                    std::vector<float> distances(count);
                    const unsigned written =
                        tree.get_nearest_leaves(ctx, {point[0], point[1], point[2]}, reach, count,
                                                leaves.data(), distances.data());
                    leaves.resize(written);
                    distances.resize(written);
                    ASSERT_EQ(leaves, expected.leaves) << set.name << ", within " << reach;
                    ASSERT_TRUE(same_floats(distances, expected.distances)) << set.name;
                    found += written;
                }
            }
        }
    }
    EXPECT_GT(found, 2000u);
}
