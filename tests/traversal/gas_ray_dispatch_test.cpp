#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using support::LeafCall;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using Items = std::vector<unsigned>;

class RayDispatch : public testing::TestWithParam<RayQuery> {
  protected:
    RayDispatch() : calls(tree), batch(4) {
        for (unsigned ray = 0; ray < 4; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    }

    /// The row of boxes; motion queries get two samples of it that stand still.
    void build_row(unsigned count) {
        const std::vector<naive::Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void run(CtxShader& with, bool shortcut = false) {
        trace(tree, GetParam(), with, batch.get_ctx(), shortcut, eval);
    }

    GasTree tree;
    RecordingCallbacks calls;
    TestShader shader;
    CtxEval eval;
    GeometryRayBatch batch;
};

/// Queries whose rays go alone even in a batch.
class RayByRayDispatch : public RayDispatch {};

/// Batches whose rays go together.
class TogetherDispatch : public RayDispatch {};

TEST_P(RayDispatch, TheShortcutCallsOneLeafOnceForTheWholeRangeWithoutBoxOrFrames) {
    build_row(1);
    // Rays that miss the box, and a shader that has no frames.
    for (unsigned ray = 0; ray < 4; ++ray)
        batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    CtxShader bare;
    run(bare, true);
    ASSERT_EQ(calls.calls.size(), 1u);
    const LeafCall& call = calls.calls[0];
    EXPECT_EQ(call.callback, GetParam());
    EXPECT_EQ(call.item, 0u);
    EXPECT_EQ(call.rays, &batch.get_ctx());
    EXPECT_EQ(call.first_ray, 0);
    EXPECT_EQ(call.last_ray, 3);
    EXPECT_EQ(call.eval, &eval);
    EXPECT_EQ(call.shader, &bare);
}

TEST_P(RayDispatch, TheShortcutReportsTheFirstIndex) {
    support::build(tree, support::row_of_boxes(1), naive::Split::sah_fast, {4711});
    run(shader, true);
    EXPECT_EQ(calls.take_items(), Items{4711});
}

TEST_P(RayDispatch, TheShortcutIgnoresSamplesHitFlagsAndCaches) {
    support::build(tree, support::row_of_boxes(1)); // no motion samples
    batch.get_ctx().set_hit(0);
    run(shader, true);
    run(shader, true);
    ASSERT_EQ(calls.calls.size(), 2u);
    EXPECT_EQ(calls.calls[0].callback, GetParam());
    EXPECT_EQ(shader.get_tree_ctx().all_hits_cache[0].tree, nullptr);
    EXPECT_EQ(shader.get_tree_ctx().nearest_cache[0].tree, nullptr);
    EXPECT_EQ(shader.get_tree_ctx().next, nullptr);
}

TEST_P(RayByRayDispatch, WithoutTheShortcutALoneLeafIsWalkedToRayByRay) {
    build_row(1);
    // The root's box is not tested: these rays miss it.
    for (unsigned ray = 0; ray < 4; ++ray)
        batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    run(shader);
    EXPECT_EQ(calls.take_items(), (Items{0, 0, 0, 0}));
    CtxShader bare;
    run(bare);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(TogetherDispatch, WithoutTheShortcutALoneLeafIsWalkedToByThoseThatHitIt) {
    build_row(1);
    for (const unsigned ray : {0u, 3u})
        batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    run(shader);
    ASSERT_EQ(calls.calls.size(), 1u);
    EXPECT_EQ(calls.calls[0].item, 0u);
    EXPECT_EQ(calls.calls[0].first_ray, 1);
    EXPECT_EQ(calls.calls[0].last_ray, 2);
    calls.calls.clear();
    CtxShader bare;
    run(bare);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayDispatch, TheShortcutIsForOneLeafOnly) {
    build_row(2);
    run(shader, true);
    EXPECT_EQ(calls.take_items(),
              support::goes_together(GetParam()) ? (Items{0, 1}) : (Items{0, 1, 0, 1, 0, 1, 0, 1}));
    CtxShader bare;
    run(bare, true);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayDispatch, AnEmptyTreeIsSilent) {
    for (const bool shortcut : {false, true}) {
        run(shader, shortcut);
        CtxShader bare;
        run(bare, shortcut);
    }
    EXPECT_TRUE(calls.calls.empty());
    build_row(3);
    tree.clear();
    run(shader);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayDispatch, AMissingFrameOfEitherChainIsSilent) {
    build_row(3);
    void* const tree_ctx = shader.tree_ctx_slot;
    void* const ray_frame = shader.ray_frame_slot;
    for (const bool single : {true, false}) {
        batch.get_data().set_range(0, single ? 0 : 3);
        shader.tree_ctx_slot = nullptr;
        run(shader);
        shader.tree_ctx_slot = tree_ctx;
        shader.ray_frame_slot = nullptr;
        run(shader);
        shader.ray_frame_slot = ray_frame;
        EXPECT_TRUE(calls.calls.empty());
        run(shader);
        EXPECT_EQ(calls.take_ray_count(), single ? 3u : 12u);
    }
}

TEST_P(RayDispatch, AnEmptyRangeTracesNothing) {
    build_row(3);
    batch.get_data().set_range(2, 1);
    run(shader);
    batch.get_data().set_range(0, -1);
    run(shader);
    GeometryRayBatch empty;
    trace(tree, GetParam(), shader, empty.get_ctx());
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayDispatch, ASingleRayUsesTheCallersContext) {
    build_row(3);
    batch.get_data().set_range(2, 2);
    run(shader);
    ASSERT_EQ(calls.calls.size(), 3u);
    for (const LeafCall& call : calls.calls) {
        EXPECT_EQ(call.callback, GetParam());
        EXPECT_EQ(call.rays, &batch.get_ctx());
        EXPECT_EQ(call.first_ray, 2);
        EXPECT_EQ(call.last_ray, 2);
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &shader);
    }
}

TEST_P(RayByRayDispatch, ABatchIsTracedRayByRayAscendingThroughAPrivateView) {
    build_row(2);
    batch.get_data().set_range(1, 3);
    calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        EXPECT_NE(&rays, &batch.get_ctx());
        EXPECT_EQ(&rays, &rays.get_data().get_ctx());
        EXPECT_EQ(rays.get_data().get_ray_count(), 4u);
        EXPECT_EQ(batch.get_data().get_first_ray(), 1);
        EXPECT_EQ(batch.get_data().get_last_ray(), 3);
    };
    run(shader);
    std::vector<int> traced;
    for (const LeafCall& call : calls.calls) {
        EXPECT_EQ(call.callback, GetParam());
        EXPECT_EQ(call.first_ray, call.last_ray);
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &shader);
        traced.push_back(call.first_ray);
    }
    EXPECT_EQ(traced, (std::vector<int>{1, 1, 2, 2, 3, 3}));
    EXPECT_EQ(batch.get_data().get_first_ray(), 1);
    EXPECT_EQ(batch.get_data().get_last_ray(), 3);
}

TEST_P(TogetherDispatch, ABatchIsTracedAtOnceThroughAPrivateView) {
    for (const unsigned count : {2u, 32u}) { // without packets and with them
        build_row(count);
        batch.get_data().set_range(1, 3);
        calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
            EXPECT_NE(&rays, &batch.get_ctx());
            EXPECT_EQ(&rays, &rays.get_data().get_ctx());
            EXPECT_EQ(rays.get_data().get_ray_count(), 4u);
        };
        run(shader);
        EXPECT_EQ(calls.calls.size(), count);
        for (unsigned item = 0; item < calls.calls.size(); ++item) {
            const LeafCall& call = calls.calls[item];
            EXPECT_EQ(call.callback, RayQuery::nearest_static);
            EXPECT_EQ(call.item, item);
            EXPECT_EQ(call.first_ray, 1);
            EXPECT_EQ(call.last_ray, 3);
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
        }
        EXPECT_EQ(batch.get_data().get_first_ray(), 1);
        EXPECT_EQ(batch.get_data().get_last_ray(), 3);
        calls.calls.clear();
    }
}

TEST_P(RayDispatch, HitsWrittenThroughTheViewReachTheCallersRays) {
    build_row(2);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        support::for_each_ray(rays, [&](unsigned ray) {
            if (item == 0 && ray % 2 == 1)
                rays.record_nearest_hit(ray, 0.5 + ray, item);
        });
    };
    run(shader);
    for (unsigned ray = 0; ray < 4; ++ray) {
        EXPECT_EQ(batch.is_hit(ray), ray % 2 == 1);
        EXPECT_EQ(batch.get_hit_distance(ray), ray % 2 == 1 ? 0.5 + ray : 1000.0);
    }
}

TEST_P(RayDispatch, FewerThanTwoTreeSamplesFallBackToStaticRays) {
    const std::vector<naive::Box> boxes = support::row_of_boxes(3);
    const std::vector<naive::Box> elsewhere = support::row_of_boxes(3, 0.25f);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2)); // of no concern
    for (unsigned sample_count = 0; sample_count < 3; ++sample_count) {
        support::build(tree, boxes);
        support::fill_samples(tree, std::vector<std::vector<naive::Box>>(sample_count, elsewhere));
        for (const bool single : {true, false}) {
            batch.get_data().set_range(0, single ? 0 : 3);
            run(shader);
            const RayQuery expected =
                sample_count < 2 ? support::without_motion(GetParam()) : GetParam();
            const bool together = !single && support::goes_together(expected);
            EXPECT_EQ(calls.calls.size(), single || together ? 3u : 12u);
            for (const LeafCall& call : calls.calls)
                EXPECT_EQ(call.callback, expected) << sample_count;
            EXPECT_EQ(calls.take_ray_count(), single ? 3u : 12u);
        }
    }
}

TEST_P(RayDispatch, OneTreeSampleIsNotLookedAt) {
    support::build(tree, support::row_of_boxes(3));
    support::fill_samples(tree, {support::row_of_boxes(3, 500.0f)});
    batch.get_data().set_range(0, 0);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 100.0);
    run(shader);
    EXPECT_EQ(calls.take_items(), (Items{0, 1, 2}));
}

#ifdef NDEBUG
TEST_P(RayDispatch, ARangeBeyondTheBatchTracesNothing) {
    build_row(3);
    for (const auto& [first, last] : {std::pair{0, 4}, {-1, 2}, {4, 4}, {-1, -1}, {-3, 7}}) {
        batch.get_data().set_range(first, last);
        run(shader);
        EXPECT_TRUE(calls.calls.empty()) << first << ".." << last;
    }
}

TEST_P(RayDispatch, ABatchWithoutAnIntersectionMapIsTracedForAllHitsOnly) {
    build_row(3);
    batch.get_data().use_intersection_map(false);
    run(shader);
    const bool all_hits = GetParam() == RayQuery::hit_static || GetParam() == RayQuery::hit_motion;
    EXPECT_NE(calls.calls.empty(), all_hits);
}
#else
TEST_P(RayDispatch, ARangeBeyondTheBatchAsserts) {
    build_row(3);
    batch.get_data().set_range(0, 4);
    EXPECT_DEATH(run(shader), "within its rays");
    batch.get_data().set_range(-1, 2);
    EXPECT_DEATH(run(shader), "within its rays");
}
#endif

INSTANTIATE_TEST_SUITE_P(Queries, RayByRayDispatch,
                         testing::Values(RayQuery::hit_static, RayQuery::hit_motion,
                                         RayQuery::nearest_motion),
                         [](const auto& query) { return support::name(query.param); });
INSTANTIATE_TEST_SUITE_P(Queries, TogetherDispatch, testing::Values(RayQuery::nearest_static),
                         [](const auto& query) { return support::name(query.param); });
INSTANTIATE_TEST_SUITE_P(Queries, RayDispatch, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
