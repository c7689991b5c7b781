// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>

#include <tests/support/grid_items.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>
#include <tests/support/virtual_slot.h>

namespace {

using support::get_built_cells;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

/// Traces one ray through a cluster and returns the leaf calls that it made.
std::vector<support::LeafCall> trace_cluster(const GasGridTree& grid, unsigned cluster,
                                             RayQuery query, RecordingCallbacks& calls) {
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, grid.get_motion_blur_sample_count()));
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, cluster);
    trace(grid, query, shader, batch.get_ctx());
    return std::exchange(calls.calls, {});
}

/// A grid of three cells with a few items each that a ray through their middle meets.
struct ThreeCells {
    ThreeCells() : items(support::make_clusters(3, 40)) {
        calls.attach(grid);
        items.build(grid, support::get_cluster_target(3));
    }

    GridItems items;
    GasGridTree grid;
    RecordingCallbacks calls;
};

} // namespace

TEST(GasGridTree, AFreshGridIsEmpty) {
    const GasGridTree grid;
    EXPECT_EQ(grid.get_cell_count(), 0u);
    EXPECT_EQ(grid.get_bbox(), GMathBbox3<float>());
    EXPECT_EQ(grid.get_blurred_bbox(0), GMathBbox3<float>());
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 0u);
    EXPECT_TRUE(grid.get_top_tree().is_empty());
    EXPECT_EQ(grid.get_memory_size(), sizeof(GasGridTree));
}

TEST(GasGridTree, TheMemorySizeIsTheSlotAfterTheDestructor) {
    EXPECT_EQ(support::get_slot_offset(&GasGridTree::get_memory_size),
              support::slot_after_the_destructor);
}

TEST(GasGridTree, AnEmptyGridCallsNothing) {
    GridItems items({});
    GasGridTree grid;
    RecordingCallbacks calls;
    calls.attach(grid);
    items.attach(grid);
    for (const bool cleared : {false, true}) {
        for (const RayQuery query : support::all_ray_queries)
            EXPECT_TRUE(trace_cluster(grid, 0, query, calls).empty()) << name(query);
        EXPECT_TRUE(items.take_requests().empty());
        if (cleared)
            break;
        GridItems others(support::make_clusters(2, 10));
        others.build(grid, 1);
        items.attach(grid);
        grid.clear();
    }
}

TEST(GasGridTree, BoundsAreThoseOfTheTopTree) {
    ThreeCells scene;
    EXPECT_EQ(scene.grid.get_bbox(), (GMathBbox3<float>{{0.0f, 0.0f, 0.0f}, {209.0f, 9.0f, 9.0f}}));
    EXPECT_EQ(scene.grid.get_bbox(), scene.grid.get_top_tree().get_bbox());
    scene.items.speeds.assign(scene.items.get_count(), 10.0f);
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(scene.grid.get_blurred_bbox(1),
              (GMathBbox3<float>{{10.0f, 0.0f, 0.0f}, {219.0f, 9.0f, 9.0f}}));
    EXPECT_EQ(scene.grid.get_blurred_bbox(2), GMathBbox3<float>());
}

TEST(GasGridTree, ClearingLeavesAnEmptyGridThatKeepsItsCallbacks) {
    ThreeCells scene;
    EXPECT_FALSE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    scene.grid.clear();
    EXPECT_EQ(scene.grid.get_cell_count(), 0u);
    EXPECT_EQ(scene.grid.get_bbox(), GMathBbox3<float>());
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(scene.grid.get_memory_size(), sizeof(GasGridTree));
    scene.grid.clear();

    scene.items.take_requests();
    scene.grid.create(scene.items.get_count(), support::get_cluster_target(3), nullptr, nullptr);
    ASSERT_EQ(scene.grid.get_cell_count(), 3u);
    EXPECT_EQ(scene.items.take_requests().size(), 1u);
    EXPECT_FALSE(trace_cluster(scene.grid, 1, RayQuery::nearest_static, scene.calls).empty());
    EXPECT_EQ(scene.items.take_requests().size(), 1u);
}

TEST(GasGridTree, UnsetCallbacksDoNothing) {
    GasGridTree grid;
    grid.create(100, 8, nullptr, nullptr); // boxes of zeros
    ASSERT_EQ(grid.get_cell_count(), 1u);
    EXPECT_EQ(grid.get_cell_item_count(0), 100u);
    EXPECT_EQ(grid.get_bbox(), GMathBbox3<float>());
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(grid.get_blurred_bbox(1), GMathBbox3<float>());
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    GeometryRayBatch batch(1);
    batch.set_ray(0, {0.0, 0.0, -1.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    for (const RayQuery query : support::all_ray_queries)
        trace(grid, query, shader, batch.get_ctx());
    EXPECT_FALSE(batch.is_hit(0));
    ASSERT_TRUE(grid.find_sub_tree(0));
    EXPECT_EQ(grid.find_sub_tree(0)->get_leaf_count(), 100u);
    EXPECT_EQ(grid.find_sub_tree(0)->get_bbox(), GMathBbox3<float>());
}

// Which of the four box callbacks the grid calls, after each of the setters.
TEST(GasGridTree, BoxCallbacksAreReplacedWhereTheyAreGiven) {
    struct Log {
        std::string text;
    };
    const GasLeafBboxesCallback boxes[] = {
        [](void* user, const unsigned&, const unsigned*, GMathBbox3<float>*) {
            static_cast<Log*>(user)->text += "a";
        },
        [](void* user, const unsigned&, const unsigned*, GMathBbox3<float>*) {
            static_cast<Log*>(user)->text += "A";
        }};
    const GasLeafBboxesAtCallback boxes_at[] = {
        [](void* user, const double&, const unsigned&, const unsigned*, GMathBbox3<float>*) {
            static_cast<Log*>(user)->text += "b";
        },
        [](void* user, const double&, const unsigned&, const unsigned*, GMathBbox3<float>*) {
            static_cast<Log*>(user)->text += "B";
        }};
    const GasLeavesBboxCallback unions[] = {
        [](void* user, const unsigned&, const unsigned*, GMathBbox3<float>&) {
            static_cast<Log*>(user)->text += "c";
        },
        [](void* user, const unsigned&, const unsigned*, GMathBbox3<float>&) {
            static_cast<Log*>(user)->text += "C";
        }};
    const GasLeavesBboxAtCallback unions_at[] = {
        [](void* user, const double&, const unsigned&, const unsigned*, GMathBbox3<float>&) {
            static_cast<Log*>(user)->text += "d";
        },
        [](void* user, const double&, const unsigned&, const unsigned*, GMathBbox3<float>&) {
            static_cast<Log*>(user)->text += "D";
        }};

    Log log;
    Log other;
    GasGridTree grid;
    // A grid of one item asks for its boxes, for its cell's at the one sample, for the boxes of the
    // cell's tree, and for those at the sample.
    const auto get_calls = [&] {
        grid.create(1, 1, nullptr, nullptr);
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 1));
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 1));
        GeometryRayBatch batch(1);
        trace(grid, RayQuery::hit_motion, shader, batch.get_ctx());
        return std::exchange(log.text, "") + "|" + std::exchange(other.text, "");
    };

    EXPECT_EQ(get_calls(), "|");
    grid.set_leaf_bbox_callbacks(boxes[0], boxes_at[0], &log);
    EXPECT_EQ(get_calls(), "aab|");
    grid.set_leaf_bbox_callbacks(boxes[0], boxes_at[0], unions[0], unions_at[0], &log);
    EXPECT_EQ(get_calls(), "adab|");
    grid.set_leaf_bbox_callbacks(boxes[1], nullptr, &other);
    EXPECT_EQ(get_calls(), "|AdAb") << "the union callbacks stay";
    grid.set_leaf_bbox_callbacks(nullptr, boxes_at[1], &log);
    EXPECT_EQ(get_calls(), "AdAB|");
    grid.set_leaf_bbox_callbacks(nullptr, nullptr, unions[1], unions_at[1], &log);
    EXPECT_EQ(get_calls(), "ADAB|");
    grid.set_leaf_bbox_callbacks(boxes[0], nullptr, unions[0], nullptr, &log);
    EXPECT_EQ(get_calls(), "aDaB|");
    grid.set_leaf_bbox_callbacks(nullptr, nullptr, nullptr, nullptr, &other);
    EXPECT_EQ(get_calls(), "|aDaB") << "the user pointer is always replaced";
    grid.set_leaf_bbox_callbacks(nullptr, nullptr, &log);
    EXPECT_EQ(get_calls(), "aDaB|");
}

TEST(GasGridTree, RayCallbacksInPairsAreStaticAndMotionAlike) {
    ThreeCells scene;
    RecordingCallbacks other;
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    constexpr auto all_hits = RecordingCallbacks::record<RayQuery::hit_static>;
    constexpr auto nearest = RecordingCallbacks::record<RayQuery::nearest_static>;
    scene.grid.set_leaf_raytrace_callbacks(all_hits, nearest, &other);
    for (const RayQuery query : support::all_ray_queries) {
        const auto calls = trace_cluster(scene.grid, 0, query, other);
        ASSERT_FALSE(calls.empty());
        for (const support::LeafCall& call : calls)
            EXPECT_EQ(call.callback, support::without_motion(query)) << name(query);
    }
    EXPECT_TRUE(scene.calls.calls.empty());

    // A null pair stays; the user pointer does not. Cell 1 is built with these.
    constexpr auto others = RecordingCallbacks::record<RayQuery::nearest_motion>;
    scene.grid.set_leaf_raytrace_callbacks(nullptr, others, &scene.calls);
    for (const RayQuery query : support::all_ray_queries) {
        const auto calls = trace_cluster(scene.grid, 1, query, scene.calls);
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls[0].callback,
                  support::is_nearest(query) ? RayQuery::nearest_motion : RayQuery::hit_static);
    }
    EXPECT_TRUE(other.calls.empty());
}

TEST(GasGridTree, RayCallbacksOneByOneStayWhereNull) {
    ThreeCells scene;
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    scene.grid.set_leaf_raytrace_callbacks(nullptr,
                                           RecordingCallbacks::record<RayQuery::nearest_static>,
                                           nullptr, nullptr, &scene.calls);
    constexpr RayQuery expected[] = {RayQuery::hit_static, RayQuery::nearest_static,
                                     RayQuery::nearest_static, RayQuery::nearest_motion};
    for (const RayQuery query : support::all_ray_queries) {
        const auto calls = trace_cluster(scene.grid, 2, query, scene.calls);
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls[0].callback, expected[static_cast<unsigned>(query)]) << name(query);
    }
}

TEST(GasGridTree, CallbacksSetLaterDoNotReachBuiltCells) {
    ThreeCells scene;
    EXPECT_FALSE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());
    RecordingCallbacks later;
    later.attach(scene.grid);
    EXPECT_FALSE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());
    EXPECT_TRUE(later.calls.empty());
    EXPECT_FALSE(trace_cluster(scene.grid, 1, RayQuery::hit_static, later).empty());
    EXPECT_TRUE(scene.calls.calls.empty());
}

TEST(GasGridTree, QueriesHandTheContextsOn) {
    ThreeCells scene;
    TestShader shader;
    const CtxEval eval;
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, 1);
    for (const RayQuery query : support::all_ray_queries) {
        trace(scene.grid, query, shader, batch.get_ctx(), eval);
        ASSERT_FALSE(scene.calls.calls.empty());
        for (const support::LeafCall& call : scene.calls.calls) {
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
            EXPECT_EQ(call.rays, &batch.get_ctx());
        }
        scene.calls.calls.clear();
    }
}

TEST(GasGridTree, AShaderWithoutFramesBuildsNothing) {
    ThreeCells scene;
    CtxShader shader;
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, 1);
    for (const RayQuery query : support::all_ray_queries)
        trace(scene.grid, query, shader, batch.get_ctx());
    EXPECT_TRUE(scene.calls.calls.empty());
    EXPECT_TRUE(scene.items.take_requests().empty());
    EXPECT_TRUE(get_built_cells(scene.grid).empty());
}
