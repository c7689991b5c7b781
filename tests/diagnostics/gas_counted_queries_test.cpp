// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <gas/diagnostics/gas_counted_queries.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/support/seeded_random.h>

namespace {

/// Small boxes at random places of the unit cube.
class CountedQueries : public testing::Test {
  protected:
    CountedQueries() {
        support::SeededRandom random(5);
        CoreArray<GMathBbox3<float>> boxes(500);
        for (GMathBbox3<float>& box : boxes) {
            box.min = make_point(random);
            box.max = box.min + GMathVec3<float>{0.05f, 0.05f, 0.05f};
        }
        tree.create(boxes, nullptr, nullptr, 1.0f);
        compressed.create(boxes, nullptr, nullptr);
    }

    static GMathVec3<float> make_point(support::SeededRandom& random) {
        const float x = random.uniform();
        const float y = random.uniform();
        return {x, y, random.uniform()};
    }

    /// From a point to the nearest point of a node's box.
    static float get_distance(const GasTree::Node& node, const GMathVec3<float>& point) {
        float sum = 0.0f;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float below = node.bbox_min[axis] - point[axis];
            const float above = point[axis] - node.bbox_max[axis];
            const float outside = std::max({below, above, 0.0f});
            sum += outside * outside;
        }
        return std::sqrt(sum);
    }

    template <typename Tree> void compare_closest(const Tree& searched) {
        // From a point outside, by what is a distance of every item's box and more.
        const GMathVec3<double> point = {-4.0, 0.5, 0.5};
        unsigned call_count = 0;
        const GasClosestItemCallback ask = [](void* user, const unsigned& item,
                                              const GMathVec3<double>&, const double&) {
            ++*static_cast<unsigned*>(user);
            return 8.0 - 0.001 * item;
        };
        unsigned plain_item = 0;
        double plain_distance = 0.0;
        EXPECT_TRUE(searched.get_closest_item(ctx, point, 9.0, ask, &call_count, plain_item,
                                              plain_distance));
        EXPECT_EQ(plain_item, 499u);
        const unsigned plain_call_count = call_count;
        unsigned item = 0;
        double distance = 0.0;
        GasWalkCounts counts;
        EXPECT_TRUE(gas_counted_get_closest_item(searched, ctx, point, 9.0, ask, &call_count, item,
                                                 distance, counts));
        EXPECT_EQ(item, plain_item);
        EXPECT_EQ(distance, plain_distance);
        EXPECT_EQ(counts.leaf_calls, plain_call_count);
        EXPECT_EQ(call_count, 2 * plain_call_count);
        EXPECT_EQ(counts.visited_nodes, 2 * counts.leaf_calls - 1); // all of them
    }

    GasTree tree;
    GasCompressedTree compressed;
    GasTreeCtx ctx;
};

TEST_F(CountedQueries, FindWhatTheOthersFindInABox) {
    support::SeededRandom random(6);
    for (unsigned round = 0; round < 50; ++round) {
        const GMathVec3<float> corner = make_point(random);
        const GMathBbox3<float> box = {corner, corner + GMathVec3<float>{0.2f, 0.2f, 0.2f}};
        CoreVector<unsigned> plain;
        tree.get_leaves_in_bbox(ctx, box, plain);
        CoreVector<unsigned> counted;
        GasWalkCounts counts;
        gas_counted_get_leaves_in_bbox(tree, ctx, box, counted, counts);
        EXPECT_EQ(std::vector<unsigned>(counted.begin(), counted.end()),
                  std::vector<unsigned>(plain.begin(), plain.end()));
        EXPECT_EQ(counts.leaf_calls, plain.get_count());
        EXPECT_GE(counts.visited_nodes, counts.leaf_calls);
    }
}

TEST_F(CountedQueries, FindWhatTheOthersFindNearAPoint) {
    support::SeededRandom random(7);
    for (const unsigned room : {1u, 8u, 64u}) {
        const GMathVec3<float> point = make_point(random);
        std::vector<unsigned> plain(room);
        std::vector<unsigned> counted(room);
        std::vector<float> distances(room);
        const unsigned found =
            tree.get_nearest_leaves(ctx, point, 2.0f, room, plain.data(), distances.data());
        EXPECT_EQ(found, room);
        GasWalkCounts counts;
        EXPECT_EQ(gas_counted_get_nearest_leaves(tree, ctx, point, 2.0f, room, counted.data(),
                                                 distances.data(), counts),
                  found);
        EXPECT_EQ(counted, plain);
        EXPECT_GE(counts.leaf_calls, room);
        EXPECT_LT(counts.visited_nodes, tree.get_node_count());
    }
}

TEST_F(CountedQueries, FindTheClosestItemThatTheOthersFind) {
    compare_closest(tree);
    compare_closest(compressed);
}

TEST_F(CountedQueries, VisitHardlyANodeFartherThanTheLastLeafFound) {
    support::SeededRandom random(8);
    for (const unsigned room : {1u, 8u, 64u}) {
        GasWalkCounts counts;
        unsigned fewest = 0;
        for (unsigned round = 0; round < 50; ++round) {
            const GMathVec3<float> point = make_point(random);
            std::vector<unsigned> leaves(room);
            std::vector<float> distances(room);
            gas_counted_get_nearest_leaves(tree, ctx, point, 2.0f, room, leaves.data(),
                                           distances.data(), counts);
            for (unsigned i = 0; i < tree.get_node_count(); ++i)
                fewest += get_distance(tree.get_nodes()[i], point) < distances.back() ? 1 : 0;
        }
        EXPECT_GE(counts.visited_nodes, fewest);
        EXPECT_LE(counts.visited_nodes, fewest + fewest / 5) << room;
    }
}

TEST_F(CountedQueries, CountEveryNodeOfABoxThatHoldsAll) {
    CoreVector<unsigned> leaves;
    GasWalkCounts counts;
    gas_counted_get_leaves_in_bbox(tree, ctx, {{-1.0f, -1.0f, -1.0f}, {2.0f, 2.0f, 2.0f}}, leaves,
                                   counts);
    EXPECT_EQ(counts.visited_nodes, tree.get_node_count());
    EXPECT_EQ(counts.leaf_calls, 500u);
}

} // namespace
