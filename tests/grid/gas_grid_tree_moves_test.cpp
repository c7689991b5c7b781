// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

#include <tests/support/grid_items.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>

// Moves of grids: the top tree calls into the grid that now holds it.

namespace {

using support::get_built_cells;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

static_assert(std::is_nothrow_move_constructible_v<GasGridTree>);
static_assert(std::is_nothrow_move_assignable_v<GasGridTree>);
static_assert(std::is_nothrow_swappable_v<GasGridTree>);

constexpr unsigned cluster_count = 5;
const CtxMotionBlur motion(0.0f, 1.0f, 2);

/// Makes grids of five cells, whose rays it hears of.
class GridMoves : public testing::Test {
  protected:
    GridMoves() : items(support::make_clusters(cluster_count, 30)) {}

    GasGridTree make_grid() {
        GasGridTree grid;
        calls.attach(grid);
        items.build(grid, support::get_cluster_target(cluster_count));
        grid.update_motion_blur(motion);
        return grid;
    }

    /// Traces a ray through a cluster, by the grid and by its top tree, and finds its items.
    void expect_hit(const GasGridTree& grid, unsigned cluster) {
        for (const RayQuery query : support::all_ray_queries) {
            TestShader shader;
            shader.set_motion_blur(motion);
            GeometryRayBatch batch(1);
            support::aim_at_cluster(batch, 0, cluster);
            trace(grid, query, shader, batch.get_ctx());
            const std::vector<unsigned> found = calls.take_items();
            EXPECT_FALSE(found.empty());
            for (const unsigned item : found)
                EXPECT_EQ(item / 30, cluster);
            batch.reset_hits();
            trace(grid.get_top_tree(), query, shader, batch.get_ctx(), false);
            EXPECT_EQ(calls.take_items(), found) << "through the top tree";
        }
        EXPECT_TRUE(grid.find_sub_tree(cluster));
    }

    void expect_whole(const GasGridTree& grid) {
        EXPECT_EQ(grid.get_cell_count(), cluster_count);
        EXPECT_EQ(grid.get_motion_blur_sample_count(), 2u);
        for (unsigned cluster = 0; cluster < cluster_count; ++cluster)
            expect_hit(grid, cluster);
    }

    void expect_new(const GasGridTree& grid) {
        EXPECT_EQ(grid.get_cell_count(), 0u);
        EXPECT_EQ(grid.get_motion_blur_sample_count(), 0u);
        EXPECT_EQ(grid.get_bbox(), GMathBbox3<float>());
        EXPECT_EQ(grid.get_memory_size(), sizeof(GasGridTree));
    }

    GridItems items;
    RecordingCallbacks calls;
};

} // namespace

TEST_F(GridMoves, CellsAreBuiltThroughTheGridThatNowHoldsThem) {
    GasGridTree source = make_grid();
    expect_hit(source, 1);
    GasGridTree target(std::move(source));
    expect_new(source);
    EXPECT_EQ(get_built_cells(target), std::vector<unsigned>{1});
    expect_hit(target, 3);
    EXPECT_EQ(get_built_cells(target), (std::vector<unsigned>{1, 3}));
    expect_whole(target);
}

TEST_F(GridMoves, ATargetOutlivesItsSource) {
    GasGridTree target;
    {
        GasGridTree source = make_grid();
        expect_hit(source, 0);
        target = std::move(source);
    }
    expect_whole(target);
    target.update_motion_blur(CtxMotionBlur(0.0f, 2.0f, 2));
    expect_whole(target);
}

TEST_F(GridMoves, TheSourceMayBeUsedAgain) {
    GasGridTree source = make_grid();
    GasGridTree target(std::move(source));
    source.create(support::to_boxes(support::make_clusters(2, 30)), support::get_cluster_target(2),
                  nullptr, nullptr);
    EXPECT_EQ(source.get_cell_count(), 2u);
    items.take_requests();
    support::reach_all_cells(source);
    EXPECT_TRUE(items.take_requests().empty()) << "its callbacks are those of a new grid";
    EXPECT_TRUE(calls.take_items().empty());
    expect_whole(target);
}

TEST_F(GridMoves, AMotionUpdateReachesMovedGridsAndCopies) {
    GasGridTree source = make_grid();
    GasGridTree copy(source);
    GasGridTree target(std::move(source));
    copy.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_EQ(target.get_motion_blur_sample_count(), 4u);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 0u);
    target.update_motion_blur(motion);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 2u);
    expect_whole(target);
    expect_whole(copy);
}

TEST_F(GridMoves, AssignmentLeavesCopiesTheirCells) {
    GasGridTree target = make_grid();
    const GasGridTree copy(target);
    target = make_grid();
    expect_whole(copy);
    expect_whole(target);
    EXPECT_NE(copy.find_sub_tree(0), target.find_sub_tree(0));
    target = GasGridTree(copy);
    EXPECT_EQ(copy.find_sub_tree(0), target.find_sub_tree(0));
    expect_whole(target);
}

TEST_F(GridMoves, AGridMovedToItselfStays) {
    GasGridTree grid = make_grid();
    expect_hit(grid, 2);
    GasGridTree& same = grid;
    grid = std::move(same);
    EXPECT_EQ(get_built_cells(grid), std::vector<unsigned>{2});
    expect_whole(grid);
}

TEST_F(GridMoves, SwappedGridsHaveEachOthersCells) {
    GasGridTree first = make_grid();
    GasGridTree second = make_grid();
    expect_hit(first, 4);
    std::swap(first, second);
    EXPECT_TRUE(get_built_cells(first).empty());
    EXPECT_EQ(get_built_cells(second), std::vector<unsigned>{4});
    expect_whole(first);
    expect_whole(second);
    GasGridTree empty;
    std::swap(first, empty);
    expect_new(first);
    expect_whole(empty);
}

TEST_F(GridMoves, AVectorOfGridsGrows) {
    std::vector<GasGridTree> grids;
    for (unsigned i = 0; i < 9; ++i) {
        grids.push_back(make_grid());
        for (const GasGridTree& grid : grids)
            expect_hit(grid, i % cluster_count);
    }
    grids.resize(30);
    grids.erase(grids.begin() + 1);
    grids.insert(grids.begin(), grids[3]);
    for (unsigned i = 0; i < 9; ++i)
        expect_whole(grids[i]);
    expect_new(grids[9]);
}

TEST_F(GridMoves, TheProgressOwnerAndItsTitleMoveAlong) {
    support::QuietProgress progress(naive::Split::median);
    GasGridTree source;
    items.build(source, 1, &progress.bar);
    const GasGridTree target(std::move(source));
    support::reach_all_cells(target);
    EXPECT_EQ(target.find_sub_tree(0)->get_split_callback(), &GasCompressedTree::split_median);
}

TEST_F(GridMoves, SamplesOfAnEmptyGridMoveAlong) {
    GasGridTree source;
    source.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    GasGridTree target = make_grid();
    target = std::move(source);
    EXPECT_EQ(target.get_motion_blur_sample_count(), 3u);
    EXPECT_EQ(target.get_cell_count(), 0u);
    expect_new(source);
}
