// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/counted_trace.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// When an any-hit ray looks ahead: only where rays like it come to their end.

namespace {

using support::RayQuery;

constexpr unsigned box_count = 200;

/// Rays along a row of boxes, which the box at `stop_at` stops.
class WideLookAhead : public testing::TestWithParam<RayQuery> {
  protected:
    WideLookAhead() {
        tree.set_wide_nodes(true);
        support::build(tree, support::row_of_boxes(box_count));
        support::fill_samples(tree,
                              {support::row_of_boxes(box_count), support::row_of_boxes(box_count)});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        calls.attach(tree);
        calls.react = [this](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
            if (item != stop_at)
                return;
            // A closest-hit ray goes no farther either.
            rays.set_hit(support::get_only_ray(rays));
            rays.get_intersection_path(0).set_hit_distance(5.0 + 10.0 * item);
        };
    }

    /// Traces a ray of a cache slot; the number of its nodes.
    std::uint64_t trace(unsigned stop, int slot = 0) { return trace(GetParam(), stop, slot); }
    std::uint64_t trace(RayQuery query, unsigned stop, int slot) {
        stop_at = stop;
        GeometryRayBatch batch(1);
        batch.set_ray(0, {-5.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1e6, 0.25f, slot);
        GasWalkCounts counts;
        support::trace_counted(tree, query, shader, batch.get_ctx(), counts, false);
        // What the cached leaf called before the walk is called again.
        const std::vector<unsigned> items = calls.take_items();
        EXPECT_EQ(items.back(), stop < box_count ? stop : box_count - 1);
        return counts.visited_nodes;
    }
    void trace_unstopped(unsigned ray_count, int slot = 0) {
        for (unsigned ray = 0; ray < ray_count; ++ray)
            trace(never, slot);
    }

    static constexpr unsigned never = box_count;

    GasTree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
    unsigned stop_at = never;
};

TEST_P(WideLookAhead, StartsAfterEightLeaves) {
    // The walk for closest hits never looks ahead, and visits the same leaves here.
    const RayQuery nearest =
        GetParam() == RayQuery::hit_static ? RayQuery::nearest_static : RayQuery::nearest_motion;
    std::uint64_t ahead = 0;
    for (unsigned stop = 0; stop < 40; ++stop) {
        // The rays before are coherent: no ray expands two nodes at a time.
        for (unsigned ray = 0; ray < 31; ++ray) {
            trace(never);
            trace(nearest, never, 0);
        }
        const std::uint64_t by_stack = trace(nearest, stop, 0);
        const std::uint64_t visited = trace(stop);
        EXPECT_GE(visited, by_stack) << stop;
        if (stop < 8)
            EXPECT_EQ(visited, by_stack) << stop;
        else
            ahead += visited - by_stack;
    }
    EXPECT_GT(ahead, 32u);
}

TEST_P(WideLookAhead, StartsAtOnceAfterThirtyTwoRaysThatWereNotStopped) {
    const std::uint64_t few = trace(0);
    trace_unstopped(31);
    EXPECT_EQ(trace(0), few);
    trace_unstopped(32);
    // Other slots count for themselves.
    EXPECT_EQ(trace(0, 1), few);
    EXPECT_GT(trace(0), few + 2);
    // A ray that was stopped starts the count again.
    trace_unstopped(31);
    EXPECT_EQ(trace(0), few);
    trace_unstopped(100);
    EXPECT_GT(trace(0), few + 2);
}

INSTANTIATE_TEST_SUITE_P(Queries, WideLookAhead,
                         testing::Values(RayQuery::hit_static, RayQuery::hit_motion),
                         [](const auto& query) { return std::string(name(query.param)); });

} // namespace
