// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>

#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::RayQuery;

/// Box callbacks that throw, in requests of one call (up to 511 items) and of several tasks.
class GridThrow : public testing::TestWithParam<unsigned> {
  protected:
    GridThrow() : items(support::make_clusters(2, GetParam())) { calls.attach(grid); }

    /// Every request of this callback throws that asks for the last item.
    void throw_from(BoxCallback callback) {
        items.react = [this, callback](const BoxRequest& request) {
            if (request.callback == callback && request.items.back() == items.get_count() - 1)
                throw std::runtime_error("no boxes");
        };
    }
    void throw_no_more() { items.react = nullptr; }

    void build() { items.build(grid, support::get_cluster_target(2)); }
    void build_asked() {
        grid.create(items.get_count(), support::get_cluster_target(2), nullptr, nullptr);
    }

    /// Into the cell of the last item.
    void trace(RayQuery query) {
        shader.set_motion_blur(motion);
        GeometryRayBatch batch(1);
        support::aim_at_cluster(batch, 0, last_cell);
        support::trace(grid, query, shader, batch.get_ctx());
    }
    /// Into both cells.
    void trace_stream(RayQuery query) {
        shader.set_motion_blur(motion);
        GeometryRayBatch batch(40);
        for (unsigned ray = 0; ray < 40; ++ray)
            support::aim_at_cluster(batch, ray, ray % 2);
        support::trace_stream(grid, query, shader, batch.get_ctx());
    }

    static constexpr unsigned last_cell = 1;

    support::GridItems items;
    GasGridTree grid;
    support::RecordingCallbacks calls;
    support::TestShader shader;
    const CtxMotionBlur motion{0.0f, 1.0f, 3};
};

TEST_P(GridThrow, ABuildLeavesTheGridEmpty) {
    build();
    ASSERT_EQ(grid.get_cell_count(), 2u);
    throw_from(BoxCallback::leaf_bboxes);
    EXPECT_THROW(build_asked(), std::runtime_error);
    EXPECT_EQ(grid.get_cell_count(), 0u);
    EXPECT_TRUE(grid.get_top_tree().is_empty());
    throw_no_more();
    build_asked();
    EXPECT_EQ(grid.get_cell_count(), 2u);
}

TEST_P(GridThrow, ARayLeavesTheCellForTheNext) {
    build();
    throw_from(BoxCallback::leaf_bboxes);
    for (const RayQuery query : support::all_ray_queries)
        EXPECT_THROW(trace(query), std::runtime_error) << support::name(query);
    EXPECT_FALSE(grid.find_sub_tree(last_cell));
    throw_no_more();
    trace(RayQuery::nearest_static);
    EXPECT_TRUE(grid.find_sub_tree(last_cell));
    EXPECT_FALSE(calls.calls.empty());
}

TEST_P(GridThrow, AStreamLeavesTheCellForTheNext) {
    for (const RayQuery query : support::all_ray_queries) {
        build();
        throw_from(BoxCallback::leaf_bboxes);
        for (unsigned stream = 0; stream < 2; ++stream)
            EXPECT_THROW(trace_stream(query), std::runtime_error) << support::name(query);
        EXPECT_FALSE(grid.find_sub_tree(last_cell));
        throw_no_more();
        calls.calls.clear();
        trace_stream(query);
        EXPECT_TRUE(grid.find_sub_tree(last_cell));
        EXPECT_GE(calls.take_ray_count(), 40u);
    }
}

TEST_P(GridThrow, AMotionUpdateLeavesTheGridAndItsCopiesAsTheyWere) {
    items.speeds.assign(items.get_count(), 1.0f);
    build();
    grid.update_motion_blur(motion);
    trace(RayQuery::hit_motion);
    const GasGridTree copy = grid;
    const GMathBbox3<float> box = grid.get_blurred_bbox(2);
    throw_from(BoxCallback::leaves_bbox_at);
    for (const unsigned sample_count : {3u, 1u, 7u}) {
        const CtxMotionBlur other(0.0f, 9.0f, sample_count);
        EXPECT_THROW(grid.update_motion_blur(other), std::runtime_error);
        for (const GasGridTree* each : {static_cast<const GasGridTree*>(&grid), &copy}) {
            EXPECT_EQ(each->get_motion_blur_sample_count(), 3u);
            EXPECT_EQ(each->get_blurred_bbox(2), box);
        }
        EXPECT_FALSE(grid.find_sub_tree(last_cell)->is_motion_update_pending());
        calls.calls.clear();
        trace(RayQuery::hit_motion);
        EXPECT_FALSE(calls.calls.empty());
    }
    throw_no_more();
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 5));
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 5u);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 5u);
    EXPECT_TRUE(grid.find_sub_tree(last_cell)->is_motion_update_pending());
}

TEST_P(GridThrow, ALeafCallbackLeavesTheGridAndTheFrames) {
    build();
    grid.update_motion_blur(motion);
    trace_stream(RayQuery::hit_motion);
    calls.calls.clear();
    const void* const tree_ctx = shader.tree_ctx_slot;
    const void* const ray_frame = shader.ray_frame_slot;
    for (const RayQuery query : support::all_ray_queries) {
        for (const bool as_stream : {false, true}) {
            const auto run = [&] { as_stream ? trace_stream(query) : trace(query); };
            run();
            const std::vector<unsigned> expected = calls.take_items();
            ASSERT_FALSE(expected.empty());
            calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx&) { throw 1; };
            EXPECT_THROW(run(), int);
            EXPECT_EQ(calls.calls.size(), 1u);
            EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
            EXPECT_EQ(shader.ray_frame_slot, ray_frame);
            calls.calls.clear();
            calls.react = nullptr;
            run();
            EXPECT_EQ(calls.take_items(), expected);
        }
    }
}

TEST_P(GridThrow, AMotionRayLeavesTheSamplesForTheNext) {
    build();
    grid.update_motion_blur(motion);
    throw_from(BoxCallback::leaf_bboxes_at);
    for (unsigned ray = 0; ray < 2; ++ray)
        EXPECT_THROW(trace(RayQuery::hit_motion), std::runtime_error);
    ASSERT_TRUE(grid.find_sub_tree(last_cell));
    EXPECT_TRUE(grid.find_sub_tree(last_cell)->is_motion_update_pending());
    EXPECT_TRUE(calls.calls.empty());
    throw_no_more();
    trace(RayQuery::hit_motion);
    EXPECT_FALSE(grid.find_sub_tree(last_cell)->is_motion_update_pending());
    EXPECT_FALSE(calls.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(ItemsPerCell, GridThrow, testing::Values(40u, 700u, 2000u),
                         testing::PrintToStringParamName());

} // namespace
