// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>

#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_checker.h>

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::get_built_cells;
using support::get_cell_items;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using Requests = std::vector<BoxRequest>;

constexpr RayQuery motion_queries[] = {RayQuery::hit_motion, RayQuery::nearest_motion};
constexpr RayQuery static_queries[] = {RayQuery::hit_static, RayQuery::nearest_static};

/// Sample times as they are asked for.
std::vector<double> get_times(const CtxMotionBlur& motion) {
    std::vector<double> times;
    double time = static_cast<double>(motion.get_shutter_open());
    for (unsigned sample = 0; sample < motion.get_sample_count(); ++sample) {
        times.push_back(time);
        time += motion.get_time_step();
    }
    return times;
}

/// A grid of clusters that move, each a cell.
struct MovingClusters {
    MovingClusters(unsigned cluster_count, unsigned item_count)
        : items(support::make_clusters(cluster_count, item_count)) {
        for (unsigned i = 0; i < items.get_count(); ++i)
            items.speeds[i] = 0.25f * static_cast<float>(i % 16);
        calls.attach(grid);
        items.build(grid, support::get_cluster_target(cluster_count));
        EXPECT_EQ(grid.get_cell_count(), cluster_count);
    }

    void set_motion(const CtxMotionBlur& new_motion) {
        motion = new_motion;
        grid.update_motion_blur(motion);
    }

    void trace_cluster(unsigned cluster, RayQuery query) {
        TestShader shader;
        shader.set_motion_blur(motion);
        GeometryRayBatch batch(1);
        support::aim_at_cluster(batch, 0, cluster, motion.get_shutter_open());
        trace(grid, query, shader, batch.get_ctx());
    }

    bool is_pending(unsigned cell) const {
        return grid.find_sub_tree(cell)->is_motion_update_pending();
    }

    /// What a motion ray asks for when it first comes to a cell of fewer than 512 items.
    Requests list_cell_requests(unsigned cell) const {
        Requests requests;
        for (const double time : get_times(motion))
            requests.push_back({BoxCallback::leaf_bboxes_at, time, get_cell_items(grid, cell)});
        return requests;
    }

    /// Holds the top tree's samples against the boxes of the cells.
    void expect_top_samples() const {
        naive::Tree expected = naive::build(get_unions(0.0), naive::Split::sah_fast);
        naive::set_sample_count(expected, motion.get_sample_count());
        const std::vector<double> times = get_times(motion);
        for (unsigned sample = 0; sample < times.size(); ++sample)
            naive::refit_sample(expected, get_unions(times[sample]), sample);
        EXPECT_EQ(support::find_difference(grid.get_top_tree(), expected), "");
    }

    /// Holds the tree of a cell, samples and all, against one that is built and filled directly.
    void expect_cell_samples(unsigned cell) const {
        const std::vector<unsigned> values = get_cell_items(grid, cell);
        GasCompressedTree expected;
        expected.create(support::to_boxes(items.get_boxes_of(values)), values.data(), nullptr);
        const std::vector<double> times = get_times(motion);
        expected.set_motion_blur_sample_count(motion.get_sample_count());
        for (unsigned sample = 0; sample < times.size(); ++sample)
            expected.refit_motion_blur_sample(
                support::to_boxes(items.get_boxes_of(values, times[sample])), sample);
        ASSERT_TRUE(grid.find_sub_tree(cell));
        EXPECT_EQ(support::find_difference(*grid.find_sub_tree(cell), expected), "");
    }

    GridItems items;
    GasGridTree grid;
    RecordingCallbacks calls;
    CtxMotionBlur motion;

  private:
    std::vector<naive::Box> get_unions(double time) const {
        std::vector<naive::Box> unions;
        for (const std::vector<unsigned>& cell : support::get_cells(grid))
            unions.push_back(items.get_union_of(cell, time));
        return unions;
    }
};

} // namespace

TEST(GridMotion, TheTopTreeTakesAllSamplesAtOnce) {
    MovingClusters scene(3, 30);
    scene.set_motion(CtxMotionBlur(-1.0f, 2.0f, 3));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 3u);
    Requests requests = scene.items.take_requests();
    ASSERT_EQ(requests.size(), 9u);
    // Sample by sample, the cells of one in any order.
    for (unsigned sample = 0; sample < 3; ++sample) {
        std::set<std::vector<unsigned>> asked;
        for (unsigned i = 0; i < 3; ++i) {
            const BoxRequest& request = requests[3 * sample + i];
            EXPECT_EQ(request.callback, BoxCallback::leaves_bbox_at);
            EXPECT_EQ(request.time, -1.0 + 1.5 * sample);
            asked.insert(request.items);
        }
        const auto cells = support::get_cells(scene.grid);
        EXPECT_EQ(asked, std::set<std::vector<unsigned>>(cells.begin(), cells.end()));
    }
    scene.expect_top_samples();
    EXPECT_TRUE(get_built_cells(scene.grid).empty());
}

TEST(GridMotion, TheFirstMotionRayIntoACellBuildsItAndFillsItsSamples) {
    for (const RayQuery query : motion_queries) {
        MovingClusters scene(3, 30);
        scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 3));
        scene.items.take_requests();
        scene.trace_cluster(1, query);
        Requests expected = scene.list_cell_requests(1);
        expected.insert(expected.begin(),
                        {BoxCallback::leaf_bboxes, 0.0, get_cell_items(scene.grid, 1)});
        EXPECT_EQ(scene.items.take_requests(), expected) << name(query);
        EXPECT_EQ(get_built_cells(scene.grid), std::vector<unsigned>{1});
        EXPECT_FALSE(scene.is_pending(1));
        scene.expect_cell_samples(1);
        scene.trace_cluster(1, query);
        EXPECT_TRUE(scene.items.take_requests().empty());
    }
}

TEST(GridMotion, LargeCellsAskInPiecesForEachSample) {
    MovingClusters scene(1, 1000);
    scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 3));
    scene.items.take_requests();
    scene.trace_cluster(0, RayQuery::hit_motion);
    const Requests requests = scene.items.take_requests();
    ASSERT_EQ(requests.size(), 3u * 4);
    // The pieces of one sample come in any order, samples one after another.
    for (unsigned i = 0; i < 12; ++i) {
        EXPECT_EQ(requests[i].callback,
                  i < 3 ? BoxCallback::leaf_bboxes : BoxCallback::leaf_bboxes_at);
        EXPECT_EQ(requests[i].time, i < 3 ? 0.0 : 0.5 * (i / 3 - 1));
    }
    scene.expect_cell_samples(0);
}

TEST(GridMotion, StaticRaysLeaveTheUpdatePending) {
    MovingClusters scene(3, 30);
    scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 2));
    scene.items.take_requests();
    for (const RayQuery query : static_queries)
        scene.trace_cluster(0, query);
    EXPECT_EQ(scene.items.take_requests().size(), 1u);
    EXPECT_TRUE(scene.is_pending(0));
    EXPECT_EQ(scene.grid.find_sub_tree(0)->get_motion_blur_sample_count(), 0u);
    scene.trace_cluster(0, RayQuery::nearest_motion);
    EXPECT_EQ(scene.items.take_requests(), scene.list_cell_requests(0));
    EXPECT_FALSE(scene.is_pending(0));
}

TEST(GridMotion, EachUpdateIsPendingForBuiltCellsUntilAMotionRayComes) {
    MovingClusters scene(3, 30);
    scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 2));
    scene.trace_cluster(0, RayQuery::hit_motion);
    scene.trace_cluster(1, RayQuery::hit_motion);
    scene.trace_cluster(2, RayQuery::hit_static);
    scene.items.take_requests();
    // Other times, more samples, fewer.
    for (const CtxMotionBlur& motion : {CtxMotionBlur(0.5f, 3.0f, 2), CtxMotionBlur(0.0f, 1.0f, 5),
                                        CtxMotionBlur(0.0f, 1.0f, 3)}) {
        scene.set_motion(motion);
        EXPECT_EQ(scene.items.take_requests().size(), std::size_t{3} * motion.get_sample_count());
        scene.expect_top_samples();
        for (unsigned cell = 0; cell < 3; ++cell)
            EXPECT_TRUE(scene.is_pending(cell));
        scene.trace_cluster(0, RayQuery::hit_static);
        EXPECT_TRUE(scene.items.take_requests().empty());
        for (const RayQuery query : motion_queries)
            scene.trace_cluster(0, query);
        EXPECT_EQ(scene.items.take_requests(), scene.list_cell_requests(0));
        EXPECT_FALSE(scene.is_pending(0));
        EXPECT_TRUE(scene.is_pending(1));
        EXPECT_TRUE(scene.is_pending(2));
        scene.expect_cell_samples(0);
    }
}

// A tenth added up eight times is not eight tenths.
TEST(GridMotion, SampleTimesAreAddedUp) {
    MovingClusters scene(2, 30);
    const CtxMotionBlur motion(0.0f, 1.0f, 11);
    bool differs = false;
    const std::vector<double> times = get_times(motion);
    for (unsigned sample = 0; sample < 11; ++sample)
        differs |= times[sample] != times[0] + sample * motion.get_time_step();
    ASSERT_TRUE(differs) << "or the test shows nothing";
    scene.set_motion(motion);
    std::vector<double> asked;
    for (const BoxRequest& request : scene.items.take_requests())
        asked.push_back(request.time);
    ASSERT_EQ(asked.size(), 22u);
    for (unsigned i = 0; i < 22; ++i)
        EXPECT_EQ(asked[i], times[i / 2]);
    scene.trace_cluster(1, RayQuery::hit_motion);
    Requests requests = scene.items.take_requests();
    requests.erase(requests.begin());
    EXPECT_EQ(requests, scene.list_cell_requests(1));
}

TEST(GridMotion, WithoutSamplesMotionRaysAreStaticOnes) {
    MovingClusters scene(3, 30);
    scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 3));
    scene.trace_cluster(0, RayQuery::hit_motion);
    scene.set_motion(CtxMotionBlur(0.0f, 1.0f, 0));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(scene.grid.get_blurred_bbox(0), GMathBbox3<float>());
    EXPECT_TRUE(scene.is_pending(0));
    scene.items.take_requests();
    scene.calls.calls.clear();
    for (const RayQuery query : motion_queries) {
        for (unsigned cluster = 0; cluster < 2; ++cluster) {
            scene.trace_cluster(cluster, query);
            ASSERT_FALSE(scene.calls.calls.empty());
            for (const support::LeafCall& call : scene.calls.calls)
                EXPECT_EQ(call.callback, support::without_motion(query));
            scene.calls.calls.clear();
        }
    }
    EXPECT_EQ(scene.items.take_requests().size(), 1u) << "cell 1, when it was built";
    EXPECT_TRUE(scene.is_pending(0));
    EXPECT_TRUE(scene.is_pending(1));
}

TEST(GridMotion, OneSampleIsTakenButMotionRaysAreStaticOnes) {
    MovingClusters scene(3, 30);
    scene.set_motion(CtxMotionBlur(2.0f, 3.0f, 1));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 1u);
    const Requests requests = scene.items.take_requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].time, 2.0);
    scene.expect_top_samples();
    scene.trace_cluster(1, RayQuery::nearest_motion);
    ASSERT_FALSE(scene.calls.calls.empty());
    EXPECT_EQ(scene.calls.calls[0].callback, RayQuery::nearest_static);
    EXPECT_TRUE(scene.is_pending(1));
}

// A lone cell is not tested at the top, so its own tree takes the samples of the ray's shader.
TEST(GridMotion, ALoneCellTakesTheSamplesOfTheRay) {
    for (const unsigned count : {0u, 1u, 3u}) {
        MovingClusters scene(1, 30);
        scene.motion = CtxMotionBlur(0.0f, 1.0f, count);
        scene.trace_cluster(0, RayQuery::hit_motion);
        Requests expected = scene.list_cell_requests(0);
        EXPECT_EQ(expected.size(), count);
        expected.insert(expected.begin(),
                        {BoxCallback::leaf_bboxes, 0.0, get_cell_items(scene.grid, 0)});
        EXPECT_EQ(scene.items.take_requests(), expected);
        EXPECT_FALSE(scene.is_pending(0));
        scene.expect_cell_samples(0);
        ASSERT_FALSE(scene.calls.calls.empty());
        EXPECT_EQ(scene.calls.calls[0].callback,
                  count < 2 ? RayQuery::hit_static : RayQuery::hit_motion);
    }
}

TEST(GridMotion, AnEmptyGridOnlyCountsSamples) {
    GridItems items(support::make_clusters(2, 30));
    GasGridTree grid;
    items.attach(grid);
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 3u);
    EXPECT_EQ(grid.get_blurred_bbox(1), GMathBbox3<float>());
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 2u);
    EXPECT_TRUE(items.take_requests().empty());
    items.build(grid, 1);
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 0u) << "a build starts without samples";
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    grid.clear();
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 0u);
}

// The boxes of many cells come from many tasks.
TEST(GridMotion, ManyCells) {
    const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, 5000, 9);
    GridItems items(boxes);
    items.speeds.assign(5000, 2.0f);
    GasGridTree grid;
    items.build(grid, 1000);
    ASSERT_GT(grid.get_cell_count(), 500u);
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_EQ(items.take_requests().size(), std::size_t{4} * grid.get_cell_count());
    for (unsigned sample = 0; sample < 4; ++sample) {
        const double time = sample * CtxMotionBlur(0.0f, 1.0f, 4).get_time_step();
        EXPECT_EQ(grid.get_blurred_bbox(sample),
                  support::to_box(items.get_union_of(support::list_items(5000), time)));
    }
}
