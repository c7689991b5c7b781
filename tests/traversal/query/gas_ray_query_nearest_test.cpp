// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/row_ray.h>

namespace {

using naive::Box;
using support::far_away;
using support::RayQuery;
using Items = std::vector<unsigned>;

class NearestHit : public testing::TestWithParam<RayQuery>, protected support::RowRay<GasTree> {
  protected:
    NearestHit() {
        aim_forward_at(0.5f);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void build(const std::vector<Box>& boxes, const std::vector<unsigned>& indices = {}) {
        support::build(tree, boxes, naive::Split::sah_fast, indices);
        support::fill_samples(tree, {boxes, boxes});
    }
    void build_row(unsigned count) { build(support::row_of_boxes(count)); }

    Items run() { return RowRay::run(GetParam()); }

    /// Callbacks record these hits, item to distance, and no others.
    void hit_at(const std::map<unsigned, double>& distances) {
        calls.react = [distances](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
            if (const auto hit = distances.find(item); hit != distances.end())
                rays.record_nearest_hit(0, hit->second, item);
        };
    }

    static GeometryIntersectionPath& path_of(GeometryRaytraceCtx& rays) {
        return rays.get_intersection_path(0);
    }

    const GasCachedLeaf& cached(unsigned slot = 0) const {
        return shader.get_tree_ctx().nearest_cache[slot];
    }
};

TEST_P(NearestHit, WithoutHitsEveryCrossedLeafIsCalledOnceNearOnesFirst) {
    build_row(6);
    EXPECT_EQ(run(), (Items{0, 1, 2, 3, 4, 5}));
    EXPECT_FALSE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().tree, nullptr);
    batch.set_ray(0, {100.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away);
    EXPECT_EQ(run(), (Items{5, 4, 3, 2, 1, 0}));
}

TEST_P(NearestHit, AHitCullsWhatLiesBehindIt) {
    build_row(6);
    hit_at({{0, 1.0}, {1, 11.0}});
    EXPECT_EQ(run(), Items{0});
    EXPECT_EQ(batch.get_hit_distance(0), 1.0);
    EXPECT_EQ(batch.get_item(0), 0u);
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_TRUE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().tree, &tree);
    EXPECT_EQ(cached().leaf, 0u);
}

TEST_P(NearestHit, AHitBehindTheNextBoxLetsItBeVisited) {
    build_row(6);
    hit_at({{0, 30.0}, {1, 29.0}, {2, 28.0}});
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(batch.get_item(0), 2u);
    EXPECT_EQ(cached().leaf, 2u);
}

TEST_P(NearestHit, TheBestHitIsCachedNotTheLastTried) {
    build_row(6);
    hit_at({{0, 30.0}, {1, 25.0}, {2, 26.0}});
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(cached().leaf, 1u);
}

TEST_P(NearestHit, EqualEntriesVisitTheSecondChildFirst) {
    const Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
    build({box, box});
    EXPECT_EQ(run(), (Items{1, 0}));
    aim_forward();
    hit_at({{0, 1.0}, {1, 1.0}}); // the waiting child starts at the hit distance
    EXPECT_EQ(run(), Items{1});
    EXPECT_EQ(batch.get_item(0), 1u);
}

TEST_P(NearestHit, AnEntryEqualToTheHitDistanceIsSkippedAndTheNextDoubleIsNot) {
    build_row(2);
    hit_at({{0, 11.0}});
    EXPECT_EQ(run(), Items{0});
    shader.get_tree_ctx().nearest_cache[0].tree = nullptr;
    aim_forward();
    hit_at({{0, std::nextafter(11.0, 12.0)}});
    EXPECT_EQ(run(), (Items{0, 1}));
}

TEST_P(NearestHit, ARootAtOrBeyondTheHitDistanceIsSkipped) {
    build_row(3);
    aim_forward(0, 5.0, 5.0);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 0.0, 0.0);
    EXPECT_EQ(run(), Items{});
    build_row(1);
    aim_forward(0, 5.0, 5.0);
    EXPECT_EQ(run(), Items{});
    aim_forward(0, 5.0, 5.5); // the root's box is not tested: it lies before the near distance
    EXPECT_EQ(run(), Items{0});
}

TEST_P(NearestHit, TheHitDistanceBoundsTheRayNotTheFarDistance) {
    build_row(4);
    batch.get_ctx().set_tfar(0, 0.5);
    EXPECT_EQ(run(), (Items{0, 1, 2, 3}));
    aim_forward();
    batch.get_ctx().get_intersection_path(0).set_hit_distance(20.0);
    EXPECT_EQ(run(), (Items{0, 1}));
    // The exit bound is inclusive in floats, the cull is not.
    aim_forward();
    batch.get_ctx().get_intersection_path(0).set_hit_distance(21.0);
    EXPECT_EQ(run(), (Items{0, 1}));
}

TEST_P(NearestHit, ThePretestedLeafIsNotCalledAgain) {
    build_row(4);
    hit_at({{2, 22.0}});
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(cached().leaf, 2u);
    aim_forward();
    EXPECT_EQ(run(), (Items{2, 0, 1})); // and it shortens the ray for the walk
    EXPECT_EQ(cached().leaf, 2u);
    EXPECT_EQ(cached().tree, &tree);
    EXPECT_TRUE(shader.get_tree_ctx().found);
    aim_forward();
    hit_at({});
    EXPECT_EQ(run(), (Items{2, 0, 1, 3}));
    EXPECT_FALSE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, ThePretestedLeafIsCalledEvenOffTheRay) {
    build_row(4);
    hit_at({{2, 22.0}});
    run();
    aim_away();
    EXPECT_EQ(run(), Items{2});
    EXPECT_EQ(cached().tree, &tree); // the callback took it for a hit
    aim_away();
    hit_at({});
    EXPECT_EQ(run(), Items{2});
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, ThePretestedLeafIsRememberedWhileTheCacheMovesOn) {
    build_row(4);
    hit_at({{3, 32.0}});
    run();
    EXPECT_EQ(cached().leaf, 3u);
    aim_forward();
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 900.0 - item, item);
    };
    EXPECT_EQ(run(), (Items{3, 0, 1, 2}));
    EXPECT_EQ(cached().leaf, 3u); // 897 stayed the nearest
    aim_forward();
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 900.0 + item, item);
    };
    EXPECT_EQ(run(), (Items{3, 0, 1, 2}));
    EXPECT_EQ(cached().leaf, 0u);
    EXPECT_EQ(batch.get_hit_distance(0), 900.0);
}

TEST_P(NearestHit, ALeafOfAnotherTreeIsNotPretestedNorSpared) {
    build_row(4);
    hit_at({{1, 500.0}});
    run();
    GasTree other;
    support::build(other, support::row_of_boxes(4));
    support::fill_samples(other, {support::row_of_boxes(4), support::row_of_boxes(4)});
    support::RecordingCallbacks other_calls(other);
    aim_forward();
    trace(other, GetParam(), shader, batch.get_ctx());
    EXPECT_EQ(other_calls.take_items(), (Items{0, 1, 2, 3}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, ACachedLeafBeyondTheLeafCountIsNotTried) {
    build_row(4);
    hit_at({{3, 500.0}});
    run();
    build_row(3);
    aim_forward();
    EXPECT_EQ(run(), (Items{0, 1, 2}));
}

TEST_P(NearestHit, AFlagWithoutALowerDistanceIsNoHit) {
    build_row(3);
    const auto only_flag = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) { rays.set_hit(0); };
    calls.react = only_flag;
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_FALSE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().tree, nullptr);

    hit_at({{1, 500.0}});
    aim_forward();
    run();
    EXPECT_EQ(cached().leaf, 1u);
    calls.react = only_flag;
    aim_forward();
    EXPECT_EQ(run(), (Items{1, 0, 2}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, ALowerDistanceWithoutAFlagCullsButIsNoHit) {
    build_row(6);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 1)
            path_of(rays).set_hit_distance(21.0);
    };
    EXPECT_EQ(run(), (Items{0, 1}));
    EXPECT_FALSE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, AFlagSetEarlierMakesEveryLowerDistanceAHit) {
    build_row(6);
    batch.get_ctx().set_hit(0);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 1)
            path_of(rays).set_hit_distance(21.0);
    };
    EXPECT_EQ(run(), (Items{0, 1}));
    EXPECT_TRUE(shader.get_tree_ctx().found);
    EXPECT_EQ(cached().leaf, 1u);
    EXPECT_EQ(cached().tree, &tree);
}

TEST_P(NearestHit, AnEqualDistanceIsNoHit) {
    build_row(3);
    calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_hit(0);
        path_of(rays).set_hit_distance(path_of(rays).get_hit_distance());
    };
    EXPECT_EQ(run(), (Items{0, 1, 2}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, ALongerDistanceReopensTheRay) {
    build_row(4);
    aim_forward(0, 0.0, 12.0);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_hit(0);
        path_of(rays).set_hit_distance(item == 1 ? far_away : 12.0);
    };
    // Boxes 2 and 3 were culled against 12 already when box 1 reopened the ray.
    EXPECT_EQ(run(), (Items{0, 1}));
    EXPECT_EQ(cached().tree, nullptr);
}

TEST_P(NearestHit, SlotsAreIndependentAndAHitlessWalkClearsItsOwn) {
    build_row(4);
    for (int slot = 0; slot < 6; ++slot) {
        aim_forward(slot);
        hit_at({{static_cast<unsigned>(slot) % 4, 500.0}});
        run();
    }
    hit_at({});
    aim_forward(2);
    EXPECT_EQ(run(), (Items{2, 0, 1, 3}));
    for (unsigned slot = 0; slot < 6; ++slot) {
        EXPECT_EQ(cached(slot).tree, slot == 2 ? nullptr : &tree) << slot;
        if (slot != 2) {
            EXPECT_EQ(cached(slot).leaf, slot % 4) << slot;
        }
        EXPECT_EQ(shader.get_tree_ctx().all_hits_cache[slot].tree, nullptr);
    }
}

TEST_P(NearestHit, TheCacheKeepsLeafPositionsAndReportsTheirItems) {
    build(support::row_of_boxes(3), {900, 800, 900});
    hit_at({{800, 11.5}});
    EXPECT_EQ(run(), (Items{900, 800}));
    EXPECT_EQ(cached().leaf, 1u);
    aim_forward();
    EXPECT_EQ(run(), (Items{800, 900}));
    // Leaves are told apart by position, not by item: both leaves 900 are called.
    aim_forward();
    hit_at({{900, 700.0}});
    EXPECT_EQ(run(), (Items{800, 900, 900}));
}

TEST_P(NearestHit, AStandingStateOfTheFoundFlagDoesNotCount) {
    build_row(2);
    shader.get_tree_ctx().found = true;
    run();
    EXPECT_FALSE(shader.get_tree_ctx().found);
}

TEST_P(NearestHit, ItsOwnCallbackServesWalkAndCache) {
    build_row(3);
    hit_at({{1, 11.5}});
    trace(tree, GetParam(), shader, batch.get_ctx());
    aim_forward();
    trace(tree, GetParam(), shader, batch.get_ctx());
    for (const support::LeafCall& call : calls.calls)
        EXPECT_EQ(call.callback, GetParam());
    EXPECT_EQ(calls.take_items(), (Items{0, 1, 1, 0}));
}

INSTANTIATE_TEST_SUITE_P(Queries, NearestHit,
                         testing::Values(RayQuery::nearest_static, RayQuery::nearest_motion),
                         [](const auto& query) { return support::name(query.param); });

/// Two boxes that swap places along the ray between the samples.
class NearestMotion : public testing::Test {
  protected:
    NearestMotion() : calls(tree), batch(1) {
        const std::vector<Box> opening = support::row_of_boxes(2);
        support::build(tree, opening);
        support::fill_samples(tree, {opening, {opening[1], opening[0]}});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void aim(float time) {
        batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, time);
    }
    Items run() {
        trace(tree, RayQuery::nearest_motion, shader, batch.get_ctx());
        return calls.take_items();
    }

    GasTree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
    GeometryRayBatch batch;
};

TEST_F(NearestMotion, TheOrderIsThatOfTheBlendedBoxes) {
    for (const auto& [time, order] : {std::pair{0.0f, Items{0, 1}},
                                      {0.25f, Items{0, 1}},
                                      {0.5f, Items{1, 0}},
                                      {0.75f, Items{1, 0}},
                                      {1.0f, Items{1, 0}},
                                      {-3.0f, Items{0, 1}},
                                      {3.0f, Items{1, 0}},
                                      {std::numeric_limits<float>::quiet_NaN(), Items{0, 1}}}) {
        aim(time);
        EXPECT_EQ(run(), order) << time;
    }
}

TEST_F(NearestMotion, TheTimeIsResolvedAfterTheCachedLeaf) {
    aim(1.0f);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 500.0 + item, item);
    };
    EXPECT_EQ(run(), (Items{1, 0}));
    // The cached leaf 0 makes the shutter so long that the time is its opening; leaf 1 alone is
    // left for the walk, and it is off the ray beyond distance 6 at the opening.
    calls.react = [](unsigned, CtxShader& inside, GeometryRaytraceCtx& rays) {
        inside.set_motion_blur(CtxMotionBlur(0.0f, 1e30f, 2));
        rays.record_nearest_hit(0, 6.0, 0);
    };
    aim(1.0f);
    EXPECT_EQ(run(), Items{0});
}

} // namespace
