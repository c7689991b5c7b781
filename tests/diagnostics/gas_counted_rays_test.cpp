// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/counted_trace.h>
#include <tests/support/ray_maker.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

namespace {

using naive::Box;
using support::RayQuery;

/// Queries along a row of boxes.
template <typename Traced> class CountedRays : public testing::Test {
  protected:
    static constexpr RayQuery query = Traced::query;

    CountedRays() : calls(tree) { shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2)); }

    void build_row(unsigned count) {
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }

    void trace(CtxShader& with, GeometryRaytraceCtx& rays, GasWalkCounts& counts,
               bool shortcut = false) {
        if constexpr (support::is_compressed<typename Traced::Tree>)
            support::trace_counted(tree, query, with, rays, counts);
        else
            support::trace_counted(tree, query, with, rays, counts, shortcut);
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

    typename Traced::Tree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
};

TYPED_TEST_SUITE(CountedRays, support::BothTreesQueries, support::TreeQueryNames);

} // namespace

TYPED_TEST(CountedRays, AFullWalkExpandsEveryInnerNodeAndCallsEveryLeaf) {
    for (const unsigned count : {2u, 3u, 8u, 31u}) {
        this->build_row(count);
        const GasWalkCounts counts = this->run(1);
        EXPECT_EQ(counts.visited_nodes, count - 1);
        EXPECT_EQ(counts.leaf_calls, count);
        EXPECT_EQ(this->calls.take_items().size(), count);
    }
}

TYPED_TEST(CountedRays, ALoneLeafIsCalledWithoutAVisit) {
    this->build_row(1);
    const auto expect_a_call = [](const GasWalkCounts& counts) {
        EXPECT_EQ(counts.visited_nodes, 0u);
        EXPECT_EQ(counts.leaf_calls, 1u);
    };
    expect_a_call(this->run(1, 1.0, false));
    expect_a_call(this->run(1, 1.0, true));
    expect_a_call(this->run(3, 1.0, true));
}

TYPED_TEST(CountedRays, AMissVisitsTheRootAlone) {
    for (const unsigned count : {3u, 16u, 64u}) { // without packets and with them
        this->build_row(count);
        const GasWalkCounts alone = this->run(1, -1.0);
        EXPECT_EQ(alone.visited_nodes, 1u);
        EXPECT_EQ(alone.leaf_calls, 0u);
        const GasWalkCounts batch = this->run(3, -1.0);
        EXPECT_EQ(batch.visited_nodes, support::goes_together(this->query) ? 1u : 3u);
        EXPECT_EQ(batch.leaf_calls, 0u);
    }
}

TYPED_TEST(CountedRays, AHitInTheFirstLeafLeavesTheOtherSubtreesUnexpanded) {
    this->build_row(4); // two pairs: the root and the first pair are expanded, then leaf 0 is hit
    this->calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 1.0, item);
    };
    GasWalkCounts counts = this->run(1);
    EXPECT_EQ(counts.visited_nodes, 2u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(this->calls.take_items(), std::vector<unsigned>{0});
    // With the leaf cached: an all-hits ray stops there, a nearest one walks the path to it again.
    counts = this->run(1);
    EXPECT_EQ(counts.visited_nodes, support::is_nearest(this->query) ? 1u : 0u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(this->calls.take_items(), std::vector<unsigned>{0});
}

TYPED_TEST(CountedRays, CountsAddUpOverRaysAndCalls) {
    this->build_row(8);
    // Rays on their own expand 7 inner nodes each; together they test the boxes of all 15 nodes.
    const bool together = support::goes_together(this->query);
    GasWalkCounts counts;
    for (unsigned repeat = 1; repeat <= 2; ++repeat) {
        this->add(counts, 3);
        EXPECT_EQ(counts.visited_nodes, (together ? 15u : 3u * 7u) * repeat);
        EXPECT_EQ(counts.leaf_calls, (together ? 8u : 3u * 8u) * repeat);
    }
}

TYPED_TEST(CountedRays, NothingIsCountedWithoutFramesOrNodes) {
    GasWalkCounts counts = this->run(1);
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
    this->build_row(4);
    CtxShader bare;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    this->trace(bare, batch.get_ctx(), counts);
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
}

TYPED_TEST(CountedRays, CallbacksAndResultsAreThoseOfThePlainQueries) {
    support::SeededRandom random(9);
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 120, 4);
        support::build(this->tree, boxes);
        support::fill_samples(this->tree, {boxes, scenes::make(kind, 120, 5)});
        support::RayMaker maker(random, boxes);
        support::TestShader plain_shader;
        plain_shader.set_motion_blur(this->shader.get_motion_blur());
        support::TestShader counted_shader;
        counted_shader.set_motion_blur(this->shader.get_motion_blur());
        GeometryRayBatch batch(1);
        for (unsigned i = 0; i < 50; ++i) {
            const support::RaySpec spec = maker.make(0.0f, 1.0f);
            batch.set_ray(0, {spec.origin[0], spec.origin[1], spec.origin[2]},
                          {spec.direction[0], spec.direction[1], spec.direction[2]},
                          spec.near_distance, spec.far_distance, spec.time, spec.cache_slot);
            this->calls.react = [&spec](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                support::SeededRandom dice(spec.seed + item);
                if (dice.below(3) == 0)
                    rays.record_nearest_hit(0, dice.uniform_double() * spec.scale, item);
            };
            support::trace(this->tree, this->query, plain_shader, batch.get_ctx());
            const double plain_distance = batch.get_hit_distance(0);
            const std::vector<unsigned> plain_items = this->calls.take_items();
            batch.reset_hits();
            GasWalkCounts counts;
            this->trace(counted_shader, batch.get_ctx(), counts);
            EXPECT_EQ(batch.get_hit_distance(0), plain_distance);
            EXPECT_EQ(counts.leaf_calls, plain_items.size());
            EXPECT_EQ(this->calls.take_items(), plain_items);
        }
    }
}
