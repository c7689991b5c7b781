// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cfloat>
#include <functional>
#include <limits>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/raw_rays.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// Where an empty lane of a wide node, or a half of one lane, could be taken for more than it is.

namespace {

using naive::Box;
using support::RayQuery;
using support::RaySpec;
using Items = std::vector<unsigned>;

constexpr float infinity = std::numeric_limits<float>::infinity();

/// A tree over three boxes, so that one half of its wide node is a leaf, that of item 2. Its leaves
/// then take other boxes.
class WideWalk : public testing::TestWithParam<RayQuery> {
  protected:
    WideWalk() : calls(tree) {}

    /// `lone_first`: whether the first half is the leaf.
    void build_over(bool lone_first, const std::vector<Box>& boxes) {
        std::vector<Box> row = support::row_of_boxes(3);
        row[2].min[0] += lone_first ? -100.0f : 100.0f;
        row[2].max[0] += lone_first ? -100.0f : 100.0f;
        support::build(tree, row);
        const GasTree::Node* const children = tree.get_nodes() + tree.get_nodes()[0].index;
        ASSERT_EQ(children[0].flags & 1, lone_first ? 1u : 0u);
        ASSERT_EQ(children[1].flags & 1, lone_first ? 0u : 1u);
        ASSERT_EQ(children[lone_first ? 0 : 1].index, 2u);
        tree.refit(support::to_boxes(boxes));
        support::fill_samples(tree, {boxes, boxes, boxes, boxes});
    }

    /// The tree of a row, with the same unit box for all leaves.
    void build_coincident(unsigned count) {
        const std::vector<Box> boxes(count, Box{{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}});
        support::build(tree, support::row_of_boxes(count));
        tree.refit(support::to_boxes(boxes));
        support::fill_samples(tree, {boxes, boxes});
    }

    static RaySpec aim_at_unit_box() {
        RaySpec ray;
        ray.origin[0] = ray.origin[1] = 0.5;
        ray.origin[2] = -2.0;
        ray.far_distance = 100.0;
        return ray;
    }

    Items trace(bool wide, const RaySpec& ray) {
        tree.set_wide_nodes(wide);
        support::TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
        support::RawRays batch({ray});
        support::trace(tree, GetParam(), shader, batch.get_ctx());
        const Items queried = calls.take_items();
        if (before_stream)
            before_stream();
        support::RawRays again({ray});
        support::trace_stream(tree, GetParam(), shader, again.get_ctx());
        EXPECT_EQ(calls.take_items(), queried);
        return queried;
    }

    GasTree tree;
    support::RecordingCallbacks calls;
    std::function<void()> before_stream;
};

TEST_P(WideWalk, BoxesAtInfinityAreCalledInTheirOrder) {
    for (const bool lone_first : {true, false}) {
        for (const float end : {infinity, -infinity}) {
            for (const float time : {0.0f, 0.5f}) {
                const Box box = {{end, 0.0f, 0.0f}, {end, 1.0f, 1.0f}};
                build_over(lone_first, {box, box, box});
                RaySpec ray;
                ray.origin[1] = ray.origin[2] = 0.5;
                ray.direction[0] = end > 0.0f ? 1.0 : -1.0;
                ray.direction[2] = 0.0;
                ray.far_distance = static_cast<double>(infinity);
                ray.time = time;
                const Items binary = trace(false, ray);
                EXPECT_EQ(trace(true, ray), binary) << lone_first << end << time;
                // All are entered at infinity, which is no nearer than a nearest ray's bound. A
                // sample that has no share in a blend makes it NaN there, and NaN bounds nothing:
                // then all are entered where the ray starts. Of equal entries the second child goes
                // first.
                const bool is_bounded = !support::is_motion(GetParam()) || time > 0.0f;
                const Items in_order = lone_first ? Items{1, 0, 2} : Items{2, 1, 0};
                EXPECT_EQ(binary,
                          support::is_nearest(GetParam()) && is_bounded ? Items{} : in_order)
                    << lone_first << end << time;
            }
        }
    }
}

TEST_P(WideWalk, AnEmptyLaneIsNotReachedFromTheEndsOfAllFloats) {
    const Box everything = {{-FLT_MAX, -FLT_MAX, -FLT_MAX}, {FLT_MAX, FLT_MAX, FLT_MAX}};
    const double ends[] = {static_cast<double>(FLT_MAX), -static_cast<double>(FLT_MAX), 0x1p127,
                           -0x1p127};
    for (const bool lone_first : {true, false}) {
        build_over(lone_first, {everything, everything, everything});
        for (const double end : ends) {
            for (const double slope : {0.0, 1e-40, -1e-40, 1.0, -1.0}) {
                for (const float time : {0.0f, 0.1f, 0.45f, 0.7f, 1.0f}) {
                    RaySpec ray;
                    for (unsigned axis = 0; axis < 3; ++axis) {
                        ray.origin[axis] = end;
                        ray.direction[axis] = slope;
                    }
                    ray.far_distance = static_cast<double>(infinity);
                    ray.time = time;
                    const Items binary = trace(false, ray);
                    EXPECT_EQ(trace(true, ray), binary) << end << ", " << slope << ", " << time;
                    for (const unsigned item : binary)
                        EXPECT_LT(item, 3u);
                }
            }
        }
    }
}

TEST_P(WideWalk, EqualEntriesGoToTheSecondOfEachPair) {
    build_coincident(16);
    const RaySpec ray = aim_at_unit_box();
    const Items expected = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    EXPECT_EQ(trace(false, ray), expected);
    EXPECT_EQ(trace(true, ray), expected);
}

TEST_P(WideWalk, ARayThatReachesEverythingFillsNoMoreThanItsStack) {
    for (const unsigned count : {2u, 3u, 5u, 8u, 33u, 700u}) {
        build_coincident(count);
        const RaySpec ray = aim_at_unit_box();
        const Items binary = trace(false, ray);
        EXPECT_EQ(binary.size(), count);
        EXPECT_EQ(trace(true, ray), binary) << count;
    }
}

TEST_P(WideWalk, BoundsMayChangeAtEveryLeafAndMoreOftenThanIsKept) {
    // Box i starts at i, as far from the ray's origin.
    std::vector<Box> boxes;
    for (unsigned i = 0; i < 60; ++i)
        boxes.push_back({{static_cast<float>(i), 0.0f, 0.0f}, {80.0f, 1.0f, 1.0f}});
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    RaySpec ray;
    ray.origin[1] = ray.origin[2] = 0.5;
    ray.direction[0] = 1.0;
    ray.direction[2] = 0.0;
    ray.far_distance = 100.0;
    for (const double pace : {0.0, 0.25, 1.0, -0.5}) {
        for (const unsigned turn : {3u, 16u, 17u, 18u, 40u, 1000u}) {
            // Each leaf brings the bound nearer by `pace`, the one after `turn` takes it away.
            unsigned count = 0;
            calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                const auto at = static_cast<unsigned>(rays.get_first_ray());
                const double bound = ++count % turn == 0 ? 90.0 : 75.0 - pace * count;
                if (support::is_nearest(GetParam()))
                    rays.record_nearest_hit(at, bound, item);
                else
                    rays.set_tfar(at, bound);
            };
            before_stream = [&count] { count = 0; };
            const auto start_and_trace = [&](bool wide) {
                count = 0;
                return trace(wide, ray);
            };
            const Items binary = start_and_trace(false);
            EXPECT_EQ(start_and_trace(true), binary) << pace << ", " << turn;
            EXPECT_GT(binary.size(), 20u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Queries, WideWalk, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
