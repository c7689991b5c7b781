#include <gtest/gtest.h>

#include <vector>

#include <tests/support/counted_trace.h>
#include <tests/support/ray_maker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using support::trace_counted;
using Items = std::vector<unsigned>;

class CountedCompressedRays : public testing::TestWithParam<RayQuery> {
  protected:
    CountedCompressedRays() : calls(tree) { shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2)); }

    void build_row(unsigned count) {
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }

    /// Traces rays along the row, or away from it.
    GasWalkCounts run(unsigned ray_count, double direction = 1.0) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {direction, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
        GasWalkCounts counts;
        trace_counted(tree, GetParam(), shader, batch.get_ctx(), counts);
        return counts;
    }

    GasCompressedTree tree;
    RecordingCallbacks calls;
    TestShader shader;
};

} // namespace

TEST_P(CountedCompressedRays, AFullWalkExpandsEveryNodeAndCallsEveryLeaf) {
    for (const unsigned count : {2u, 3u, 8u, 31u}) {
        build_row(count);
        const GasWalkCounts counts = run(1);
        EXPECT_EQ(counts.visited_nodes, count - 1);
        EXPECT_EQ(counts.leaf_calls, count);
        EXPECT_EQ(calls.take_items().size(), count);
    }
}

TEST_P(CountedCompressedRays, ALoneItemIsCalledWithoutAVisit) {
    build_row(1);
    for (const unsigned ray_count : {1u, 3u}) {
        const GasWalkCounts counts = run(ray_count);
        EXPECT_EQ(counts.visited_nodes, 0u);
        EXPECT_EQ(counts.leaf_calls, 1u);
    }
}

TEST_P(CountedCompressedRays, AMissVisitsTheRootAlone) {
    for (const unsigned count : {3u, 64u}) { // without packets and with them
        build_row(count);
        EXPECT_EQ(run(1, -1.0).visited_nodes, 1u);
        const GasWalkCounts counts = run(3, -1.0);
        EXPECT_EQ(counts.visited_nodes, support::goes_together(GetParam()) ? 1u : 3u);
        EXPECT_EQ(counts.leaf_calls, 0u);
    }
}

TEST_P(CountedCompressedRays, ABatchTestsItsNodesOnceWhereItGoesTogether) {
    build_row(8);
    const GasWalkCounts counts = run(3);
    const bool together = support::goes_together(GetParam());
    EXPECT_EQ(counts.visited_nodes, together ? 15u : 3u * 7u);
    EXPECT_EQ(counts.leaf_calls, together ? 8u : 3u * 8u);
}

TEST_P(CountedCompressedRays, CallbacksAndResultsAreThoseOfThePlainQueries) {
    support::SeededRandom random(9);
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 120, 4);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, scenes::make(kind, 120, 5)});
        support::RayMaker maker(random, boxes);
        TestShader plain_shader;
        plain_shader.set_motion_blur(shader.get_motion_blur());
        TestShader counted_shader;
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
            trace(tree, GetParam(), plain_shader, batch.get_ctx());
            const double plain_distance = batch.get_hit_distance(0);
            const Items plain_items = calls.take_items();
            batch.reset_hits();
            GasWalkCounts counts;
            trace_counted(tree, GetParam(), counted_shader, batch.get_ctx(), counts);
            EXPECT_EQ(batch.get_hit_distance(0), plain_distance);
            EXPECT_EQ(counts.leaf_calls, plain_items.size());
            EXPECT_EQ(calls.take_items(), plain_items);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Queries, CountedCompressedRays,
                         testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });
