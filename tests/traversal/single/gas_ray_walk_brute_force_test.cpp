#include <gtest/gtest.h>

#include <set>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/brute_force.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

// What the walks find against trying every leaf, without a tree.

namespace {

using naive::Box;
using support::blend;
using support::crosses;
using support::get_reach;
using support::item_distance;
using support::Line;
using support::pad;
using support::random_line;
using support::RayQuery;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::set_ray;
using support::TestShader;

#ifdef NDEBUG
constexpr unsigned rays_per_tree = 60;
#else
constexpr unsigned rays_per_tree = 8;
#endif

TEST(RayWalkBruteForce, UnstoppedRaysCallExactlyTheLeavesWhoseBoxesTheyCross) {
    SeededRandom random(21);
    std::size_t called = 0;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 3u, 9u, 64u, 250u}) {
            const std::vector<Box> boxes = scenes::make(kind, count, count);
            const std::vector<Box> moved = scenes::make(kind, count, count + 1000);
            const double reach = get_reach(boxes);
            for (const naive::Split split : support::all_splits) {
                GasTree tree;
                support::build(tree, boxes, split);
                support::fill_samples(tree, {boxes, moved});
                TestShader shader;
                shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
                RecordingCallbacks calls(tree);
                GeometryRayBatch batch(1);
                for (unsigned i = 0; i < rays_per_tree; ++i) {
                    const Line line = random_line(random, boxes, reach);
                    const double far = reach * (i % 4 == 0 ? 0.5 : 8.0);
                    const float time = random.uniform();
                    const std::vector<Box> blended = blend(boxes, moved, time);
                    for (const RayQuery query : support::all_ray_queries) {
                        const std::vector<Box>& tested =
                            support::is_motion(query) ? blended : boxes;
                        std::multiset<unsigned> expected;
                        for (unsigned item = 0; item < count; ++item) {
                            if (crosses(line, tested[item], far, support::is_nearest(query)))
                                expected.insert(item);
                        }
                        set_ray(batch, line, far, time);
                        trace(tree, query, shader, batch.get_ctx());
                        const std::vector<unsigned> items = calls.take_items();
                        called += items.size();
                        ASSERT_EQ(std::multiset<unsigned>(items.begin(), items.end()), expected)
                            << scenes::name(kind) << " " << count;
                    }
                }
            }
        }
    }
    EXPECT_GT(called, 10000u);
}

TEST(RayWalkBruteForce, NearestHitsAndAnyHitsAreThoseOfTryingEveryItem) {
    SeededRandom random(22);
    unsigned hits = 0;
    for (const scenes::Kind kind :
         {scenes::Kind::random, scenes::Kind::clustered, scenes::Kind::flat,
          scenes::Kind::collinear, scenes::Kind::huge, scenes::Kind::tiny, scenes::Kind::grid,
          scenes::Kind::nested, scenes::Kind::diagonal}) {
        for (const unsigned count : {1u, 2u, 40u, 300u}) {
            const std::vector<Box> items = scenes::make(kind, count, 3 * count);
            const double reach = get_reach(items);
            const std::vector<Box> boxes = pad(items, static_cast<float>(reach) * 0x1p-12f);
            for (const naive::Split split : support::all_splits) {
                GasTree tree;
                support::build(tree, boxes, split);
                support::fill_samples(tree, {boxes, boxes, boxes});
                TestShader shader; // its cached leaves change the order, not the results
                shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
                RecordingCallbacks calls(tree);
                GeometryRayBatch batch(1);
                for (unsigned i = 0; i < rays_per_tree; ++i) {
                    const Line line = random_line(random, items, reach);
                    const double far = reach * 8.0;
                    double expected = far;
                    for (const Box& item : items) {
                        const double distance = item_distance(line, item, far);
                        if (distance >= 0.0 && distance < expected)
                            expected = distance;
                    }
                    for (const RayQuery query : support::all_ray_queries) {
                        calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                            const double distance = item_distance(line, items[item], far);
                            if (!(distance >= 0.0))
                                return;
                            if (support::is_nearest(query))
                                rays.record_nearest_hit(0, distance, item);
                            else
                                rays.set_hit(0);
                        };
                        set_ray(batch, line, far, random.uniform());
                        trace(tree, query, shader, batch.get_ctx());
                        calls.calls.clear();
                        ASSERT_EQ(batch.is_hit(0), expected < far)
                            << scenes::name(kind) << " " << count;
                        if (support::is_nearest(query)) {
                            ASSERT_EQ(batch.get_hit_distance(0), expected)
                                << scenes::name(kind) << " " << count;
                        }
                        hits += batch.is_hit(0) ? 1 : 0;
                    }
                }
            }
        }
    }
    EXPECT_GT(hits, 1000u);
}

} // namespace
