#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using support::LeafCall;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using Items = std::vector<unsigned>;

constexpr double far_away = 1000.0;

class CompressedRays : public testing::TestWithParam<RayQuery> {
  protected:
    CompressedRays() : calls(tree), batch(4) {
        for (unsigned ray = 0; ray < 4; ++ray)
            aim_forward(ray);
        batch.get_data().set_range(0, 0);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    /// Motion queries get two samples of the boxes that stand still.
    void build(const std::vector<Box>& boxes) {
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }
    void build_row(unsigned count) { build(support::row_of_boxes(count)); }

    /// Along the row from before its first box; enters box i at 10 i + 1.
    void aim_forward(unsigned ray = 0, double near = 0.0, double far = far_away,
                     float time = 0.5f) {
        batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, near, far, time);
    }
    void aim_away() {
        for (unsigned ray = 0; ray < 4; ++ray)
            batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    }

    Items run() { return run(shader); }
    Items run(CtxShader& with) {
        trace(tree, GetParam(), with, batch.get_ctx(), eval);
        last_calls = calls.calls;
        return calls.take_items();
    }

    GasCompressedTree tree;
    RecordingCallbacks calls;
    std::vector<LeafCall> last_calls;
    TestShader shader;
    CtxEval eval;
    GeometryRayBatch batch;
};

} // namespace

TEST_P(CompressedRays, ALoneItemIsCalledOnceForTheWholeRangeWithoutBoxOrFrames) {
    build_row(1);
    aim_away();
    batch.get_data().set_range(1, 3);
    CtxShader bare;
    EXPECT_EQ(run(bare), Items{0});
    const LeafCall& call = last_calls[0];
    EXPECT_EQ(call.callback, GetParam());
    EXPECT_EQ(call.rays, &batch.get_ctx());
    EXPECT_EQ(call.first_ray, 1);
    EXPECT_EQ(call.last_ray, 3);
    EXPECT_EQ(call.eval, &eval);
    EXPECT_EQ(call.shader, &bare);
}

TEST_P(CompressedRays, ALoneItemReportsItsIndex) {
    support::build(tree, support::row_of_boxes(1), naive::Split::sah_fast, {4711});
    EXPECT_EQ(run(), Items{4711});
}

TEST_P(CompressedRays, ALoneItemIgnoresSamplesHitFlagsAndCaches) {
    support::build(tree, support::row_of_boxes(1)); // no motion samples
    batch.get_ctx().set_hit(0);
    for (unsigned i = 0; i < 2; ++i) {
        EXPECT_EQ(run(), Items{0});
        EXPECT_EQ(last_calls[0].callback, GetParam());
    }
    EXPECT_EQ(shader.get_tree_ctx().all_hits_cache[0].tree, nullptr);
    EXPECT_EQ(shader.get_tree_ctx().nearest_cache[0].tree, nullptr);
    EXPECT_EQ(shader.get_tree_ctx().next, nullptr);
}

TEST_P(CompressedRays, LeavesUnderTheRootAreCalledNearOnesFirst) {
    build_row(2);
    EXPECT_EQ(run(), (Items{0, 1}));
    batch.set_ray(0, {100.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), (Items{1, 0}));
    batch.set_ray(0, {10.5, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{1});
    batch.set_ray(0, {5.0, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{});
    CtxShader bare;
    aim_forward();
    EXPECT_EQ(run(bare), Items{});
}

TEST_P(CompressedRays, ARowIsCalledNearOnesFirst) {
    for (const unsigned count : {3u, 4u, 16u, 33u}) {
        build_row(count);
        Items ascending(count);
        for (unsigned i = 0; i < count; ++i)
            ascending[i] = i;
        aim_forward();
        EXPECT_EQ(run(), ascending);
        batch.set_ray(0, {900.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
        EXPECT_EQ(run(), Items(ascending.rbegin(), ascending.rend()));
    }
}

TEST_P(CompressedRays, EqualEntriesVisitTheSecondChildFirst) {
    const Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
    build({box, box});
    EXPECT_EQ(run(), (Items{1, 0}));
    // Also where the near distance makes the entries equal.
    Box longer = box;
    longer.max[0] = 9.0f;
    build({longer, box});
    aim_forward(0, 1.5);
    EXPECT_EQ(run(), (Items{1, 0}));
}

TEST_P(CompressedRays, NearAndFarDistanceBoundTheRay) {
    build_row(4);
    // Decoded boxes are a little wider than the exact ones, by less than half a unit here.
    aim_forward(0, 12.5, 20.5);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 11.5, 11.75);
    EXPECT_EQ(run(), Items{1});
    aim_forward(0, 11.5, 21.5);
    EXPECT_EQ(run(), (Items{1, 2}));
    aim_forward(0, -50.0, -1.0);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 21.5, 11.5);
    EXPECT_EQ(run(), Items{});
}

TEST_P(CompressedRays, CallbacksReportIndices) {
    const std::vector<Box> boxes = support::row_of_boxes(3);
    support::build(tree, boxes, naive::Split::sah_fast, {30, 31, 30});
    support::fill_samples(tree, {boxes, boxes});
    EXPECT_EQ(run(), (Items{30, 31, 30}));
}

TEST_P(CompressedRays, EmptyAndClearedTreesAreSilent) {
    for (const int last_ray : {0, 3}) {
        batch.get_data().set_range(0, last_ray);
        tree.clear();
        EXPECT_EQ(run(), Items{});
        CtxShader bare;
        EXPECT_EQ(run(bare), Items{});
        build_row(3);
        EXPECT_NE(run(), Items{});
        tree.clear();
        EXPECT_EQ(run(), Items{});
        build_row(1);
        tree.clear();
        EXPECT_EQ(run(), Items{});
    }
}

TEST_P(CompressedRays, AMissingFrameOfEitherChainIsSilent) {
    build_row(3);
    void* const tree_ctx = shader.tree_ctx_slot;
    void* const ray_frame = shader.ray_frame_slot;
    for (const int last_ray : {0, 3}) {
        batch.get_data().set_range(0, last_ray);
        shader.tree_ctx_slot = nullptr;
        EXPECT_EQ(run(), Items{});
        shader.tree_ctx_slot = tree_ctx;
        shader.ray_frame_slot = nullptr;
        EXPECT_EQ(run(), Items{});
        shader.ray_frame_slot = ray_frame;
        EXPECT_NE(run(), Items{});
        EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(shader.ray_frame_slot, ray_frame);
    }
}

TEST_P(CompressedRays, ASingleRayUsesTheCallersContext) {
    build_row(3);
    batch.get_data().set_range(2, 2);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    for (const LeafCall& call : last_calls) {
        EXPECT_EQ(call.callback, GetParam());
        EXPECT_EQ(call.rays, &batch.get_ctx());
        EXPECT_EQ(call.first_ray, 2);
        EXPECT_EQ(call.last_ray, 2);
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &shader);
    }
}

TEST_P(CompressedRays, ABatchGoesTogetherOrRayByRayThroughAPrivateView) {
    for (const unsigned count : {2u, 32u}) { // without packets and with them
        build_row(count);
        batch.get_data().set_range(1, 3);
        calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
            EXPECT_NE(&rays, &batch.get_ctx());
            EXPECT_EQ(rays.get_data().get_ray_count(), 4u);
        };
        run();
        const bool together = support::goes_together(GetParam());
        ASSERT_EQ(last_calls.size(), together ? count : 3 * count);
        for (unsigned i = 0; i < last_calls.size(); ++i) {
            const LeafCall& call = last_calls[i];
            EXPECT_EQ(call.callback, GetParam());
            EXPECT_EQ(call.item, i % count);
            EXPECT_EQ(call.first_ray, together ? 1 : static_cast<int>(1 + i / count));
            EXPECT_EQ(call.last_ray, together ? 3 : static_cast<int>(1 + i / count));
        }
        EXPECT_EQ(batch.get_data().get_first_ray(), 1);
        EXPECT_EQ(batch.get_data().get_last_ray(), 3);
    }
}

TEST_P(CompressedRays, FewerThanTwoSamplesFallBackToStaticRays) {
    const std::vector<Box> boxes = support::row_of_boxes(3);
    const std::vector<Box> elsewhere = support::row_of_boxes(3, 0.25f);
    for (unsigned sample_count = 0; sample_count < 3; ++sample_count) {
        support::build(tree, boxes);
        support::fill_samples(tree, std::vector<std::vector<Box>>(sample_count, elsewhere));
        const RayQuery expected =
            sample_count < 2 ? support::without_motion(GetParam()) : GetParam();
        for (const int last_ray : {0, 3}) {
            batch.get_data().set_range(0, last_ray);
            run();
            const bool together = last_ray == 3 && support::goes_together(expected);
            EXPECT_EQ(last_calls.size(), last_ray == 0 || together ? 3u : 12u);
            for (const LeafCall& call : last_calls)
                EXPECT_EQ(call.callback, expected) << sample_count;
        }
    }
}

TEST_P(CompressedRays, OneSampleIsNotLookedAt) {
    support::build(tree, support::row_of_boxes(3));
    support::fill_samples(tree, {support::row_of_boxes(3, 500.0f)});
    aim_forward(0, 0.0, 100.0);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
}

TEST_P(CompressedRays, AHitEndsTheRayOrCullsWhatLiesBehind) {
    build_row(8);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 2)
            rays.record_nearest_hit(0, 22.0, item);
    };
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_EQ(batch.get_hit_distance(0), 22.0);
}

TEST_P(CompressedRays, AShorterRayLeavesOutWhatLiesBehind) {
    build_row(16);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_tfar(0, 45.0);
        if (item == 4)
            rays.get_intersection_path(0).set_hit_distance(45.0);
    };
    const Items called = run();
    // No flag is set: leaves behind 45 drop out as soon as their boxes are tested against it.
    for (unsigned item = 0; item < 5; ++item)
        EXPECT_EQ(called[item], item);
    EXPECT_LT(called.size(), 16u);
    EXPECT_FALSE(batch.is_hit(0));
}

TEST_P(CompressedRays, AStoppedOrHitRayIsCachedAndAMissForgets) {
    build_row(8);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 3)
            rays.record_nearest_hit(0, 32.0, item);
    };
    run();
    GasTreeCtx& frame = shader.get_tree_ctx();
    const GasCachedLeaf& cached =
        support::is_nearest(GetParam()) ? frame.nearest_cache[0] : frame.all_hits_cache[0];
    EXPECT_EQ(cached.tree, &tree);
    EXPECT_EQ(cached.leaf, 3u);
    aim_forward();
    EXPECT_EQ(run(), support::is_nearest(GetParam()) ? (Items{3, 0, 1, 2}) : Items{3});
    aim_forward();
    calls.react = nullptr;
    EXPECT_EQ(run(), support::is_nearest(GetParam()) ? (Items{3, 0, 1, 2, 4, 5, 6, 7})
                                                     : (Items{3, 0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(cached.tree, nullptr);
}

TEST_P(CompressedRays, NestedQueriesUseTheNextFrames) {
    build_row(8);
    const GasTreeCtx* const frame = &shader.get_tree_ctx();
    unsigned nested_calls = 0;
    GasCompressedTree other;
    support::build(other, support::row_of_boxes(20));
    support::fill_samples(other, {support::row_of_boxes(20), support::row_of_boxes(20)});
    RecordingCallbacks other_calls(other);
    calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        EXPECT_EQ(inside.tree_ctx_slot, frame->next);
        GeometryRayBatch nested(2);
        for (unsigned ray = 0; ray < 2; ++ray)
            nested.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, 0.25f);
        trace(other, GetParam(), inside, nested.get_ctx());
        nested_calls += other_calls.take_ray_count();
    };
    for (const int last_ray : {0, 3}) {
        nested_calls = 0;
        batch.get_data().set_range(0, last_ray);
        EXPECT_EQ(run().size(), last_ray == 0 || support::goes_together(GetParam()) ? 8u : 32u);
        EXPECT_EQ(nested_calls, last_calls.size() * 2 * 20);
    }
}

INSTANTIATE_TEST_SUITE_P(Queries, CompressedRays, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

namespace {

/// Boxes that move from one place to the next with each sample.
class CompressedMotion : public testing::TestWithParam<RayQuery> {
  protected:
    CompressedMotion() : calls(tree), batch(1) {}

    /// Sample s has the row 100 s further along y.
    void build(unsigned sample_count) {
        support::build(tree, support::row_of_boxes(3));
        std::vector<std::vector<Box>> samples;
        for (unsigned sample = 0; sample < sample_count; ++sample) {
            samples.push_back(support::row_of_boxes(3));
            for (Box& box : samples.back()) {
                box.min[1] += 100.0f * static_cast<float>(sample);
                box.max[1] += 100.0f * static_cast<float>(sample);
            }
        }
        support::fill_samples(tree, samples);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, sample_count));
    }

    /// What a ray along the row meets at this height.
    Items run(double height, float time) {
        batch.set_ray(0, {-1.0, height, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, time);
        trace(tree, GetParam(), shader, batch.get_ctx());
        for (const LeafCall& call : calls.calls)
            EXPECT_EQ(call.callback, GetParam());
        return calls.take_items();
    }

    GasCompressedTree tree;
    RecordingCallbacks calls;
    TestShader shader;
    GeometryRayBatch batch;
};

} // namespace

TEST_P(CompressedMotion, ARayMeetsTheBoxesOfItsTime) {
    build(3);
    const Items all = {0, 1, 2};
    for (unsigned i = 0; i <= 8; ++i) {
        const float time = 0.125f * static_cast<float>(i);
        const double height = 200.0 * static_cast<double>(time) + 0.5;
        EXPECT_EQ(run(height, time), all) << time;
        EXPECT_EQ(run(height + 20.0, time), Items{}) << time;
        EXPECT_EQ(run(height - 20.0, time), Items{}) << time;
    }
    EXPECT_EQ(run(0.5, -1.0f), all);
    EXPECT_EQ(run(200.5, 2.0f), all);
}

TEST_P(CompressedMotion, SamplesMayTurnTheOrderAround) {
    const std::vector<Box> row = support::row_of_boxes(3);
    support::build(tree, row);
    support::fill_samples(tree, {row, {row[2], row[1], row[0]}});
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(run(0.5, 0.0f), (Items{0, 1, 2}));
    EXPECT_EQ(run(0.5, 1.0f), (Items{2, 1, 0}));
}

TEST_P(CompressedMotion, SharesBlendLaterAndEarlier) {
    // The lone box of interest moves from 0 to 100 along y; a quarter of the way it is at 25.
    build(2);
    EXPECT_EQ(run(25.5, 0.25f), (Items{0, 1, 2}));
    EXPECT_EQ(run(75.5, 0.25f), Items{});
}

INSTANTIATE_TEST_SUITE_P(Queries, CompressedMotion,
                         testing::Values(RayQuery::hit_motion, RayQuery::nearest_motion),
                         [](const auto& query) { return support::name(query.param); });

#ifdef NDEBUG
TEST_P(CompressedMotion, ASampleThatWasNeverFilledIsNotTraced) {
    build(2);
    tree.set_motion_blur_sample_count(4);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_EQ(run(0.5, 0.5f), Items{});
    EXPECT_EQ(run(0.5, 1.0f), Items{});
    EXPECT_EQ(run(0.5, 0.0f), (Items{0, 1, 2}));
}

TEST_P(CompressedRays, ARangeBeyondTheBatchTracesNothing) {
    build_row(3);
    for (const auto& [first, last] : {std::pair{0, 4}, {-1, 2}, {4, 4}, {-1, -1}, {2, 1}}) {
        batch.get_data().set_range(first, last);
        EXPECT_EQ(run(), Items{}) << first << ".." << last;
    }
}
#else
TEST_P(CompressedMotion, ASampleThatWasNeverFilledAsserts) {
    build(2);
    tree.set_motion_blur_sample_count(4);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_DEATH(run(0.5, 0.5f), "never filled");
}
#endif
