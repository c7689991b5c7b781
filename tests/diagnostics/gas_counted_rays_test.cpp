// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include <tests/support/counted_trace.h>
#include <tests/support/either_tree.h>
#include <tests/support/ray_maker.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using support::RayQuery;

/// Queries along a row of boxes.
class CountedRays : public testing::TestWithParam<support::ClassAndQuery> {
  protected:
    CountedRays() : tree(std::get<support::TreeClass>(GetParam())), calls(tree) {
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void build_row(unsigned count) {
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }

    void trace(CtxShader& with, GeometryRaytraceCtx& rays, GasWalkCounts& counts,
               bool shortcut = false) {
        tree.visit([&](auto& counted) {
            if constexpr (support::is_compressed<std::decay_t<decltype(counted)>>)
                support::trace_counted(counted, query, with, rays, counts);
            else
                support::trace_counted(counted, query, with, rays, counts, shortcut);
        });
    }

    /// Traces rays along the row, or away from it.
    void add(GasWalkCounts& counts, unsigned ray_count, double direction = 1.0,
             bool shortcut = false) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {direction, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
        trace(shader, batch.get_ctx(), counts, shortcut);
    }
    GasWalkCounts run(unsigned ray_count, double direction = 1.0, bool shortcut = false) {
        GasWalkCounts counts;
        add(counts, ray_count, direction, shortcut);
        return counts;
    }

    const RayQuery query = std::get<RayQuery>(GetParam());
    support::EitherTree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
};

INSTANTIATE_TEST_SUITE_P(Trees, CountedRays, support::all_classes_and_queries,
                         support::name_class_and_query);

} // namespace

TEST_P(CountedRays, AFullWalkExpandsEveryInnerNodeAndCallsEveryLeaf) {
    for (const unsigned count : {2u, 3u, 8u, 31u}) {
        build_row(count);
        const GasWalkCounts counts = run(1);
        EXPECT_EQ(counts.visited_nodes, count - 1);
        EXPECT_EQ(counts.leaf_calls, count);
        EXPECT_EQ(calls.take_items().size(), count);
    }
}

TEST_P(CountedRays, ALoneLeafIsCalledWithoutAVisit) {
    build_row(1);
    const auto expect_a_call = [](const GasWalkCounts& counts) {
        EXPECT_EQ(counts.visited_nodes, 0u);
        EXPECT_EQ(counts.leaf_calls, 1u);
    };
    expect_a_call(run(1, 1.0, false));
    expect_a_call(run(1, 1.0, true));
    expect_a_call(run(3, 1.0, true));
}

TEST_P(CountedRays, AMissVisitsTheRootAlone) {
    for (const unsigned count : {3u, 16u, 64u}) { // without packets and with them
        build_row(count);
        const GasWalkCounts alone = run(1, -1.0);
        EXPECT_EQ(alone.visited_nodes, 1u);
        EXPECT_EQ(alone.leaf_calls, 0u);
        const GasWalkCounts batch = run(3, -1.0);
        EXPECT_EQ(batch.visited_nodes, support::goes_together(query) ? 1u : 3u);
        EXPECT_EQ(batch.leaf_calls, 0u);
    }
}

TEST_P(CountedRays, AHitInTheFirstLeafLeavesTheOtherSubtreesUnexpanded) {
    build_row(4); // two pairs: the root and the first pair are expanded, then leaf 0 is hit
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 1.0, item);
    };
    GasWalkCounts counts = run(1);
    EXPECT_EQ(counts.visited_nodes, 2u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(calls.take_items(), std::vector<unsigned>{0});
    // With the leaf cached: an all-hits ray stops there, a nearest one walks the path to it again.
    counts = run(1);
    EXPECT_EQ(counts.visited_nodes, support::is_nearest(query) ? 1u : 0u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(calls.take_items(), std::vector<unsigned>{0});
}

TEST_P(CountedRays, CountsAddUpOverRaysAndCalls) {
    build_row(8);
    // Rays on their own expand 7 inner nodes each; together they test the boxes of all 15 nodes.
    const bool together = support::goes_together(query);
    GasWalkCounts counts;
    for (unsigned repeat = 1; repeat <= 2; ++repeat) {
        add(counts, 3);
        EXPECT_EQ(counts.visited_nodes, (together ? 15u : 3u * 7u) * repeat);
        EXPECT_EQ(counts.leaf_calls, (together ? 8u : 3u * 8u) * repeat);
    }
}

TEST_P(CountedRays, NothingIsCountedWithoutFramesOrNodes) {
    GasWalkCounts counts = run(1);
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
    build_row(4);
    CtxShader bare;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    trace(bare, batch.get_ctx(), counts);
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
}

TEST_P(CountedRays, CallbacksAndResultsAreThoseOfThePlainQueries) {
    support::SeededRandom random(9);
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 120, 4);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, scenes::make(kind, 120, 5)});
        support::RayMaker maker(random, boxes);
        support::TestShader plain_shader;
        plain_shader.set_motion_blur(shader.get_motion_blur());
        support::TestShader counted_shader;
        counted_shader.set_motion_blur(shader.get_motion_blur());
        GeometryRayBatch batch(1);
        for (unsigned i = 0; i < 50; ++i) {
            const support::RaySpec spec = maker.make(0.0f, 1.0f);
            batch.set_ray(0, {spec.origin[0], spec.origin[1], spec.origin[2]},
                          {spec.direction[0], spec.direction[1], spec.direction[2]},
                          spec.near_distance, spec.far_distance, spec.time, spec.cache_slot);
            calls.react = [&spec](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                support::SeededRandom dice(spec.seed + item);
                if (dice.below(3) == 0)
                    rays.record_nearest_hit(0, dice.uniform_double() * spec.scale, item);
            };
            support::trace(tree, query, plain_shader, batch.get_ctx());
            const double plain_distance = batch.get_hit_distance(0);
            const std::vector<unsigned> plain_items = calls.take_items();
            batch.reset_hits();
            GasWalkCounts counts;
            trace(counted_shader, batch.get_ctx(), counts);
            EXPECT_EQ(batch.get_hit_distance(0), plain_distance);
            EXPECT_EQ(counts.leaf_calls, plain_items.size());
            EXPECT_EQ(calls.take_items(), plain_items);
        }
    }
}
