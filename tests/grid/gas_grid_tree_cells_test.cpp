// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::get_built_cells;
using support::get_cell_items;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

/// Traces one ray through a cluster.
void trace_cluster(const GasGridTree& grid, unsigned cluster, RayQuery query) {
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, grid.get_motion_blur_sample_count()));
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, cluster);
    trace(grid, query, shader, batch.get_ctx());
}

/// The tree that a cell must get.
void build_expected(GasCompressedTree& tree, const GridItems& items, const GasGridTree& grid,
                    unsigned cell, AppProgressBar* progress_bar = nullptr) {
    const std::vector<unsigned> values = get_cell_items(grid, cell);
    tree.create(support::to_boxes(items.get_boxes_of(values)), values.data(), progress_bar);
}

std::vector<unsigned> make_values(unsigned count) {
    std::vector<unsigned> values(count);
    for (unsigned i = 0; i < count; ++i)
        values[i] = 1000000 - 7 * i;
    return values;
}

} // namespace

TEST(GridCells, NothingIsBuiltBeforeARayComes) {
    GridItems items(support::make_clusters(3, 30));
    GasGridTree grid;
    items.build(grid, support::get_cluster_target(3));
    EXPECT_EQ(grid.get_cell_count(), 3u);
    EXPECT_TRUE(get_built_cells(grid).empty());
    EXPECT_TRUE(items.take_requests().empty());
}

TEST(GridCells, ARayBuildsTheCellsThatItCrossesAndNoOthers) {
    for (const RayQuery query : support::all_ray_queries) {
        GridItems items(support::make_clusters(5, 30), make_values(150));
        GasGridTree grid;
        items.build(grid, support::get_cluster_target(5));
        ASSERT_EQ(grid.get_cell_count(), 5u);
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        items.take_requests();
        trace_cluster(grid, 3, query);
        EXPECT_EQ(get_built_cells(grid), std::vector<unsigned>{3});
        trace_cluster(grid, 1, query);
        trace_cluster(grid, 1, query);
        EXPECT_EQ(get_built_cells(grid), (std::vector<unsigned>{1, 3}));

        // Their own items, once.
        std::vector<BoxRequest> expected;
        for (const unsigned cell : {3u, 1u}) {
            expected.push_back({BoxCallback::leaf_bboxes, 0.0, get_cell_items(grid, cell)});
            for (const double time : {0.0, 1.0}) {
                if (support::is_motion(query))
                    expected.push_back(
                        {BoxCallback::leaf_bboxes_at, time, get_cell_items(grid, cell)});
            }
        }
        EXPECT_EQ(items.take_requests(), expected) << name(query);
    }
}

TEST(GridCells, ARayThatIsStoppedBuildsNothingBehind) {
    GridItems items(support::make_clusters(5, 30));
    GasGridTree grid;
    RecordingCallbacks calls;
    calls.attach(grid);
    items.build(grid, support::get_cluster_target(5));
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        // The third cluster is solid.
        if (item / 30 == 2) {
            rays.set_hit(0);
            rays.get_intersection_path(0).set_hit_distance(200.0);
        }
    };
    TestShader shader;
    for (const RayQuery query : {RayQuery::hit_static, RayQuery::nearest_static}) {
        GeometryRayBatch batch(1);
        batch.set_ray(0, {-10.0, 4.5, 4.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        grid.create(support::to_boxes(items.get_boxes()), support::get_cluster_target(5), nullptr,
                    nullptr);
        trace(grid, query, shader, batch.get_ctx());
        ASSERT_TRUE(batch.is_hit(0));
        EXPECT_EQ(get_built_cells(grid), (std::vector<unsigned>{0, 1, 2})) << name(query);
    }
}

TEST(GridCells, ACellsTreeIsACompressedTreeOverItsItems) {
    const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, 3000, 7);
    GridItems items(boxes, make_values(3000));
    for (const naive::Split split : support::all_splits) {
        support::QuietProgress progress(split);
        GasGridTree grid;
        items.build(grid, 30, &progress.bar);
        TestShader shader;
        GeometryRayBatch batch(1);
        batch.set_ray(0, {-100.0, -99.0, -98.0}, {1.0, 0.98, 0.99}, 0.0, 1000.0);
        trace(grid, RayQuery::hit_static, shader, batch.get_ctx());
        const std::vector<unsigned> built = get_built_cells(grid);
        EXPECT_GT(built.size(), 2u);
        for (const unsigned cell : built) {
            GasCompressedTree expected;
            build_expected(expected, items, grid, cell, &progress.bar);
            EXPECT_EQ(support::find_difference(*grid.find_sub_tree(cell), expected), "");
            EXPECT_TRUE(grid.find_sub_tree(cell)->is_motion_update_pending());
        }
    }
}

TEST(GridCells, WithoutABarCellsSplitByTheFastHeuristic) {
    GridItems items(scenes::make(scenes::Kind::random, 500, 7));
    support::QuietProgress progress(naive::Split::median);
    GasGridTree grid;
    for (AppProgressBar* bar : {&progress.bar, static_cast<AppProgressBar*>(nullptr)}) {
        items.build(grid, 1, bar);
        ASSERT_EQ(grid.get_cell_count(), 1u);
        trace_cluster(grid, 0, RayQuery::hit_static);
        GasCompressedTree expected;
        build_expected(expected, items, grid, 0, bar);
        EXPECT_EQ(support::find_difference(*grid.find_sub_tree(0), expected), "");
        EXPECT_EQ(grid.find_sub_tree(0)->get_split_callback(),
                  bar ? &GasCompressedTree::split_median : &GasCompressedTree::split_sah_bins_fast);
    }
}

TEST(GridCells, WithoutABarCellsSplitByTheMethodOfTheBuild) {
    for (const GasBuildMethod method : support::all_build_methods) {
        GridItems items(support::make_clusters(2, 300));
        GasGridTree grid;
        items.attach(grid);
        grid.create(items.get_count(), support::get_cluster_target(2), nullptr, method);
        // A copy, and what an assignment overwrites, follow too.
        GasGridTree copy;
        copy.create(items.get_count(), 1, nullptr, GasBuildMethod::median);
        copy = grid;
        trace_cluster(grid, 0, RayQuery::nearest_static);
        trace_cluster(copy, 1, RayQuery::nearest_static);
        ASSERT_EQ(get_built_cells(grid).size(), 2u);
        for (unsigned cell = 0; cell < 2; ++cell) {
            support::QuietProgress progress(static_cast<unsigned>(method));
            GasCompressedTree expected;
            build_expected(expected, items, grid, cell, &progress.bar);
            EXPECT_EQ(support::find_difference(*grid.find_sub_tree(cell), expected), "");
        }
    }
}

TEST(GridCells, AnEmptyBuildForgetsTheApplicationAsWell) {
    GridItems items(scenes::make(scenes::Kind::random, 500, 7));
    GasGridTree grid;
    {
        support::QuietProgress progress(naive::Split::median);
        items.build(grid, 1, &progress.bar);
    }
    grid.create(CoreArray<GMathBbox3<float>>(), 1, nullptr, nullptr);
    items.build(grid, 1);
    trace_cluster(grid, 0, RayQuery::hit_static); // the application is gone
    EXPECT_EQ(grid.find_sub_tree(0)->get_split_callback(), &GasCompressedTree::split_sah_bins_fast);
}

TEST(GridCells, ACellOfOneItemHasATreeOfOneLeaf) {
    GridItems items({{{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}},
                     {{50.0f, 0.0f, 0.0f}, {51.0f, 1.0f, 1.0f}},
                     {{99.0f, 0.0f, 0.0f}, {100.0f, 1.0f, 1.0f}}},
                    {70, 80, 90});
    GasGridTree grid;
    RecordingCallbacks calls;
    calls.attach(grid);
    items.build(grid, 1);
    ASSERT_EQ(grid.get_cell_count(), 3u);
    TestShader shader;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {50.5, 0.5, -5.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    trace(grid, RayQuery::nearest_static, shader, batch.get_ctx());
    EXPECT_EQ(calls.take_items(), std::vector<unsigned>{80});
    EXPECT_EQ(get_built_cells(grid), std::vector<unsigned>{1});
    EXPECT_EQ(grid.find_sub_tree(1)->get_leaf_count(), 1u);
    EXPECT_EQ(grid.find_sub_tree(1)->get_bbox(), support::to_box(items.get_boxes()[1]));
}

// A top tree of one cell is not tested: any ray goes to the cell, a range as a whole.
TEST(GridCells, ALoneCellIsReachedByEveryRay) {
    GridItems items(scenes::make(scenes::Kind::random, 100, 3));
    for (const RayQuery query : support::all_ray_queries) {
        GasGridTree grid;
        items.build(grid, 1);
        ASSERT_EQ(grid.get_cell_count(), 1u);
        CtxShader shader; // no frames needed up to there
        GeometryRayBatch batch(3);
        for (unsigned ray = 0; ray < 3; ++ray)
            batch.set_ray(ray, {1e6, 1e6, 1e6}, {1.0, 0.0, 0.0}, 0.0, 1.0);
        trace(grid, query, shader, batch.get_ctx());
        EXPECT_EQ(get_built_cells(grid), std::vector<unsigned>{0}) << name(query);
    }
}

TEST(GridCells, ANewBuildStartsFromUnbuiltCells) {
    GridItems items(support::make_clusters(3, 30));
    GasGridTree grid;
    items.build(grid, support::get_cluster_target(3));
    trace_cluster(grid, 0, RayQuery::hit_static);
    items.build(grid, support::get_cluster_target(3));
    EXPECT_TRUE(get_built_cells(grid).empty());
    items.take_requests();
    trace_cluster(grid, 0, RayQuery::hit_static);
    EXPECT_EQ(items.take_requests().size(), 1u);
}

TEST(GridCells, EachCellsTreeTakesTheCallbacksOfItsTime) {
    GridItems items(support::make_clusters(2, 30));
    GridItems later(items.get_boxes());
    GasGridTree grid;
    items.build(grid, 1);
    trace_cluster(grid, 0, RayQuery::hit_static);
    EXPECT_EQ(items.take_requests().size(), 1u);
    later.attach(grid);
    trace_cluster(grid, 0, RayQuery::hit_static);
    trace_cluster(grid, 1, RayQuery::hit_static);
    EXPECT_TRUE(items.take_requests().empty());
    EXPECT_EQ(later.take_requests().size(), 1u);
}

namespace {

/// A task that does what it is told.
class FunctionTask : public SysThreadTask {
  public:
    void run() override { work(); }
    std::function<void()> work;
};

} // namespace

TEST(GridCells, ABoxCallbackMayTraceElsewhereAndStartTasks) {
    GridItems items(support::make_clusters(5, 600));
    GridItems other_items(support::make_clusters(2, 600));
    GasGridTree grid;
    GasGridTree other;
    items.build(grid, support::get_cluster_target(5));
    other_items.build(other, support::get_cluster_target(2));
    std::atomic<unsigned> task_runs = 0;
    items.react = [&](const BoxRequest& request) {
        const unsigned cluster = request.items[0] / 600;
        trace_cluster(other, cluster % 2, RayQuery::nearest_static);
        if (cluster < 4)
            trace_cluster(grid, cluster + 1, RayQuery::nearest_static);
        FunctionTask tasks[3];
        SysThreadTaskManager manager(nullptr);
        for (FunctionTask& task : tasks) {
            task.work = [&task_runs] { ++task_runs; };
            manager.add_task(task, false, true);
        }
        manager.wait_until_completed();
    };
    trace_cluster(grid, 0, RayQuery::hit_static);
    EXPECT_EQ(get_built_cells(grid), support::list_items(5));
    EXPECT_EQ(get_built_cells(other), support::list_items(2));
    EXPECT_EQ(items.take_requests().size(), 10u) << "two pieces for each cell";
    EXPECT_EQ(other_items.take_requests().size(), 4u);
    EXPECT_EQ(task_runs, 30u);
}

// A box callback that traces into the cell that it is called for would wait for itself.

namespace {

/// A grid of two cells. Requests for boxes of cell 0 through `callback` trace into `cluster`, on
/// whichever thread they come.
struct Reentry {
    Reentry(BoxCallback callback, unsigned cluster, unsigned item_count)
        : items(support::make_clusters(2, item_count)) {
        calls.attach(grid);
        items.build(grid, 1);
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        items.react = [this, callback, cluster, item_count](const BoxRequest& request) {
            if (request.callback == callback && request.items[0] < item_count)
                trace_cluster(grid, cluster, RayQuery::hit_motion);
        };
    }

    GridItems items;
    GasGridTree grid;
    RecordingCallbacks calls;
};

constexpr BoxCallback reentry_callbacks[] = {BoxCallback::leaf_bboxes, BoxCallback::leaf_bboxes_at};
/// In one call, and in tasks.
constexpr unsigned reentry_item_counts[] = {30, 2000};

} // namespace

#ifdef NDEBUG

TEST(GridCells, TracingIntoOnesOwnCellSkipsIt) {
    for (const BoxCallback callback : reentry_callbacks) {
        for (const unsigned item_count : reentry_item_counts) {
            Reentry scene(callback, 0, item_count);
            trace_cluster(scene.grid, 0, RayQuery::hit_motion);
            EXPECT_EQ(get_built_cells(scene.grid), std::vector<unsigned>{0});
            EXPECT_FALSE(scene.grid.find_sub_tree(0)->is_motion_update_pending());
            EXPECT_FALSE(scene.calls.calls.empty());
        }
    }
}

#else

TEST(GridCellsDeathTest, TracingIntoOnesOwnCellAsserts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // there are task threads
    for (const BoxCallback callback : reentry_callbacks) {
        for (const unsigned item_count : reentry_item_counts) {
            Reentry scene(callback, 0, item_count);
            EXPECT_DEATH(trace_cluster(scene.grid, 0, RayQuery::hit_motion), "does not trace into");
        }
    }
}

#endif

TEST(GridCells, TracingIntoAnotherCellBuildsIt) {
    for (const BoxCallback callback : reentry_callbacks) {
        for (const unsigned item_count : reentry_item_counts) {
            Reentry scene(callback, 1, item_count);
            trace_cluster(scene.grid, 0, RayQuery::hit_motion);
            EXPECT_EQ(get_built_cells(scene.grid), support::list_items(2));
            for (unsigned cell = 0; cell < 2; ++cell)
                EXPECT_FALSE(scene.grid.find_sub_tree(cell)->is_motion_update_pending());
        }
    }
}
