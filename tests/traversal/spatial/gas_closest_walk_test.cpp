// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include <gas/traversal/spatial/gas_closest_walk.h>

namespace {

std::vector<unsigned> take_all(GasPendingNodes& pending) {
    std::vector<unsigned> nodes;
    while (!pending.is_empty())
        nodes.push_back(pending.take().node);
    return nodes;
}

} // namespace

TEST(GasPendingNodes, TheNearestComesFirstAndOfEqualOnesTheLast) {
    GasPendingNode memory[6];
    GasPendingNodes pending(memory, 6);
    pending.add({4.0, 40});
    pending.add({1.0, 10});
    pending.add({9.0, 90});
    pending.add({1.0, 11});
    EXPECT_EQ(pending.take().node, 11u);
    pending.add({5.0, 50});
    pending.add({0.0, 0});
    EXPECT_EQ(take_all(pending), (std::vector<unsigned>{0, 10, 40, 50, 90}));
}

TEST(GasPendingNodes, AreAStackAboveThoseThatAreSorted) {
    constexpr unsigned sorted = GasPendingNodes::sorted_count;
    std::vector<GasPendingNode> memory(sorted + 3);
    GasPendingNodes pending(memory.data(), memory.size());
    for (unsigned i = 0; i < sorted; ++i)
        pending.add({static_cast<double>(i), i});
    pending.add({500.0, 500});
    pending.add({700.0, 700});
    pending.add({600.0, 600});
    for (const unsigned expected : {600u, 700u, 500u, 0u, 1u})
        EXPECT_EQ(pending.take().node, expected);
    pending.add({100.5, 100});
    EXPECT_EQ(pending.take().node, 2u);
    EXPECT_EQ(take_all(pending).size(), sorted - 2);
}

TEST(GasClosestReach, MeasuresFromAPointToBoxes) {
    const GasBbox tree_box = {{-8.0f, -8.0f, -8.0f, 0.0f}, {8.0f, 8.0f, 8.0f, 0.0f}};
    const GasClosestReach reach({1.0, 2.0, 3.0}, tree_box);
    EXPECT_TRUE(reach.is_finite());
    EXPECT_EQ(reach.get_squared_distance({{4.0f, 6.0f, 3.0f, 0.0f}, {5.0f, 7.0f, 9.0f, 0.0f}}),
              25.0);
    EXPECT_EQ(reach.get_squared_distance({{-4.0f, -6.0f, 1.0f, 0.0f}, {-1.0f, 0.0f, 2.0f, 0.0f}}),
              9.0);
    EXPECT_EQ(reach.get_squared_distance(tree_box), 0.0);
}

TEST(GasClosestReach, HoldsWhatIsAMarginBeyondTheBound) {
    const GasBbox tree_box = {{-8.0f, -2.0f, -2.0f, 0.0f}, {2.0f, 2.0f, 2.0f, 0.0f}};
    GasClosestReach reach({1.0, 2.0, 3.0}, tree_box);
    constexpr double margin = 8.0 * 0x1p-18; // of the largest coordinate
    for (const double bound : {0.0, -5.0, 1.0, 4.0}) {
        reach.set_bound(bound);
        const double farthest = std::max(0.0, bound) + margin;
        EXPECT_TRUE(reach.holds(farthest * farthest));
        EXPECT_FALSE(reach.holds(farthest * farthest * 1.000001));
    }
    reach.set_bound(std::numeric_limits<double>::infinity());
    EXPECT_TRUE(reach.holds(std::numeric_limits<double>::infinity()));
}
