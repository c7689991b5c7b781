// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/grid/gas_grid_tree.h>

#include <tests/support/grid_items.h>
#include <tests/support/stream_oracle.h>
#include <tests/support/threaded_rays.h>

// Streams over a grid, whose cells are built and brought up to date on the way.

namespace {

using naive::Box;
using support::GridItems;
using support::RayHistories;
using support::RayQuery;
using support::SeededRandom;
using support::TestShader;

#ifdef NDEBUG
const std::vector<unsigned> counts = {1, 2, 3, 17, 64, 300};
#else
const std::vector<unsigned> counts = {1, 2, 40};
#endif

class GridStreams : public testing::TestWithParam<scenes::Kind> {};

void compare_grid(scenes::Kind kind, unsigned count, unsigned target, std::size_t& calls) {
    SeededRandom random(std::uint64_t{count} * 100 + static_cast<unsigned>(kind) * 10 + target);
    GridItems items(scenes::make(kind, count, count));
    for (unsigned item = 0; item < count; ++item) {
        const Box& box = items.get_boxes()[item];
        items.speeds[item] = (box.max[0] - box.min[0]) * random.between(-2.0f, 2.0f);
    }
    GasGridTree grid;
    items.build(grid, target);
    const CtxMotionBlur motion(0.0f, 1.0f, random.below(4));
    grid.update_motion_blur(motion);
    RayHistories histories(grid);
    histories.expects_single_rays = count > 1;
    support::StreamOracle oracle(histories, motion);
    for (const unsigned size : support::stream_sizes) {
        oracle.compare(items.get_boxes(), std::min(size, 40u),
                       support::all_ray_queries[random.below(4)], random);
        if (testing::Test::HasFatalFailure())
            return;
    }
    calls += histories.get_call_count();
}

TEST_P(GridStreams, EveryRayHasTheHistoryThatItHasAlone) {
    std::size_t calls = 0;
    for (const unsigned count : counts) {
        for (const unsigned target : {1u, 7u, 60u}) {
            SCOPED_TRACE(std::to_string(count) + " boxes, target " + std::to_string(target));
            compare_grid(GetParam(), count, target, calls);
            if (HasFatalFailure())
                return;
        }
    }
    EXPECT_GT(calls, 1000u);
}

INSTANTIATE_TEST_SUITE_P(Scenes, GridStreams, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

TEST(GridStreamsOfClusters, BuildTheCellsThatRaysReachAndNoOthers) {
    GridItems items(support::make_clusters(4, 5));
    for (const RayQuery query : support::all_ray_queries) {
        GasGridTree grid;
        items.build(grid, support::get_cluster_target(4));
        const CtxMotionBlur motion(0.0f, 1.0f, 2);
        grid.update_motion_blur(motion);
        support::RecordingCallbacks calls(grid);
        TestShader shader;
        shader.set_motion_blur(motion);
        GeometryRayBatch batch(40);
        for (unsigned ray = 0; ray < 40; ++ray)
            support::aim_at_cluster(batch, ray, ray % 2 ? 1 : 3, 0.5f);
        support::trace_stream(grid, query, shader, batch.get_ctx());
        EXPECT_EQ(support::get_built_cells(grid), (std::vector<unsigned>{1, 3}));
        ASSERT_GE(calls.calls.size(), 40u);
        for (const support::LeafCall& call : calls.calls) {
            EXPECT_EQ(call.callback, query);
            EXPECT_EQ(call.first_ray, call.last_ray);
            EXPECT_EQ(support::find_cell(grid, call.item), call.first_ray % 2 ? 1u : 3u);
            EXPECT_NE(call.rays, &batch.get_ctx());
        }
    }
}

TEST(GridStreamsOfClusters, AHitInOneCellEndsTheRay) {
    GridItems items(support::make_clusters(2, 5));
    GasGridTree grid;
    items.build(grid, support::get_cluster_target(2));
    support::RecordingCallbacks calls(grid);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(support::get_only_ray(rays), 0.5, item);
    };
    TestShader shader;
    for (const RayQuery query : {RayQuery::hit_static, RayQuery::nearest_static}) {
        GeometryRayBatch batch(40);
        for (unsigned ray = 0; ray < 40; ++ray)
            support::aim_at_cluster(batch, ray, ray % 2);
        support::trace_stream(grid, query, shader, batch.get_ctx());
        EXPECT_EQ(calls.calls.size(), 40u);
        calls.calls.clear();
        for (unsigned ray = 0; ray < 40; ++ray)
            EXPECT_TRUE(batch.is_hit(ray)) << ray;
    }
}

TEST(GridStreamsOfThreads, FindInASharedGridWhatOneThreadsDoWhileCellsAreBuilt) {
    GridItems items(scenes::make(scenes::Kind::random, 500, 1));
    SeededRandom random(2);
    for (float& speed : items.speeds)
        speed = random.between(-2.0f, 2.0f);
    GasGridTree grids[2];
    for (GasGridTree& grid : grids) {
        items.build(grid, 60);
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        support::ThreadedRays::attach(grid);
    }
    const auto stream_through = [](const GasGridTree& grid) {
        return [&grid](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                       const CtxEval& eval) {
            support::trace_stream(grid, query, shader, rays, false, eval);
        };
    };
    support::ThreadedRays(160).expect_same(stream_through(grids[0]), stream_through(grids[1]));
    EXPECT_GT(support::get_built_cells(grids[1]).size(), 10u);
}

} // namespace
