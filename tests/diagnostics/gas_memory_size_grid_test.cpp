// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tests/support/grid_items.h>
#include <tests/support/test_shader.h>

namespace {

using support::GridItems;

constexpr std::size_t top_node_size = 32;
constexpr std::size_t node_size = 16;
constexpr std::size_t index_size = 8;

/// What the tree of a cell of `count` items reports.
std::size_t get_cell_size(std::size_t count) {
    const std::size_t node_count = count == 1 ? 1 : count - 1;
    return sizeof(GasCompressedTree) + node_count * node_size + count * index_size;
}

void trace_cluster(const GasGridTree& grid, unsigned cluster) {
    support::TestShader shader;
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, cluster);
    grid.ray_hit_static(CtxEval(), shader, batch.get_ctx());
}

} // namespace

TEST(GasMemorySize, AnEmptyGridIsItsObject) {
    GasGridTree grid;
    EXPECT_EQ(grid.get_memory_size(), sizeof(GasGridTree));
    GridItems items(support::make_clusters(3, 30));
    items.build(grid, support::get_cluster_target(3));
    grid.clear();
    EXPECT_EQ(grid.get_memory_size(), sizeof(GasGridTree));
}

TEST(GasMemorySize, AGridOfUnbuiltCellsIsItsLocksAndItsTopTree) {
    for (const unsigned cluster_count : {1u, 3u, 5u}) {
        GridItems items(support::make_clusters(cluster_count, 30));
        GasGridTree grid;
        items.build(grid, support::get_cluster_target(cluster_count));
        ASSERT_EQ(grid.get_cell_count(), cluster_count);
        const std::size_t expected = sizeof(GasGridTree) + cluster_count * sizeof(SysThreadLock) +
                                     (2 * cluster_count - 1) * top_node_size;
        EXPECT_EQ(grid.get_memory_size(), expected);
        // Samples do not show.
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
        EXPECT_EQ(grid.get_memory_size(), expected);
    }
}

TEST(GasMemorySize, AGridGrowsByTheTreesOfTheCellsThatRaysBuild) {
    GridItems items(support::make_clusters(3, 30));
    GasGridTree grid;
    items.build(grid, support::get_cluster_target(3));
    std::size_t expected = grid.get_memory_size();
    for (unsigned cluster = 0; cluster < 3; ++cluster) {
        trace_cluster(grid, cluster);
        expected += get_cell_size(30);
        EXPECT_EQ(grid.find_sub_tree(cluster)->get_memory_size(), get_cell_size(30));
        EXPECT_EQ(grid.get_memory_size(), expected);
        trace_cluster(grid, cluster);
        EXPECT_EQ(grid.get_memory_size(), expected);
    }
    const GasGridTree copy(grid);
    EXPECT_EQ(copy.get_memory_size(), expected);
    // Nor do the samples of cells.
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    support::reach_all_cells(grid, CtxMotionBlur(0.0f, 1.0f, 3));
    EXPECT_EQ(grid.find_sub_tree(0)->get_motion_blur_sample_count(), 3u);
    EXPECT_EQ(grid.get_memory_size(), expected);
}

TEST(GasMemorySize, ACellOfOneItemHoldsANodeAndAnIndex) {
    GridItems items(support::make_clusters(1, 1));
    GasGridTree grid;
    items.build(grid, 1);
    const std::size_t unbuilt = grid.get_memory_size();
    support::reach_all_cells(grid);
    EXPECT_EQ(grid.get_memory_size() - unbuilt, get_cell_size(1));
}
