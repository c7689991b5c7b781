// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

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

template <typename Traced> class TreesRays : public testing::Test {
  protected:
    static constexpr RayQuery query = Traced::query;

    TreesRays() : calls(tree), batch(4) {
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
    static Items repeat_for_rays(const Items& items, unsigned ray_count, RayQuery as = query) {
        Items all;
        for (unsigned ray = 0; ray < (support::goes_together(as) ? 1 : ray_count); ++ray)
            all.insert(all.end(), items.begin(), items.end());
        return all;
    }

    typename Traced::Tree tree;
    RecordingCallbacks calls;
    std::vector<LeafCall> last_calls;
    TestShader shader;
    CtxEval eval;
    GeometryRayBatch batch;
};

TYPED_TEST_SUITE(TreesRays, support::BothTreesQueries, support::TreeQueryNames);

} // namespace

TYPED_TEST(TreesRays, TheShortcutCallsOneLeafOnceForTheWholeRangeWithoutBoxOrFrames) {
    this->build_row(1);
    this->aim_away();
    for (const int first_ray : {0, 1}) {
        this->use_rays(first_ray, 3);
        CtxShader bare;
        ASSERT_EQ(this->run(bare, true), Items{0});
        const LeafCall& call = this->last_calls[0];
        EXPECT_EQ(call.callback, this->query);
        EXPECT_EQ(call.rays, &this->batch.get_ctx());
        EXPECT_EQ(call.first_ray, first_ray);
        EXPECT_EQ(call.last_ray, 3);
        EXPECT_EQ(call.eval, &this->eval);
        EXPECT_EQ(call.shader, &bare);
    }
}

TYPED_TEST(TreesRays, TheShortcutReportsTheFirstIndex) {
    support::build(this->tree, row_of_boxes(1), naive::Split::sah_fast, {4711});
    for (const int last_ray : {0, 3}) {
        this->use_rays(0, last_ray);
        EXPECT_EQ(this->run(true), Items{4711});
    }
}

TYPED_TEST(TreesRays, TheShortcutIgnoresSamplesHitFlagsAndCaches) {
    support::build(this->tree, row_of_boxes(1)); // no motion samples
    this->batch.get_ctx().set_hit(0);
    for (const int last_ray : {0, 3, 0, 3}) {
        this->use_rays(0, last_ray);
        ASSERT_EQ(this->run(true), Items{0});
        EXPECT_EQ(this->last_calls[0].callback, this->query);
    }
    const GasTreeCtx& frame = this->shader.get_tree_ctx();
    EXPECT_EQ(frame.all_hits_cache[0].tree, nullptr);
    EXPECT_EQ(frame.nearest_cache[0].tree, nullptr);
    EXPECT_EQ(frame.next, nullptr);
}

TYPED_TEST(TreesRays, TheShortcutIsForOneLeafOnly) {
    this->build_row(2);
    this->use_rays(0, 3);
    EXPECT_EQ(this->run(true), this->repeat_for_rays({0, 1}, 4));
    EXPECT_EQ(this->run_bare(true), Items{});
}

TYPED_TEST(TreesRays, LeavesUnderTheRootAreCalledNearOnesFirst) {
    this->build_row(2);
    EXPECT_EQ(this->run(), (Items{0, 1}));
    this->batch.set_ray(0, {100.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(this->run(), (Items{1, 0}));
    this->batch.set_ray(0, {10.5, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(this->run(), Items{1});
    this->batch.set_ray(0, {5.0, 7.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(this->run(), Items{});
    this->aim_forward();
    EXPECT_EQ(this->run_bare(false), Items{});
}

TYPED_TEST(TreesRays, ARowIsCalledNearOnesFirst) {
    for (const unsigned count : {3u, 4u, 16u, 33u}) {
        this->build_row(count);
        Items ascending(count);
        std::iota(ascending.begin(), ascending.end(), 0u);
        this->aim_forward();
        EXPECT_EQ(this->run(), ascending);
        this->aim_back();
        EXPECT_EQ(this->run(), Items(ascending.rbegin(), ascending.rend()));
    }
}

TYPED_TEST(TreesRays, EqualEntriesVisitTheSecondChildFirst) {
    const Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
    this->build({box, box});
    EXPECT_EQ(this->run(), (Items{1, 0}));
    // Also where the near distance makes the entries equal.
    Box longer = box;
    longer.max[0] = 9.0f;
    this->build({longer, box});
    this->aim_forward(0, 1.5);
    EXPECT_EQ(this->run(), (Items{1, 0}));
}

TYPED_TEST(TreesRays, NearAndFarDistanceBoundTheRay) {
    this->build_row(4);
    const auto expect_called = [&](double near, double far, const Items& expected) {
        this->aim_forward(0, near, far);
        EXPECT_EQ(this->run(), expected) << near << " to " << far;
    };
    // Decoded boxes are a little wider than the exact ones, by less than half a unit here.
    expect_called(12.5, 20.5, {});
    expect_called(11.5, 11.75, {1});
    expect_called(11.5, 21.5, {1, 2});
    expect_called(-50.0, -1.0, {});
    expect_called(21.5, 11.5, {});
}

TYPED_TEST(TreesRays, CallbacksReportIndices) {
    this->build(row_of_boxes(3), {30, 31, 30});
    EXPECT_EQ(this->run(), (Items{30, 31, 30}));
}

TYPED_TEST(TreesRays, EmptyAndClearedTreesAreSilent) {
    for (const int last_ray : {0, 3}) {
        this->use_rays(0, last_ray);
        for (const bool shortcut : {false, true}) {
            this->tree.clear();
            EXPECT_EQ(this->run(shortcut), Items{});
            EXPECT_EQ(this->run_bare(shortcut), Items{});
            this->build_row(3);
            EXPECT_NE(this->run(shortcut), Items{});
            this->tree.clear();
            EXPECT_EQ(this->run(shortcut), Items{});
            this->build_row(1);
            this->tree.clear();
            EXPECT_EQ(this->run(shortcut), Items{});
        }
    }
}

TYPED_TEST(TreesRays, AMissingFrameOfEitherChainIsSilent) {
    this->build_row(3);
    void* const tree_ctx = this->shader.tree_ctx_slot;
    void* const ray_frame = this->shader.ray_frame_slot;
    for (const int last_ray : {0, 3}) {
        this->use_rays(0, last_ray);
        this->shader.tree_ctx_slot = nullptr;
        EXPECT_EQ(this->run(), Items{});
        this->shader.tree_ctx_slot = tree_ctx;
        this->shader.ray_frame_slot = nullptr;
        EXPECT_EQ(this->run(), Items{});
        this->shader.ray_frame_slot = ray_frame;
        EXPECT_EQ(this->run(),
                  this->repeat_for_rays({0, 1, 2}, static_cast<unsigned>(last_ray + 1)));
        EXPECT_EQ(this->shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(this->shader.ray_frame_slot, ray_frame);
    }
}

TYPED_TEST(TreesRays, AnEmptyRangeTracesNothing) {
    this->build_row(3);
    this->use_rays(2, 1);
    EXPECT_EQ(this->run(), Items{});
    this->use_rays(0, -1);
    EXPECT_EQ(this->run(), Items{});
    GeometryRayBatch empty;
    trace(this->tree, this->query, this->shader, empty.get_ctx());
    EXPECT_TRUE(this->calls.calls.empty());
}

TYPED_TEST(TreesRays, ASingleRayUsesTheCallersContext) {
    this->build_row(3);
    this->use_rays(2, 2);
    EXPECT_EQ(this->run(), (Items{0, 1, 2}));
    for (const LeafCall& call : this->last_calls) {
        EXPECT_EQ(call.callback, this->query);
        EXPECT_EQ(call.rays, &this->batch.get_ctx());
        EXPECT_EQ(call.first_ray, 2);
        EXPECT_EQ(call.last_ray, 2);
        EXPECT_EQ(call.eval, &this->eval);
        EXPECT_EQ(call.shader, &this->shader);
    }
}

TYPED_TEST(TreesRays, ABatchGoesTogetherOrRayByRayThroughAPrivateView) {
    for (const unsigned count : {2u, 32u}) { // without packets and with them
        this->build_row(count);
        this->use_rays(1, 3);
        const auto expect_range_kept = [&] {
            EXPECT_EQ(this->batch.get_data().get_first_ray(), 1);
            EXPECT_EQ(this->batch.get_data().get_last_ray(), 3);
        };
        this->calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
            EXPECT_NE(&rays, &this->batch.get_ctx());
            EXPECT_EQ(&rays, &rays.get_data().get_ctx());
            EXPECT_EQ(rays.get_data().get_ray_count(), 4u);
            expect_range_kept();
        };
        this->run();
        const bool together = support::goes_together(this->query);
        ASSERT_EQ(this->last_calls.size(), together ? count : 3 * count);
        for (unsigned i = 0; i < this->last_calls.size(); ++i) {
            const LeafCall& call = this->last_calls[i];
            EXPECT_EQ(call.callback, this->query);
            EXPECT_EQ(call.item, i % count);
            EXPECT_EQ(call.first_ray, together ? 1 : static_cast<int>(1 + i / count));
            EXPECT_EQ(call.last_ray, together ? 3 : static_cast<int>(1 + i / count));
            EXPECT_EQ(call.eval, &this->eval);
            EXPECT_EQ(call.shader, &this->shader);
        }
        expect_range_kept();
    }
}

TYPED_TEST(TreesRays, HitsWrittenThroughTheViewReachTheCallersRays) {
    this->build_row(2);
    this->use_rays(0, 3);
    this->calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        support::for_each_ray(rays, [&](unsigned ray) {
            if (item == 0 && ray % 2 == 1)
                rays.record_nearest_hit(ray, 0.5 + ray, item);
        });
    };
    this->run();
    for (unsigned ray = 0; ray < 4; ++ray) {
        EXPECT_EQ(this->batch.is_hit(ray), ray % 2 == 1);
        EXPECT_EQ(this->batch.get_hit_distance(ray), ray % 2 == 1 ? 0.5 + ray : 1000.0);
    }
}

TYPED_TEST(TreesRays, FewerThanTwoSamplesFallBackToStaticRays) {
    const std::vector<Box> elsewhere = row_of_boxes(3, 0.25f);
    for (unsigned sample_count = 0; sample_count < 3; ++sample_count) {
        support::build(this->tree, row_of_boxes(3));
        support::fill_samples(this->tree, std::vector<std::vector<Box>>(sample_count, elsewhere));
        const RayQuery expected =
            sample_count < 2 ? support::without_motion(this->query) : this->query;
        for (const int last_ray : {0, 3}) {
            this->use_rays(0, last_ray);
            const unsigned ray_count = static_cast<unsigned>(last_ray + 1);
            EXPECT_EQ(this->run(), this->repeat_for_rays({0, 1, 2}, ray_count, expected));
            int asked_rays = 0;
            for (const LeafCall& call : this->last_calls) {
                EXPECT_EQ(call.callback, expected) << sample_count;
                asked_rays += call.last_ray - call.first_ray + 1;
            }
            EXPECT_EQ(asked_rays, 3 * (last_ray + 1));
        }
    }
}

TYPED_TEST(TreesRays, OneSampleIsNotLookedAt) {
    support::build(this->tree, row_of_boxes(3));
    support::fill_samples(this->tree, {row_of_boxes(3, 500.0f)});
    this->aim_forward(0, 0.0, 100.0);
    EXPECT_EQ(this->run(), (Items{0, 1, 2}));
}

TYPED_TEST(TreesRays, AHitEndsTheRayOrCullsWhatLiesBehind) {
    this->build_row(8);
    this->calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 2)
            rays.record_nearest_hit(0, 22.0, item);
    };
    EXPECT_EQ(this->run(), (Items{0, 1, 2}));
    EXPECT_TRUE(this->batch.is_hit(0));
    EXPECT_EQ(this->batch.get_hit_distance(0), 22.0);
}

TYPED_TEST(TreesRays, AShorterRayLeavesOutWhatLiesBehind) {
    this->build_row(16);
    this->calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_tfar(0, 45.0);
        if (item == 4)
            rays.get_intersection_path(0).set_hit_distance(45.0);
    };
    const Items called = this->run();
    // No flag is set: leaves behind 45 drop out as soon as their boxes are tested against it.
    for (unsigned item = 0; item < 5; ++item)
        EXPECT_EQ(called[item], item);
    EXPECT_LT(called.size(), 16u);
    EXPECT_FALSE(this->batch.is_hit(0));
}

TYPED_TEST(TreesRays, AStoppedOrHitRayIsCachedAndAMissForgets) {
    const bool is_nearest = support::is_nearest(this->query);
    this->build_row(8);
    this->calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 3)
            rays.record_nearest_hit(0, 32.0, item);
    };
    this->run();
    const GasTreeCtx& frame = this->shader.get_tree_ctx();
    const GasCachedLeaf& cached = is_nearest ? frame.nearest_cache[0] : frame.all_hits_cache[0];
    EXPECT_EQ(cached.tree, &this->tree);
    EXPECT_EQ(cached.leaf, 3u);
    this->aim_forward();
    EXPECT_EQ(this->run(), is_nearest ? (Items{3, 0, 1, 2}) : Items{3});
    this->aim_forward();
    this->calls.react = nullptr;
    EXPECT_EQ(this->run(),
              is_nearest ? (Items{3, 0, 1, 2, 4, 5, 6, 7}) : (Items{3, 0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(cached.tree, nullptr);
}

TYPED_TEST(TreesRays, NestedQueriesUseTheNextFrames) {
    this->build_row(8);
    const GasTreeCtx* const frame = &this->shader.get_tree_ctx();
    unsigned nested_calls = 0;
    typename TypeParam::Tree other;
    support::build(other, row_of_boxes(20));
    support::fill_samples(other, {row_of_boxes(20), row_of_boxes(20)});
    RecordingCallbacks other_calls(other);
    this->calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        EXPECT_EQ(inside.tree_ctx_slot, frame->next);
        GeometryRayBatch nested(2);
        for (unsigned ray = 0; ray < 2; ++ray)
            nested.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, 0.25f);
        trace(other, this->query, inside, nested.get_ctx());
        nested_calls += other_calls.take_ray_count();
    };
    for (const int last_ray : {0, 3}) {
        nested_calls = 0;
        this->use_rays(0, last_ray);
        EXPECT_EQ(this->run(), this->repeat_for_rays({0, 1, 2, 3, 4, 5, 6, 7},
                                                     static_cast<unsigned>(last_ray + 1)));
        EXPECT_EQ(nested_calls, this->last_calls.size() * 2 * 20);
    }
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TYPED_TEST(TreesRays, ARangeBeyondTheBatchTracesNothing) {
    this->build_row(3);
    for (const auto& [first, last] :
         {std::pair{0, 4}, {-1, 2}, {4, 4}, {-1, -1}, {-3, 7}, {2, 1}}) {
        this->use_rays(first, last);
        EXPECT_EQ(this->run(), Items{}) << first << ".." << last;
    }
}

TYPED_TEST(TreesRays, ABatchWithoutAnIntersectionMapIsTracedForAllHitsOnly) {
    this->build_row(3);
    this->use_rays(0, 3);
    this->batch.get_data().use_intersection_map(false);
    EXPECT_EQ(this->run().empty(), support::is_nearest(this->query));
}
#else
TYPED_TEST(TreesRays, ARangeBeyondTheBatchAsserts) {
    this->build_row(3);
    this->use_rays(0, 4);
    EXPECT_DEATH(this->run(), "within its rays");
    this->use_rays(-1, 2);
    EXPECT_DEATH(this->run(), "within its rays");
}
#endif
