// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>
#include <vector>

#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_counter.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Box;
using support::SeededRandom;
using Leaves = std::vector<unsigned>;

constexpr float infinity = std::numeric_limits<float>::infinity();
const float not_a_number = std::numeric_limits<float>::quiet_NaN();

constexpr unsigned queries_per_scene = support::scale_in_release(100, 12);

struct Nearest {
    Leaves leaves;
    std::vector<float> distances;
    bool operator==(const Nearest&) const = default;
};

Leaves find_in_box(const GasTree& tree, GasTreeCtx& ctx, const Box& box) {
    CoreVector<unsigned> leaves;
    leaves.add(4711); // old contents go
    tree.get_leaves_in_bbox(
        ctx, {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}}, leaves);
    return Leaves(leaves.begin(), leaves.end());
}

Nearest find_nearest(const GasTree& tree, GasTreeCtx& ctx, const GMathVec3<float>& point,
                     float max_distance, unsigned max_count) {
    constexpr unsigned guard = 0xA5A5A5A5u;
    Nearest nearest = {Leaves(max_count + 1, guard), std::vector<float>(max_count + 1, -77.0f)};
    const unsigned found = tree.get_nearest_leaves(ctx, point, max_distance, max_count,
                                                   nearest.leaves.data(), nearest.distances.data());
    EXPECT_LE(found, max_count);
    EXPECT_EQ(nearest.leaves[found], guard);
    EXPECT_EQ(nearest.distances[found], -77.0f);
    nearest.leaves.resize(found);
    nearest.distances.resize(found);
    return nearest;
}

bool overlap(const Box& a, const Box& b) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (a.max[axis] < b.min[axis] || b.max[axis] < a.min[axis])
            return false;
    }
    return true;
}

Box make_cube(const GMathVec3<float>& point, float distance) {
    Box cube;
    for (unsigned axis = 0; axis < 3; ++axis) {
        cube.min[axis] = point[axis] - distance;
        cube.max[axis] = point[axis] + distance;
    }
    return cube;
}

float centre_distance(const Box& box, const GMathVec3<float>& point) {
    float squares[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float centre = (box.min[axis] + box.max[axis]) * 0.5f;
        const float step = centre - point[axis];
        squares[axis] = step * step;
    }
    const float sum = squares[0] + squares[1];
    return std::sqrt(sum + squares[2]);
}

/// Every leaf whose box touches the search cube, by centre distance and then by position.
Nearest search_nearest(const std::vector<Box>& boxes, const GMathVec3<float>& point,
                       float max_distance) {
    const Box cube = make_cube(point, max_distance);
    Nearest all;
    for (unsigned leaf = 0; leaf < boxes.size(); ++leaf) {
        if (overlap(boxes[leaf], cube))
            all.leaves.push_back(leaf);
    }
    const auto rank = [&](unsigned leaf) {
        return std::pair(centre_distance(boxes[leaf], point), leaf);
    };
    std::sort(all.leaves.begin(), all.leaves.end(),
              [&](unsigned a, unsigned b) { return rank(a) < rank(b); });
    for (const unsigned leaf : all.leaves)
        all.distances.push_back(centre_distance(boxes[leaf], point));
    return all;
}

/// Checks an answer against the search through all boxes. Where every leaf held is within the
/// first search cube's reach, distances are the smallest there are; leaves may differ where
/// distances are equal.
void expect_nearest(const std::vector<Box>& boxes, const GMathVec3<float>& point,
                    float max_distance, unsigned max_count, const Nearest& nearest) {
    const Nearest all = search_nearest(boxes, point, max_distance);
    const std::size_t expected_count = std::min<std::size_t>(max_count, all.leaves.size());
    for (std::size_t i = 0; i < nearest.leaves.size(); ++i) {
        ASSERT_LT(nearest.leaves[i], boxes.size());
        ASSERT_EQ(nearest.distances[i], centre_distance(boxes[nearest.leaves[i]], point));
        ASSERT_TRUE(i == 0 || nearest.distances[i - 1] <= nearest.distances[i]);
    }
    Leaves sorted = nearest.leaves;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());

    if (nearest.distances.empty() || nearest.distances.back() <= max_distance) {
        ASSERT_EQ(nearest.leaves.size(), expected_count);
        for (std::size_t i = 0; i < expected_count; ++i)
            ASSERT_EQ(nearest.distances[i], all.distances[i]) << i;
    } else {
        // The cube grew to the farthest leaf held: there may be others, none of them farther.
        ASSERT_GE(nearest.leaves.size(), expected_count);
    }
}

GMathVec3<float> choose_point(SeededRandom& random, const std::vector<Box>& boxes) {
    const Box& box = boxes[random.below(static_cast<unsigned>(boxes.size()))];
    GMathVec3<float> point;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float share = random.below(4) == 0 ? 0.5f : random.uniform() * 3.0f - 1.0f;
        point[axis] = box.min[axis] + (box.max[axis] - box.min[axis]) * share;
    }
    return point;
}

/// A length that reaches some of the boxes.
float choose_distance(SeededRandom& random, const std::vector<Box>& boxes) {
    const Box& from = boxes[random.below(static_cast<unsigned>(boxes.size()))];
    const Box& to = boxes[random.below(static_cast<unsigned>(boxes.size()))];
    const unsigned axis = random.below(3);
    return std::abs(from.min[axis] - to.max[axis]) * random.uniform();
}

/// Calls `ask(tree, boxes, random, i)` for trees of every kind and several sizes.
template <typename Ask> void for_each_query(unsigned seed, const Ask& ask) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {1u, 2u, 3u, 9u, 64u, 500u}) {
            SeededRandom random(std::uint64_t{count} * seed + static_cast<unsigned>(kind));
            const std::vector<Box> boxes = scenes::make(kind, count, random.next());
            GasTree tree;
            support::build(tree, boxes, support::all_splits[random.below(4)]);
            for (unsigned i = 0; i < queries_per_scene; ++i) {
                ask(tree, boxes, random, i);
                ASSERT_FALSE(testing::Test::HasFailure()) << scenes::name(kind) << ", " << count;
            }
        }
    }
}

} // namespace

TEST(GasTreeQueries, BoxesFindWhatASearchThroughAllLeavesFinds) {
    unsigned queries = 0;
    std::size_t found = 0;
    GasTreeCtx ctx;
    for_each_query(100, [&](const GasTree& tree, const std::vector<Box>& boxes,
                            SeededRandom& random, unsigned i) {
        const GMathVec3<float> a = choose_point(random, boxes);
        const GMathVec3<float> b = choose_point(random, boxes);
        Box query = boxes[random.below(tree.get_leaf_count())]; // often touching exactly
        for (unsigned axis = 0; axis < 3 && i % 2; ++axis) {
            query.min[axis] = a[axis] < b[axis] ? a[axis] : b[axis];
            query.max[axis] = a[axis] < b[axis] ? b[axis] : a[axis];
        }
        Leaves leaves = find_in_box(tree, ctx, query);
        std::sort(leaves.begin(), leaves.end());
        Leaves expected;
        for (unsigned leaf = 0; leaf < boxes.size(); ++leaf) {
            if (overlap(boxes[leaf], query))
                expected.push_back(leaf);
        }
        EXPECT_EQ(leaves, expected);
        ++queries;
        found += leaves.size();
    });
    std::printf("compared %u box queries, %zu leaves found\n", queries, found);
    EXPECT_GT(found, queries);
}

TEST(GasTreeQueries, NearestLeavesAreThoseOfASearchThroughAllLeaves) {
    unsigned queries = 0;
    unsigned beyond = 0;
    std::size_t found = 0;
    GasTreeCtx ctx;
    for_each_query(300, [&](const GasTree& tree, const std::vector<Box>& boxes,
                            SeededRandom& random, unsigned) {
        const GMathVec3<float> point = choose_point(random, boxes);
        const float reach = random.below(4) == 0 ? infinity : choose_distance(random, boxes);
        for (const unsigned max_count : {1u, 8u, tree.get_leaf_count() + 3}) {
            SCOPED_TRACE(max_count);
            const Nearest nearest = find_nearest(tree, ctx, point, reach, max_count);
            expect_nearest(boxes, point, reach, max_count, nearest);
            ++queries;
            found += nearest.leaves.size();
            beyond += !nearest.distances.empty() && nearest.distances.back() > reach;
        }
    });
    std::printf("compared %u nearest-leaf queries, %zu leaves found, %u reached beyond the cube\n",
                queries, found, beyond);
    EXPECT_GT(found, queries);
    EXPECT_GT(beyond, 10u);
    EXPECT_LT(beyond, queries / 2);
}

TEST(GasTreeQueries, TouchingFacesOverlap) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(8)); // from 10 i to 10 i + 1
    GasTreeCtx ctx;
    const auto in_x = [&](float low, float high) {
        return find_in_box(tree, ctx, {{low, 0.25f, 0.25f}, {high, 0.75f, 0.75f}});
    };
    EXPECT_EQ(in_x(31.0f, 40.0f), (Leaves{3, 4}));
    EXPECT_EQ(in_x(31.0001f, 39.9999f), Leaves{});
    EXPECT_EQ(in_x(-5.0f, 0.0f), Leaves{0}); // touches the root's box on one face
    EXPECT_EQ(in_x(71.0f, 90.0f), Leaves{7});
    EXPECT_EQ(find_in_box(tree, ctx, {{0.0f, 1.0f, 0.0f}, {80.0f, 2.0f, 1.0f}}).size(), 8u);
    EXPECT_EQ(in_x(50.0f, 40.0f), Leaves{}); // inside out
    EXPECT_EQ(find_nearest(tree, ctx, {25.5f, 0.5f, 0.5f}, 4.5f, 8).leaves.size(), 2u);
    EXPECT_EQ(find_nearest(tree, ctx, {25.5f, 0.5f, 0.5f}, 4.4f, 8).leaves.size(), 0u);
}

TEST(GasTreeQueries, FirstChildrenComeFirstInBoxes) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(16));
    GasTreeCtx ctx;
    EXPECT_EQ(find_in_box(tree, ctx, {{25.0f, 0.0f, 0.0f}, {85.0f, 1.0f, 1.0f}}),
              (Leaves{3, 4, 5, 6, 7, 8}));
}

TEST(GasTreeQueries, LeafPositionsAreReportedWhateverTheIndices) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(4), naive::Split::sah, {40, 30, 20, 10});
    GasTreeCtx ctx;
    EXPECT_EQ(find_in_box(tree, ctx, {{0.0f, 0.0f, 0.0f}, {100.0f, 1.0f, 1.0f}}),
              (Leaves{0, 1, 2, 3}));
    EXPECT_EQ(find_nearest(tree, ctx, {31.0f, 0.5f, 0.5f}, 100.0f, 2).leaves, (Leaves{3, 2}));
}

TEST(GasTreeQueries, NearestComesFirstAndKeepsTheNearerOfMany) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(8)); // centres at 10 i + 0.5
    GasTreeCtx ctx;
    const GMathVec3<float> point = {32.5f, 0.5f, 0.5f};
    EXPECT_EQ(find_nearest(tree, ctx, point, 100.0f, 1), (Nearest{{3}, {2.0f}}));
    EXPECT_EQ(find_nearest(tree, ctx, point, 100.0f, 3), (Nearest{{3, 4, 2}, {2.0f, 8.0f, 12.0f}}));
    EXPECT_EQ(find_nearest(tree, ctx, point, 100.0f, 20).leaves, (Leaves{3, 4, 2, 5, 1, 6, 0, 7}));
}

TEST(GasTreeQueries, ALeafThatTouchesTheCubeCountsThoughItsCentreIsBeyondIt) {
    GasTree tree;
    support::build(tree, {{{0.0f, 0.0f, 0.0f}, {100.0f, 1.0f, 1.0f}}});
    GasTreeCtx ctx;
    const GMathVec3<float> point = {-1.0f, 0.5f, 0.5f};
    for (const unsigned max_count : {1u, 4u}) {
        EXPECT_EQ(find_nearest(tree, ctx, point, 1.0f, max_count), (Nearest{{0}, {51.0f}}));
        EXPECT_EQ(find_nearest(tree, ctx, point, 0.5f, max_count), Nearest{});
    }
    // Full of it, the cube grows to 51 and takes in what the first one did not reach.
    support::build(tree, {{{0.0f, 0.0f, 0.0f}, {100.0f, 1.0f, 1.0f}},
                          {{-30.0f, 0.0f, 0.0f}, {-29.0f, 1.0f, 1.0f}}});
    const Nearest grown = find_nearest(tree, ctx, point, 1.0f, 1);
    EXPECT_EQ(grown, (Nearest{{0}, {51.0f}})); // by then its subtree was left behind
    EXPECT_EQ(find_nearest(tree, ctx, point, -1.0f, 2), Nearest{});
    EXPECT_EQ(find_nearest(tree, ctx, {50.0f, 0.5f, 0.5f}, 0.0f, 2), (Nearest{{0}, {0.0f}}));
}

TEST(GasTreeQueries, OfEqualDistancesTheOneFoundFirstStaysInFront) {
    const Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
    GasTree tree;
    support::build(tree, std::vector<Box>(6, box));
    GasTreeCtx ctx;
    const GMathVec3<float> point = {3.0f, 0.5f, 0.5f};
    const Leaves order = find_nearest(tree, ctx, point, 10.0f, 6).leaves;
    Leaves sorted = order;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (Leaves{0, 1, 2, 3, 4, 5}));
    for (unsigned max_count = 1; max_count < 6; ++max_count)
        EXPECT_EQ(find_nearest(tree, ctx, point, 10.0f, max_count).leaves,
                  Leaves(order.begin(), order.begin() + max_count));
}

TEST(GasTreeQueries, WhatTheContextDidBeforeDoesNotShow) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::coincident, 200, 5);
    GasTree tree;
    support::build(tree, boxes);
    SeededRandom random(8);
    GasTreeCtx used;
    for (unsigned i = 0; i < 50; ++i) {
        const GMathVec3<float> point = choose_point(random, boxes);
        const Box query = boxes[random.below(200)];
        used.child_entry_distances[random.below(2)] = random.uniform();
        used.scratch_distances[random.below(4)] = random.uniform();
        GasTreeCtx fresh;
        EXPECT_EQ(find_in_box(tree, used, query), find_in_box(tree, fresh, query));
        EXPECT_EQ(find_nearest(tree, used, point, infinity, 7),
                  find_nearest(tree, fresh, point, infinity, 7));
    }
}

TEST(GasTreeQueries, AnEmptyTreeHasNoLeavesAndNeedsNoStack) {
    GasTree tree;
    GasTreeCtx ctx;
    EXPECT_EQ(find_in_box(tree, ctx, {{-1e30f, -1e30f, -1e30f}, {1e30f, 1e30f, 1e30f}}), Leaves{});
    EXPECT_EQ(find_nearest(tree, ctx, {0.0f, 0.0f, 0.0f}, infinity, 3), Nearest{});
    EXPECT_EQ(ctx.stack, nullptr);
}

TEST(GasTreeQueries, StacksGrowOnceToTwiceTheDepthOrToTheNodeCount) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(100));
    GasTreeCtx ctx;
    EXPECT_EQ(find_in_box(tree, ctx, {{-9.0f, 0.0f, 0.0f}, {-8.0f, 1.0f, 1.0f}}), Leaves{});
    EXPECT_EQ(ctx.stack, nullptr); // away from the tree
    find_in_box(tree, ctx, {{0.0f, 0.0f, 0.0f}, {90.0f, 1.0f, 1.0f}});
    EXPECT_EQ(ctx.stack_capacity, 2 * tree.get_depth());

    unsigned leaves[4];
    float distances[4];
    const auto count_allocations = [&] {
        const std::uint64_t before = support::get_allocation_counts().allocations;
        tree.get_nearest_leaves(ctx, {500.0f, 0.0f, 0.0f}, 100.0f, 4, leaves, distances);
        return support::get_allocation_counts().allocations - before;
    };
    EXPECT_EQ(count_allocations(), 1u);
    EXPECT_EQ(ctx.stack_capacity, tree.get_node_count());
    EXPECT_EQ(count_allocations(), 0u);
    find_in_box(tree, ctx, {{0.0f, 0.0f, 0.0f}, {90.0f, 1.0f, 1.0f}});
    EXPECT_EQ(ctx.stack_capacity, tree.get_node_count());
}

TEST(GasTreeQueries, NumbersThatAreNoneDoNoHarm) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 50, 2);
    GasTree tree;
    support::build(tree, boxes);
    GasTreeCtx ctx;
    // A NaN separates nothing, so it finds everything.
    EXPECT_EQ(find_in_box(tree, ctx,
                          {{not_a_number, not_a_number, not_a_number},
                           {not_a_number, not_a_number, not_a_number}})
                  .size(),
              50u);
    for (const unsigned max_count : {1u, 7u, 60u}) {
        for (const float reach : {1.0f, infinity, not_a_number}) {
            const Nearest nearest = find_nearest(
                tree, ctx, {not_a_number, not_a_number, not_a_number}, reach, max_count);
            EXPECT_EQ(nearest.leaves.size(), std::min(max_count, 50u));
            for (const unsigned leaf : nearest.leaves)
                EXPECT_LT(leaf, 50u);
        }
        const Nearest far = find_nearest(tree, ctx, {infinity, 0.0f, 0.0f}, infinity, max_count);
        EXPECT_LE(far.leaves.size(), max_count);
        const Nearest all = find_nearest(tree, ctx, {0.0f, 0.0f, 0.0f}, not_a_number, max_count);
        EXPECT_EQ(all.leaves.size(), std::min(max_count, 50u));
    }
}

#ifdef NDEBUG
TEST(GasTreeQueries, RoomForNoLeafFindsNone) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(3));
    GasTreeCtx ctx;
    EXPECT_EQ(find_nearest(tree, ctx, {0.0f, 0.0f, 0.0f}, infinity, 0), Nearest{});
}
#else
TEST(GasTreeQueries, RoomForNoLeafAsserts) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(3));
    GasTreeCtx ctx;
    EXPECT_DEATH(find_nearest(tree, ctx, {0.0f, 0.0f, 0.0f}, infinity, 0), "at least one leaf");
}
#endif
