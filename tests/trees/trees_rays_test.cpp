// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

#include <tests/support/either_tree.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// Ray queries over rows of boxes: how a query starts, in which order leaves are called, and through
// which context.

namespace {

using naive::Box;
using support::LeafCall;
using support::RayQuery;
using support::RecordingCallbacks;
using support::row_of_boxes;
using support::TestShader;
using Items = std::vector<unsigned>;

constexpr double far_away = 1000.0;

class TreesRays : public testing::TestWithParam<support::ClassAndQuery> {
  protected:
    TreesRays() : tree(tree_class), calls(tree), batch(4) {
        for (unsigned ray = 0; ray < 4; ++ray)
            aim_forward(ray);
        use_rays(0, 0);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    /// Motion queries get two samples of the boxes that stand still.
    void build(const std::vector<Box>& boxes, const Items& indices = {}) {
        support::build(tree, boxes, naive::Split::sah_fast, indices);
        support::fill_samples(tree, {boxes, boxes});
    }
    void build_row(unsigned count) { build(row_of_boxes(count)); }

    void use_rays(int first, int last) { batch.get_data().set_range(first, last); }
    /// Along the row from before its first box; enters box i at 10 i + 1.
    void aim_forward(unsigned ray = 0, double near = 0.0, double far = far_away) {
        batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, near, far, 0.5f);
    }
    /// The first ray against the row, from behind its last box.
    void aim_back() { batch.set_ray(0, {900.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away); }
    void aim_away() {
        for (unsigned ray = 0; ray < 4; ++ray)
            batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    }

    Items run(bool shortcut = false) { return run(shader, shortcut); }
    Items run(CtxShader& with, bool shortcut = false) {
        trace(tree, query, with, batch.get_ctx(), shortcut, eval);
        last_calls = calls.calls;
        return calls.take_items();
    }
    /// With a shader that has no frames.
    Items run_bare(bool shortcut) {
        CtxShader bare;
        return run(bare, shortcut);
    }

    /// What a row of boxes gives when each of the batch's rays calls all of its leaves: together or
    /// ray by ray.
    Items repeat_for_rays(const Items& items, unsigned ray_count) const {
        return repeat_for_rays(items, ray_count, query);
    }
    static Items repeat_for_rays(const Items& items, unsigned ray_count, RayQuery as) {
        Items all;
        for (unsigned ray = 0; ray < (support::goes_together(as) ? 1 : ray_count); ++ray)
            all.insert(all.end(), items.begin(), items.end());
        return all;
    }

    const support::TreeClass tree_class = std::get<support::TreeClass>(GetParam());
    const RayQuery query = std::get<RayQuery>(GetParam());
    support::EitherTree tree;
    RecordingCallbacks calls;
    std::vector<LeafCall> last_calls;
    TestShader shader;
    CtxEval eval;
    GeometryRayBatch batch;
};

INSTANTIATE_TEST_SUITE_P(Trees, TreesRays, support::all_classes_and_queries,
                         support::name_class_and_query);

} // namespace

TEST_P(TreesRays, TheShortcutCallsOneLeafOnceForTheWholeRangeWithoutBoxOrFrames) {
    build_row(1);
    aim_away();
    for (const int first_ray : {0, 1}) {
        use_rays(first_ray, 3);
        CtxShader bare;
        ASSERT_EQ(run(bare, true), Items{0});
        const LeafCall& call = last_calls[0];
        EXPECT_EQ(call.callback, query);
        EXPECT_EQ(call.rays, &batch.get_ctx());
        EXPECT_EQ(call.first_ray, first_ray);
        EXPECT_EQ(call.last_ray, 3);
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &bare);
    }
}

TEST_P(TreesRays, TheShortcutReportsTheFirstIndex) {
    support::build(tree, row_of_boxes(1), naive::Split::sah_fast, {4711});
    for (const int last_ray : {0, 3}) {
        use_rays(0, last_ray);
        EXPECT_EQ(run(true), Items{4711});
    }
}

TEST_P(TreesRays, TheShortcutIgnoresSamplesHitFlagsAndCaches) {
    support::build(tree, row_of_boxes(1)); // no motion samples
    batch.get_ctx().set_hit(0);
    for (const int last_ray : {0, 3, 0, 3}) {
        use_rays(0, last_ray);
        ASSERT_EQ(run(true), Items{0});
        EXPECT_EQ(last_calls[0].callback, query);
    }
    const GasTreeCtx& frame = shader.get_tree_ctx();
    EXPECT_EQ(frame.all_hits_cache[0].tree, nullptr);
    EXPECT_EQ(frame.nearest_cache[0].tree, nullptr);
    EXPECT_EQ(frame.next, nullptr);
}

TEST_P(TreesRays, TheShortcutIsForOneLeafOnly) {
    build_row(2);
    use_rays(0, 3);
    EXPECT_EQ(run(true), repeat_for_rays({0, 1}, 4));
    EXPECT_EQ(run_bare(true), Items{});
}

TEST_P(TreesRays, LeavesUnderTheRootAreCalledNearOnesFirst) {
    build_row(2);
    EXPECT_EQ(run(), (Items{0, 1}));
    batch.set_ray(0, {100.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), (Items{1, 0}));
    batch.set_ray(0, {10.5, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{1});
    batch.set_ray(0, {5.0, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{});
    aim_forward();
    EXPECT_EQ(run_bare(false), Items{});
}

TEST_P(TreesRays, ARowIsCalledNearOnesFirst) {
    for (const unsigned count : {3u, 4u, 16u, 33u}) {
        build_row(count);
        Items ascending(count);
        std::iota(ascending.begin(), ascending.end(), 0u);
        aim_forward();
        EXPECT_EQ(run(), ascending);
        aim_back();
        EXPECT_EQ(run(), Items(ascending.rbegin(), ascending.rend()));
    }
}

TEST_P(TreesRays, EqualEntriesVisitTheSecondChildFirst) {
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

TEST_P(TreesRays, NearAndFarDistanceBoundTheRay) {
    build_row(4);
    const auto expect_called = [&](double near, double far, const Items& expected) {
        aim_forward(0, near, far);
        EXPECT_EQ(run(), expected) << near << " to " << far;
    };
    // Decoded boxes are a little wider than the exact ones, by less than half a unit here.
    expect_called(12.5, 20.5, {});
    expect_called(11.5, 11.75, {1});
    expect_called(11.5, 21.5, {1, 2});
    expect_called(-50.0, -1.0, {});
    expect_called(21.5, 11.5, {});
}

TEST_P(TreesRays, CallbacksReportIndices) {
    build(row_of_boxes(3), {30, 31, 30});
    EXPECT_EQ(run(), (Items{30, 31, 30}));
}

TEST_P(TreesRays, EmptyAndClearedTreesAreSilent) {
    for (const int last_ray : {0, 3}) {
        use_rays(0, last_ray);
        for (const bool shortcut : {false, true}) {
            tree.clear();
            EXPECT_EQ(run(shortcut), Items{});
            EXPECT_EQ(run_bare(shortcut), Items{});
            build_row(3);
            EXPECT_NE(run(shortcut), Items{});
            tree.clear();
            EXPECT_EQ(run(shortcut), Items{});
            build_row(1);
            tree.clear();
            EXPECT_EQ(run(shortcut), Items{});
        }
    }
}

TEST_P(TreesRays, AMissingFrameOfEitherChainIsSilent) {
    build_row(3);
    void* const tree_ctx = shader.tree_ctx_slot;
    void* const ray_frame = shader.ray_frame_slot;
    for (const int last_ray : {0, 3}) {
        use_rays(0, last_ray);
        shader.tree_ctx_slot = nullptr;
        EXPECT_EQ(run(), Items{});
        shader.tree_ctx_slot = tree_ctx;
        shader.ray_frame_slot = nullptr;
        EXPECT_EQ(run(), Items{});
        shader.ray_frame_slot = ray_frame;
        EXPECT_EQ(run(), repeat_for_rays({0, 1, 2}, static_cast<unsigned>(last_ray + 1)));
        EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(shader.ray_frame_slot, ray_frame);
    }
}

TEST_P(TreesRays, AnEmptyRangeTracesNothing) {
    build_row(3);
    use_rays(2, 1);
    EXPECT_EQ(run(), Items{});
    use_rays(0, -1);
    EXPECT_EQ(run(), Items{});
    GeometryRayBatch empty;
    trace(tree, query, shader, empty.get_ctx());
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(TreesRays, ASingleRayUsesTheCallersContext) {
    build_row(3);
    use_rays(2, 2);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    for (const LeafCall& call : last_calls) {
        EXPECT_EQ(call.callback, query);
        EXPECT_EQ(call.rays, &batch.get_ctx());
        EXPECT_EQ(call.first_ray, 2);
        EXPECT_EQ(call.last_ray, 2);
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &shader);
    }
}

TEST_P(TreesRays, ABatchGoesTogetherOrRayByRayThroughAPrivateView) {
    for (const unsigned count : {2u, 32u}) { // without packets and with them
        build_row(count);
        use_rays(1, 3);
        const auto expect_range_kept = [&] {
            EXPECT_EQ(batch.get_data().get_first_ray(), 1);
            EXPECT_EQ(batch.get_data().get_last_ray(), 3);
        };
        calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
            EXPECT_NE(&rays, &batch.get_ctx());
            EXPECT_EQ(&rays, &rays.get_data().get_ctx());
            EXPECT_EQ(rays.get_data().get_ray_count(), 4u);
            expect_range_kept();
        };
        run();
        const bool together = support::goes_together(query);
        ASSERT_EQ(last_calls.size(), together ? count : 3 * count);
        for (unsigned i = 0; i < last_calls.size(); ++i) {
            const LeafCall& call = last_calls[i];
            EXPECT_EQ(call.callback, query);
            EXPECT_EQ(call.item, i % count);
            EXPECT_EQ(call.first_ray, together ? 1 : static_cast<int>(1 + i / count));
            EXPECT_EQ(call.last_ray, together ? 3 : static_cast<int>(1 + i / count));
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
        }
        expect_range_kept();
    }
}

TEST_P(TreesRays, HitsWrittenThroughTheViewReachTheCallersRays) {
    build_row(2);
    use_rays(0, 3);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        support::for_each_ray(rays, [&](unsigned ray) {
            if (item == 0 && ray % 2 == 1)
                rays.record_nearest_hit(ray, 0.5 + ray, item);
        });
    };
    run();
    for (unsigned ray = 0; ray < 4; ++ray) {
        EXPECT_EQ(batch.is_hit(ray), ray % 2 == 1);
        EXPECT_EQ(batch.get_hit_distance(ray), ray % 2 == 1 ? 0.5 + ray : 1000.0);
    }
}

TEST_P(TreesRays, FewerThanTwoSamplesFallBackToStaticRays) {
    const std::vector<Box> elsewhere = row_of_boxes(3, 0.25f);
    for (unsigned sample_count = 0; sample_count < 3; ++sample_count) {
        support::build(tree, row_of_boxes(3));
        support::fill_samples(tree, std::vector<std::vector<Box>>(sample_count, elsewhere));
        const RayQuery expected = sample_count < 2 ? support::without_motion(query) : query;
        for (const int last_ray : {0, 3}) {
            use_rays(0, last_ray);
            const unsigned ray_count = static_cast<unsigned>(last_ray + 1);
            EXPECT_EQ(run(), repeat_for_rays({0, 1, 2}, ray_count, expected));
            int asked_rays = 0;
            for (const LeafCall& call : last_calls) {
                EXPECT_EQ(call.callback, expected) << sample_count;
                asked_rays += call.last_ray - call.first_ray + 1;
            }
            EXPECT_EQ(asked_rays, 3 * (last_ray + 1));
        }
    }
}

TEST_P(TreesRays, OneSampleIsNotLookedAt) {
    support::build(tree, row_of_boxes(3));
    support::fill_samples(tree, {row_of_boxes(3, 500.0f)});
    aim_forward(0, 0.0, 100.0);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
}

TEST_P(TreesRays, AHitEndsTheRayOrCullsWhatLiesBehind) {
    build_row(8);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 2)
            rays.record_nearest_hit(0, 22.0, item);
    };
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_EQ(batch.get_hit_distance(0), 22.0);
}

TEST_P(TreesRays, AShorterRayLeavesOutWhatLiesBehind) {
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

TEST_P(TreesRays, AStoppedOrHitRayIsCachedAndAMissForgets) {
    const bool is_nearest = support::is_nearest(query);
    build_row(8);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 3)
            rays.record_nearest_hit(0, 32.0, item);
    };
    run();
    const GasTreeCtx& frame = shader.get_tree_ctx();
    const GasCachedLeaf& cached = is_nearest ? frame.nearest_cache[0] : frame.all_hits_cache[0];
    EXPECT_EQ(cached.tree, tree.get_address());
    EXPECT_EQ(cached.leaf, 3u);
    aim_forward();
    EXPECT_EQ(run(), is_nearest ? (Items{3, 0, 1, 2}) : Items{3});
    aim_forward();
    calls.react = nullptr;
    EXPECT_EQ(run(),
              is_nearest ? (Items{3, 0, 1, 2, 4, 5, 6, 7}) : (Items{3, 0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(cached.tree, nullptr);
}

TEST_P(TreesRays, NestedQueriesUseTheNextFrames) {
    build_row(8);
    const GasTreeCtx* const frame = &shader.get_tree_ctx();
    unsigned nested_calls = 0;
    support::EitherTree other(tree_class);
    support::build(other, row_of_boxes(20));
    support::fill_samples(other, {row_of_boxes(20), row_of_boxes(20)});
    RecordingCallbacks other_calls(other);
    calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        EXPECT_EQ(inside.tree_ctx_slot, frame->next);
        GeometryRayBatch nested(2);
        for (unsigned ray = 0; ray < 2; ++ray)
            nested.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, 0.25f);
        trace(other, query, inside, nested.get_ctx());
        nested_calls += other_calls.take_ray_count();
    };
    for (const int last_ray : {0, 3}) {
        nested_calls = 0;
        use_rays(0, last_ray);
        EXPECT_EQ(run(),
                  repeat_for_rays({0, 1, 2, 3, 4, 5, 6, 7}, static_cast<unsigned>(last_ray + 1)));
        EXPECT_EQ(nested_calls, last_calls.size() * 2 * 20);
    }
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TEST_P(TreesRays, ARangeBeyondTheBatchTracesNothing) {
    build_row(3);
    for (const auto& [first, last] :
         {std::pair{0, 4}, {-1, 2}, {4, 4}, {-1, -1}, {-3, 7}, {2, 1}}) {
        use_rays(first, last);
        EXPECT_EQ(run(), Items{}) << first << ".." << last;
    }
}

TEST_P(TreesRays, ABatchWithoutAnIntersectionMapIsTracedForAllHitsOnly) {
    build_row(3);
    use_rays(0, 3);
    batch.get_data().use_intersection_map(false);
    EXPECT_EQ(run().empty(), support::is_nearest(query));
}
#else
TEST_P(TreesRays, ARangeBeyondTheBatchAsserts) {
    build_row(3);
    use_rays(0, 4);
    EXPECT_DEATH(run(), "within its rays");
    use_rays(-1, 2);
    EXPECT_DEATH(run(), "within its rays");
}
#endif
