// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/tree_statistics.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

void build(GasTree& tree, const CoreArray<GMathBbox3<float>>& boxes) {
    tree.create(boxes, nullptr, nullptr, 1.0f);
}

TEST(TreeStatistics, KnowsAnEmptyTree) {
    const TreeStatistics statistics = get_tree_statistics(GasTree());
    EXPECT_EQ(statistics.leaf_count, 0u);
    EXPECT_EQ(statistics.node_count, 0u);
    EXPECT_EQ(statistics.sah_cost, 0.0);
    EXPECT_TRUE(statistics.leaves_per_level.empty());
}

TEST(TreeStatistics, KnowsASingleLeaf) {
    GasTree tree;
    build(tree, {{{0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 3.0f}}});
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.sah_cost, 1.0);
    EXPECT_EQ(statistics.leaves_per_level, std::vector<unsigned>{1});
    EXPECT_EQ(statistics.mean_leaf_depth, 1.0);
}

TEST(TreeStatistics, AddsUpASmallTreeByHand) {
    // Three unit cubes in a row at x = 0, 1 and 9; the root's area is 2 (10 + 10 + 1) = 42.
    GasTree tree;
    build(tree, {{{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}},
                 {{1.0f, 0.0f, 0.0f}, {2.0f, 1.0f, 1.0f}},
                 {{9.0f, 0.0f, 0.0f}, {10.0f, 1.0f, 1.0f}}});
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.leaf_count, 3u);
    EXPECT_EQ(statistics.node_count, 5u);
    EXPECT_EQ(statistics.depth, 3u);
    // The root, the pair with area 10, three leaves with area 6.
    EXPECT_DOUBLE_EQ(statistics.sah_cost, 1.0 + 10.0 / 42.0 + 3.0 * 6.0 / 42.0);
    EXPECT_EQ(statistics.leaves_per_level, (std::vector<unsigned>{0, 1, 2}));
    EXPECT_DOUBLE_EQ(statistics.mean_leaf_depth, (2.0 + 3.0 + 3.0) / 3.0);
    EXPECT_EQ(statistics.node_bytes, 5u * 32u);
    EXPECT_EQ(statistics.memory_bytes, tree.get_memory_size());
}

TEST(TreeStatistics, CountsMotionSamples) {
    GasTree tree;
    build(tree,
          {{{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}}, {{1.0f, 0.0f, 0.0f}, {2.0f, 1.0f, 1.0f}}});
    EXPECT_EQ(get_tree_statistics(tree).motion_bytes, 0u);
    tree.set_motion_blur_sample_count(2);
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.motion_sample_count, 2u);
    EXPECT_EQ(statistics.motion_bytes, 2 * (3 * 24 + 4 + sizeof(void*)));
    EXPECT_EQ(statistics.total_bytes, statistics.memory_bytes + statistics.motion_bytes);
}

TEST(TreeStatistics, CountsNodesInFullWhereTheRootHasNoArea) {
    GasTree tree;
    build(tree,
          {{{1.0f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f}}, {{1.0f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f}}});
    EXPECT_EQ(get_tree_statistics(tree).sah_cost, 3.0);
}

} // namespace
