#include <gtest/gtest.h>

#include <vector>

#include <tests/support/counted_trace.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using support::trace_counted;
using Items = std::vector<unsigned>;

class CountedRays : public testing::TestWithParam<RayQuery> {
  protected:
    CountedRays() : calls(tree), batch(1) {
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        aim_forward();
    }

    void build_row(unsigned count) {
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }

    void aim_forward() { batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, 0.5f); }

    GasWalkCounts run(bool shortcut = false) {
        GasWalkCounts counts;
        trace_counted(tree, GetParam(), shader, batch.get_ctx(), counts, shortcut);
        return counts;
    }

    GasTree tree;
    RecordingCallbacks calls;
    TestShader shader;
    GeometryRayBatch batch;
};

TEST_P(CountedRays, AFullWalkExpandsEveryInnerNodeAndCallsEveryLeaf) {
    for (const unsigned count : {2u, 3u, 8u, 31u}) {
        build_row(count);
        const GasWalkCounts counts = run();
        EXPECT_EQ(counts.visited_nodes, count - 1);
        EXPECT_EQ(counts.leaf_calls, count);
        EXPECT_EQ(calls.take_items().size(), count);
    }
}

TEST_P(CountedRays, ALoneLeafIsCalledWithoutAVisit) {
    build_row(1);
    for (const bool shortcut : {true, false}) {
        const GasWalkCounts counts = run(shortcut);
        EXPECT_EQ(counts.visited_nodes, 0u);
        EXPECT_EQ(counts.leaf_calls, 1u);
    }
}

TEST_P(CountedRays, AMissVisitsTheRootAlone) {
    build_row(16);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1000.0);
    const GasWalkCounts counts = run();
    EXPECT_EQ(counts.visited_nodes, 1u);
    EXPECT_EQ(counts.leaf_calls, 0u);
}

TEST_P(CountedRays, AHitInTheFirstLeafLeavesTheOtherSubtreesUnexpanded) {
    build_row(4); // two pairs: the root and the first pair are expanded, then leaf 0 is hit
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.record_nearest_hit(0, 1.0, item);
    };
    GasWalkCounts counts = run();
    EXPECT_EQ(counts.visited_nodes, 2u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(calls.take_items(), Items{0});
    // With the leaf cached: an all-hits ray stops there, a nearest one walks the path to it again.
    aim_forward();
    counts = run();
    EXPECT_EQ(counts.visited_nodes, support::is_nearest(GetParam()) ? 1u : 0u);
    EXPECT_EQ(counts.leaf_calls, 1u);
    EXPECT_EQ(calls.take_items(), Items{0});
}

TEST_P(CountedRays, CountsAddUpOverRaysAndCalls) {
    build_row(8);
    GeometryRayBatch three(3);
    for (unsigned ray = 0; ray < 3; ++ray)
        three.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    // Rays on their own expand 7 inner nodes each; together they test the boxes of all 15 nodes.
    const bool together = support::goes_together(GetParam());
    GasWalkCounts counts;
    for (unsigned repeat = 1; repeat <= 2; ++repeat) {
        trace_counted(tree, GetParam(), shader, three.get_ctx(), counts, false);
        EXPECT_EQ(counts.visited_nodes, (together ? 15u : 3u * 7u) * repeat);
        EXPECT_EQ(counts.leaf_calls, (together ? 8u : 3u * 8u) * repeat);
    }
}

TEST_P(CountedRays, ABatchThatMissesTheRootTestsTheRootAlone) {
    for (const unsigned count : {3u, 64u}) { // without packets and with them
        build_row(count);
        GeometryRayBatch three(3);
        for (unsigned ray = 0; ray < 3; ++ray)
            three.set_ray(ray, {-1.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1000.0);
        GasWalkCounts counts;
        trace_counted(tree, GetParam(), shader, three.get_ctx(), counts, false);
        EXPECT_EQ(counts.visited_nodes, support::goes_together(GetParam()) ? 1u : 3u);
        EXPECT_EQ(counts.leaf_calls, 0u);
    }
}

TEST_P(CountedRays, NothingIsCountedWithoutFramesOrNodes) {
    GasWalkCounts counts = run();
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
    build_row(4);
    CtxShader bare;
    trace_counted(tree, GetParam(), bare, batch.get_ctx(), counts, false);
    EXPECT_EQ(counts.visited_nodes + counts.leaf_calls, 0u);
}

TEST_P(CountedRays, CallbacksAndResultsAreThoseOfThePlainQueries) {
    support::SeededRandom random(9);
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 120, 4);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, scenes::make(kind, 120, 5)});
        TestShader plain_shader;
        plain_shader.set_motion_blur(shader.get_motion_blur());
        TestShader counted_shader;
        counted_shader.set_motion_blur(shader.get_motion_blur());
        for (unsigned i = 0; i < 50; ++i) {
            const Box& target = boxes[random.below(120)];
            const GMathVec3<double> origin = {static_cast<double>(random.between(-60.0f, 60.0f)),
                                              static_cast<double>(random.between(-60.0f, 60.0f)),
                                              static_cast<double>(random.between(-60.0f, 60.0f))};
            const GMathVec3<double> aim = {static_cast<double>(target.min[0]),
                                           static_cast<double>(target.max[1]),
                                           static_cast<double>(target.min[2])};
            batch.set_ray(0, origin, aim - origin, 0.0, 2.0, random.uniform(),
                          static_cast<int>(random.below(6)));
            const unsigned salt = random.next();
            calls.react = [salt](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                support::SeededRandom dice(std::uint64_t{salt} + item);
                if (dice.below(3) == 0)
                    rays.record_nearest_hit(0, dice.uniform_double() * 2.0, item);
            };
            trace(tree, GetParam(), plain_shader, batch.get_ctx());
            const double plain_distance = batch.get_hit_distance(0);
            const Items plain_items = calls.take_items();
            batch.reset_hits();
            GasWalkCounts counts;
            trace_counted(tree, GetParam(), counted_shader, batch.get_ctx(), counts, false);
            EXPECT_EQ(batch.get_hit_distance(0), plain_distance);
            EXPECT_EQ(counts.leaf_calls, plain_items.size());
            EXPECT_EQ(calls.take_items(), plain_items);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Queries, CountedRays, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
