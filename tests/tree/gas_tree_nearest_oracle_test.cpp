// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_leaves.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>

/// The nearest leaves are those of a plain depth-first walk, equal distances in its order.

namespace {

using naive::Box;
using naive::NearestLeaves;
using support::SeededRandom;
using Boxes = std::vector<Box>;

constexpr float infinity = std::numeric_limits<float>::infinity();

constexpr unsigned points_per_tree = support::scale_in_release(40, 6);

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

struct Point {
    float coordinates[3];
};

class NearestOracle : public testing::Test {
  protected:
    void compare(const GasTree& tree, const naive::Tree& oracle, const Point& point, float reach,
                 unsigned max_count) {
        const NearestLeaves expected =
            naive::nearest_leaves(oracle, point.coordinates, reach, max_count);
        const auto& [x, y, z] = point.coordinates;
        NearestLeaves found = {std::vector<unsigned>(max_count),
                               std::vector<float>(max_count, -1.0f)};
        const unsigned count = tree.get_nearest_leaves(ctx, {x, y, z}, reach, max_count,
                                                       found.leaves.data(), found.distances.data());
        found.leaves.resize(count);
        found.distances.resize(count);
        ASSERT_EQ(found.leaves, expected.leaves)
            << "at " << x << ", " << y << ", " << z << ", " << max_count << " within " << reach;
        for (unsigned i = 0; i < count; ++i)
            ASSERT_TRUE(same(found.distances[i], expected.distances[i])) << i;
        ++queries;
        const std::vector<float>& distances = expected.distances;
        ties += std::adjacent_find(distances.begin(), distances.end()) != distances.end();
        beyond += count == max_count && distances.back() > reach;
    }

    void compare_many(const GasTree& tree, const naive::Tree& oracle, const Boxes& boxes,
                      SeededRandom& random) {
        const auto count = static_cast<unsigned>(boxes.size());
        for (unsigned i = 0; i < points_per_tree; ++i) {
            const Point point = choose_point(random, boxes);
            for (const unsigned max_count : {1u, 2u, 8u, count / 2 + 1, count + 3}) {
                ASSERT_NO_FATAL_FAILURE(
                    compare(tree, oracle, point, choose_reach(random, boxes, point), max_count));
            }
        }
    }

    static Point choose_point(SeededRandom& random, const Boxes& boxes) {
        const Box& box = boxes[random.below(static_cast<unsigned>(boxes.size()))];
        const bool is_middle = random.below(4) == 0;
        Point point;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float share = is_middle ? 0.5f : random.uniform() * 3.0f - 1.0f;
            point.coordinates[axis] = box.min[axis] + (box.max[axis] - box.min[axis]) * share;
        }
        if (random.below(20) == 0)
            point.coordinates[random.below(3)] = support::special_value(random);
        return point;
    }

    /// None, about as far as some box, or a special value.
    static float choose_reach(SeededRandom& random, const Boxes& boxes, const Point& point) {
        const unsigned kind = random.below(8);
        if (kind < 4)
            return infinity;
        if (kind == 4)
            return support::special_value(random);
        const Box& box = boxes[random.below(static_cast<unsigned>(boxes.size()))];
        const unsigned axis = random.below(3);
        return std::abs(box.min[axis] - point.coordinates[axis]) * (0.5f + random.uniform());
    }

    GasTreeCtx ctx;
    unsigned queries = 0;
    unsigned ties = 0;
    unsigned beyond = 0;
};

/// Turns one box in `rarity` inside out, along one axis or more.
void turn_inside_out(Boxes& boxes, SeededRandom& random, unsigned rarity) {
    for (Box& box : boxes) {
        if (random.below(rarity) != 0)
            continue;
        for (unsigned axis = 0; axis < 3; ++axis) {
            if (random.below(2) == 0)
                std::swap(box.min[axis], box.max[axis]);
        }
    }
}

std::string describe(scenes::Kind kind, unsigned count) {
    return std::string(scenes::name(kind)) + ", " + std::to_string(count);
}

} // namespace

TEST_F(NearestOracle, FindsTheSameLeavesInTheSameOrder) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {1u, 2u, 3u, 9u, 64u, 300u}) {
            SCOPED_TRACE(describe(kind, count));
            SeededRandom random(std::uint64_t{count} * 700 + static_cast<unsigned>(kind));
            const Boxes boxes = scenes::make(kind, count, random.next());
            const naive::Split split = support::all_splits[random.below(4)];
            GasTree tree;
            support::build(tree, boxes, split);
            ASSERT_NO_FATAL_FAILURE(compare_many(tree, naive::build(boxes, split), boxes, random));
        }
    }
    std::printf("compared %u queries, %u with equal distances, %u beyond the cube\n", queries, ties,
                beyond);
    EXPECT_GT(ties, queries / 20);
    EXPECT_GT(beyond, queries / 100);
}

TEST_F(NearestOracle, FindsThemAmongBoxesInsideOutAndWithSpecialValues) {
    for (unsigned round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        SeededRandom random(round);
        const std::vector<scenes::Kind>& kinds = scenes::all_kinds();
        const unsigned count = 2 + random.below(60);
        Boxes boxes = scenes::make(kinds[random.below(static_cast<unsigned>(kinds.size()))], count,
                                   random.next());
        const unsigned rarity = random.below(2) == 0 ? 3 : count;
        if (round % 4 != 0)
            turn_inside_out(boxes, random, rarity);
        if (round % 4 != 1)
            support::spoil(boxes, random, 4 * rarity);
        const naive::Split split = support::all_splits[random.below(4)];
        GasTree tree;
        support::build(tree, boxes, split);
        ASSERT_NO_FATAL_FAILURE(compare_many(tree, naive::build(boxes, split), boxes, random));
    }
}

TEST_F(NearestOracle, FollowsBoxesThatARefitTurnsInsideOutAndBack) {
    SeededRandom random(4);
    const Boxes ordered = scenes::make(scenes::Kind::random, 60, 3);
    Boxes inside_out = ordered;
    turn_inside_out(inside_out, random, 3);
    GasTree tree;
    support::build(tree, ordered);
    naive::Tree oracle = naive::build(ordered, naive::Split::sah_fast);
    GasTree copy(tree); // shares the nodes, and so what is known of them
    for (unsigned round = 0; round < 6; ++round) {
        const Boxes& boxes = round % 2 == 0 ? inside_out : ordered;
        EXPECT_TRUE(tree.refit(support::to_boxes(boxes)));
        naive::refit(oracle, boxes);
        compare_many(tree, oracle, boxes, random);
        compare_many(copy, oracle, boxes, random);
    }
    copy = GasTree(); // only one of the two may release the nodes
}

TEST_F(NearestOracle, FindsABoxInsideOutWhoseCentreItsParentDoesNotHold) {
    // Along x the first box spans nothing, and its parent ends before its centre, 4.
    const Boxes boxes = {{{5.0f, 0.0f, 0.0f}, {3.0f, 0.0f, 0.0f}},
                         {{0.0f, -0.1f, 0.0f}, {3.5f, 0.1f, 0.0f}},
                         {{6.0f, 5.0f, 0.0f}, {6.0f, 5.0f, 0.0f}},
                         {{7.0f, 5.0f, 0.0f}, {7.0f, 5.0f, 0.0f}}};
    for (const naive::Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, boxes, split);
        const naive::Tree oracle = naive::build(boxes, split);
        for (float x = 3.0f; x < 8.0f; x += 0.125f) {
            for (float y = 0.0f; y < 5.0f; y += 0.125f)
                compare(tree, oracle, {{x, y, 0.0f}}, infinity, 1);
        }
    }
}

TEST_F(NearestOracle, FindsThemInATreeOfManyLevels) {
    SeededRandom random(9);
    const Boxes boxes = scenes::geometric_chain(250, 0.5f, 1);
    GasTree tree;
    support::build(tree, boxes, naive::Split::median);
    EXPECT_GT(tree.get_depth(), 70u);
    compare_many(tree, naive::build(boxes, naive::Split::median), boxes, random);
}

TEST_F(NearestOracle, FindsThemAmongManyOfTheSameDistance) {
    Boxes boxes;
    for (unsigned i = 0; i < 1000; ++i) {
        const float corner[3] = {static_cast<float>(i % 10), static_cast<float>(i / 10 % 10),
                                 static_cast<float>(i / 100)};
        boxes.push_back({{corner[0], corner[1], corner[2]}, {corner[0], corner[1], corner[2]}});
    }
    for (const naive::Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, boxes, split);
        const naive::Tree oracle = naive::build(boxes, split);
        for (unsigned i = 0; i < 200; ++i) {
            const float(&corner)[3] = boxes[(i * 37) % 1000].min;
            const float offset = i % 2 == 0 ? 0.0f : 0.5f;
            const Point point = {{corner[0] + offset, corner[1] + offset, corner[2]}};
            for (const unsigned max_count : {1u, 3u, 7u, 20u, 64u}) {
                for (const float reach : {infinity, FLT_MAX, 2.0f, 1.0f})
                    compare(tree, oracle, point, reach, max_count);
            }
        }
    }
    EXPECT_GT(ties, queries / 2);
}
