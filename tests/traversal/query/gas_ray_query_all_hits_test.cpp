// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/row_ray.h>

namespace {

using naive::Box;
using support::far_away;
using support::RayQuery;
using Items = std::vector<unsigned>;

class AllHits : public testing::Test, protected support::RowRay<GasTree> {
  protected:
    AllHits() { aim_forward(); }

    void build_row(unsigned count) { support::build(tree, support::row_of_boxes(count)); }

    Items run(RayQuery query = RayQuery::hit_static) { return RowRay::run(query); }

    void stop_at(unsigned item) {
        calls.react = [item](unsigned called, CtxShader&, GeometryRaytraceCtx& rays) {
            if (called == item)
                rays.set_hit(0);
        };
    }
    void never_stop() { calls.react = nullptr; }

    const GasCachedLeaf& cached(unsigned slot = 0) const {
        return shader.get_tree_ctx().all_hits_cache[slot];
    }
};

TEST_F(AllHits, EveryCrossedLeafIsCalledNearOnesFirst) {
    build_row(6);
    EXPECT_EQ(run(), (Items{0, 1, 2, 3, 4, 5}));
    batch.set_ray(0, {100.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), (Items{5, 4, 3, 2, 1, 0}));
    batch.set_ray(0, {30.5, -7.0, 0.5}, {0.0, 1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{3});
    batch.set_ray(0, {35.0, -7.0, 0.5}, {0.0, 1.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), Items{});
}

TEST_F(AllHits, NearAndFarDistanceBoundTheRayBothInclusive) {
    build_row(4);
    aim_forward(0, 12.0, 21.0); // from the end of box 1 to the start of box 2
    EXPECT_EQ(run(), (Items{1, 2}));
    aim_forward(0, 12.5, 20.5);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 11.5, 11.75);
    EXPECT_EQ(run(), Items{1});
    aim_forward(0, -50.0, -1.0);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 21.5, 11.5);
    EXPECT_EQ(run(), Items{});
}

TEST_F(AllHits, BothDistancesAreRoundedToFloatBeforeTheTest) {
    build_row(2);
    aim_forward(0, 0.0, std::nextafter(11.0, 0.0)); // rounds up to the entry of box 1
    EXPECT_EQ(run(), (Items{0, 1}));
    aim_forward(0, std::nextafter(2.0, 3.0), far_away); // rounds down to the exit of box 0
    EXPECT_EQ(run(), (Items{0, 1}));
}

TEST_F(AllHits, EqualEntriesVisitTheSecondChildFirst) {
    const Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
    support::build(tree, {box, box});
    EXPECT_EQ(run(), (Items{1, 0}));
    // Also where the near distance makes the entries equal.
    Box longer = box;
    longer.max[0] = 9.0f;
    support::build(tree, {longer, box});
    aim_forward(0, 1.5);
    EXPECT_EQ(run(), (Items{1, 0}));
}

TEST_F(AllHits, ASetFlagStopsTheRayAndIsCached) {
    build_row(6);
    stop_at(2);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_EQ(cached().tree, &tree);
    EXPECT_EQ(cached().leaf, 2u);
}

TEST_F(AllHits, TheCachedLeafStopsTheNextRayBeforeAnyNode) {
    build_row(6);
    stop_at(4);
    run();
    aim_away();
    EXPECT_EQ(run(), Items{4});
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_EQ(cached().tree, &tree);
    EXPECT_EQ(cached().leaf, 4u);
    aim_forward();
    EXPECT_EQ(run(), Items{4});
}

TEST_F(AllHits, ACachedLeafThatDoesNotStopMayBeCalledAgain) {
    build_row(4);
    stop_at(2);
    run();
    never_stop();
    aim_forward();
    EXPECT_EQ(run(), (Items{2, 0, 1, 2, 3}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_F(AllHits, ACachedLeafThatStopsAtItsSecondCallIsCachedAgain) {
    build_row(4);
    stop_at(2);
    run();
    unsigned count = 0;
    calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 2 && ++count == 2)
            rays.set_hit(0);
    };
    aim_forward();
    EXPECT_EQ(run(), (Items{2, 0, 1, 2}));
    EXPECT_EQ(cached().leaf, 2u);
    EXPECT_EQ(cached().tree, &tree);
}

TEST_F(AllHits, AnotherStoppingLeafReplacesTheCachedOne) {
    build_row(4);
    stop_at(2);
    run();
    stop_at(1);
    aim_forward();
    EXPECT_EQ(run(), (Items{2, 0, 1}));
    EXPECT_EQ(cached().leaf, 1u);
}

TEST_F(AllHits, AFullWalkClearsTheEntryOfItsSlotOnly) {
    build_row(4);
    for (int slot = 0; slot < 6; ++slot) {
        stop_at(static_cast<unsigned>(slot) % 4);
        aim_forward(slot);
        run();
    }
    never_stop();
    aim_forward(3);
    EXPECT_EQ(run(), (Items{3, 0, 1, 2, 3}));
    for (unsigned slot = 0; slot < 6; ++slot) {
        EXPECT_EQ(cached(slot).tree, slot == 3 ? nullptr : &tree) << slot;
        if (slot != 3) {
            EXPECT_EQ(cached(slot).leaf, slot % 4) << slot;
        }
    }
    aim_forward(3);
    EXPECT_EQ(run(), (Items{0, 1, 2, 3}));
    stop_at(1);
    aim_away(1);
    EXPECT_EQ(run(), Items{1});
}

TEST_F(AllHits, AFlagSetBeforeTheQueryStopsAfterTheFirstCallback) {
    build_row(4);
    batch.get_ctx().set_hit(0);
    EXPECT_EQ(run(), Items{0});
    EXPECT_EQ(cached().tree, &tree);
    EXPECT_EQ(cached().leaf, 0u);
    aim_away();
    batch.get_ctx().set_hit(0);
    EXPECT_EQ(run(), Items{0}); // the cached leaf
    aim_away(1);
    batch.get_ctx().set_hit(0);
    EXPECT_EQ(run(), Items{}); // no callback, no stop
    EXPECT_EQ(cached(1).tree, nullptr);
}

TEST_F(AllHits, ALeafOfAnotherTreeIsNotTriedButGivesWay) {
    build_row(4);
    GasTree other;
    support::build(other, support::row_of_boxes(3));
    support::RecordingCallbacks other_calls(other);
    stop_at(2);
    run();
    aim_forward();
    trace(other, RayQuery::hit_static, shader, batch.get_ctx());
    EXPECT_EQ(other_calls.take_items(), (Items{0, 1, 2}));
    EXPECT_EQ(cached().tree, nullptr);

    run();
    EXPECT_EQ(cached().tree, &tree);
    other_calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) { rays.set_hit(0); };
    aim_forward();
    trace(other, RayQuery::hit_static, shader, batch.get_ctx());
    EXPECT_EQ(other_calls.take_items(), Items{0});
    EXPECT_EQ(cached().tree, &other);
}

TEST_F(AllHits, ACachedLeafBeyondTheLeafCountIsNotTried) {
    build_row(4);
    stop_at(3);
    run();
    EXPECT_EQ(cached().leaf, 3u);
    build_row(3);
    aim_forward();
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_F(AllHits, TheCacheKeepsLeafPositionsAndReportsTheirItems) {
    support::build(tree, support::row_of_boxes(3), naive::Split::sah_fast, {500, 600, 700});
    stop_at(600);
    EXPECT_EQ(run(), (Items{500, 600}));
    EXPECT_EQ(cached().leaf, 1u);
    aim_away();
    EXPECT_EQ(run(), Items{600});
}

TEST_F(AllHits, AShortenedFarDistanceCullsLaterBoxesButNotPushedLeaves) {
    // Two leaves: both are tested before the first is called.
    build_row(2);
    calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) { rays.set_tfar(0, 0.5); };
    EXPECT_EQ(run(), (Items{0, 1}));
    // Four: the pushed pair is expanded, but its boxes fail against the new far distance.
    build_row(4);
    aim_forward();
    ASSERT_FALSE(tree.get_nodes()[tree.get_nodes()[0].index].flags & 1);
    EXPECT_EQ(run(), (Items{0, 1}));
    aim_forward();
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_tfar(0, item == 1 ? 21.0 : far_away);
    };
    EXPECT_EQ(run(), (Items{0, 1, 2}));
}

TEST_F(AllHits, TheFarDistanceIsReadAfterTheCachedLeaf) {
    build_row(4);
    stop_at(3);
    run();
    calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) { rays.set_tfar(0, 11.5); };
    aim_forward();
    EXPECT_EQ(run(), (Items{3, 0, 1}));
}

TEST_F(AllHits, NoIntersectionMapIsNeeded) {
    build_row(3);
    batch.get_data().use_intersection_map(false);
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(run(RayQuery::hit_motion), (Items{0, 1, 2}));
}

TEST_F(AllHits, TheNearestCacheStaysOutOfIt) {
    build_row(3);
    stop_at(1);
    run();
    run(RayQuery::hit_motion);
    for (const GasCachedLeaf& leaf : shader.get_tree_ctx().nearest_cache)
        EXPECT_EQ(leaf.tree, nullptr);
}

/// A row whose boxes move by 10 along y from sample to sample.
class AllHitsMotion : public AllHits {
  protected:
    void build_moving_row(unsigned count, unsigned sample_count) {
        std::vector<std::vector<Box>> samples;
        for (unsigned sample = 0; sample < sample_count; ++sample) {
            std::vector<Box> boxes = support::row_of_boxes(count);
            for (Box& box : boxes) {
                box.min[1] += 10.0f * static_cast<float>(sample);
                box.max[1] += 10.0f * static_cast<float>(sample);
            }
            samples.push_back(boxes);
        }
        support::build(tree, samples[0]);
        support::fill_samples(tree, samples);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, sample_count));
    }

    /// Whether a ray at height y meets the row at that time.
    bool meets(double y, float time) {
        batch.set_ray(0, {-1.0, y, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, time);
        return !run(RayQuery::hit_motion).empty();
    }
};

TEST_F(AllHitsMotion, BoxesAreBlendedToTheTimeOfTheRay) {
    build_moving_row(4, 3);
    for (const auto& [time, low] :
         {std::pair{0.0f, 0.0}, {0.25f, 5.0}, {0.5f, 10.0}, {0.75f, 15.0}, {1.0f, 20.0}}) {
        EXPECT_TRUE(meets(low, time)) << time;
        EXPECT_TRUE(meets(low + 1.0, time)) << time;
        EXPECT_FALSE(meets(low - 0.001, time)) << time;
        EXPECT_FALSE(meets(low + 1.001, time)) << time;
    }
}

TEST_F(AllHitsMotion, TimesOutsideTheShutterCountAsItsEnds) {
    build_moving_row(4, 3);
    EXPECT_TRUE(meets(0.5, -7.0f));
    EXPECT_TRUE(meets(20.5, 7.0f));
    EXPECT_TRUE(meets(0.5, std::nanf("")));
    EXPECT_FALSE(meets(0.5, 7.0f));
}

TEST_F(AllHitsMotion, AShaderWithoutMotionBlurSeesTheFirstSample) {
    build_moving_row(4, 3);
    shader.set_motion_blur(CtxMotionBlur());
    EXPECT_TRUE(meets(0.5, 1.0f));
    EXPECT_FALSE(meets(20.5, 1.0f));
}

TEST_F(AllHitsMotion, TheMotionCallbackServesWalkAndCache) {
    build_moving_row(3, 2);
    stop_at(1);
    trace(tree, RayQuery::hit_motion, shader, batch.get_ctx());
    aim_away();
    trace(tree, RayQuery::hit_motion, shader, batch.get_ctx());
    ASSERT_EQ(calls.calls.size(), 3u);
    for (const support::LeafCall& call : calls.calls)
        EXPECT_EQ(call.callback, RayQuery::hit_motion);
    EXPECT_EQ(calls.take_items(), (Items{0, 1, 1}));
}

TEST_F(AllHitsMotion, StaticAndMotionRaysShareTheCache) {
    build_moving_row(3, 2);
    stop_at(1);
    run(RayQuery::hit_static);
    aim_away();
    EXPECT_EQ(run(RayQuery::hit_motion), Items{1});
    never_stop();
    aim_away();
    EXPECT_EQ(run(RayQuery::hit_motion), Items{1});
    EXPECT_EQ(cached().tree, nullptr);
}

/// A batch of one ray whose cache slot no owner of rays would accept.
struct LooseRay {
    explicit LooseRay(int slot) {
        ray.line = GMathBasicRay({-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0});
        ray.cache_slot = slot;
        map.init(1, &far_distance);
        data.set_rays({&ray, &near_distance, &far_distance, &hit_flag}, 1, &map);
    }

    GeometryRay ray;
    double near_distance = 0.0;
    double far_distance = far_away;
    unsigned char hit_flag = 0;
    GeometryIntersectionMap map;
    GeometryRaytraceData data;
};

#ifdef NDEBUG
TEST_F(AllHitsMotion, ACacheSlotOutOfRangeIsHarmless) {
    build_moving_row(3, 2);
    for (const int slot : {-1, 6, 1 << 30, -(1 << 30)}) {
        for (const RayQuery query : support::all_ray_queries) {
            LooseRay loose(slot);
            trace(tree, query, shader, loose.data.get_ctx());
            EXPECT_EQ(calls.take_items(), (Items{0, 1, 2}));
        }
    }
}

TEST_F(AllHitsMotion, ASampleThatWasNeverFilledIsHarmless) {
    build_moving_row(3, 2);
    tree.set_motion_blur_sample_count(4);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion}) {
        for (const float time : {0.5f, 1.0f}) { // its later sample, both
            aim_forward_at(time);
            EXPECT_EQ(run(query), Items{});
        }
        aim_forward_at(0.0f);
        EXPECT_EQ(run(query), (Items{0, 1, 2}));
    }
}

TEST_F(AllHitsMotion, MoreShaderSamplesThanTheTreeHasAreHarmless) {
    build_moving_row(3, 2);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 9));
    for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion}) {
        for (const float time : {0.0f, 0.3f, 1.0f}) {
            aim_forward_at(time);
            run(query);
        }
    }
    EXPECT_TRUE(meets(0.5, 0.0f));
    EXPECT_TRUE(meets(10.5, 1.0f)); // the last span that there is
}
#else
TEST_F(AllHitsMotion, ACacheSlotOutOfRangeAsserts) {
    build_moving_row(3, 2);
    for (const int slot : {-1, 6}) {
        for (const RayQuery query : support::all_ray_queries) {
            LooseRay loose(slot);
            EXPECT_DEATH(trace(tree, query, shader, loose.data.get_ctx()), "cache slots");
        }
    }
}

TEST_F(AllHitsMotion, ASampleThatWasNeverFilledAsserts) {
    build_moving_row(3, 2);
    tree.set_motion_blur_sample_count(4);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    aim_forward_at(1.0f);
    EXPECT_DEATH(run(RayQuery::hit_motion), "never filled");
    EXPECT_DEATH(run(RayQuery::nearest_motion), "never filled");
}

TEST_F(AllHitsMotion, MoreShaderSamplesThanTheTreeHasAssert) {
    build_moving_row(3, 2);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 9));
    aim_forward_at(1.0f);
    EXPECT_DEATH(run(RayQuery::hit_motion), "more motion-blur samples");
    EXPECT_DEATH(run(RayQuery::nearest_motion), "more motion-blur samples");
}
#endif

} // namespace
