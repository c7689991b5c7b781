#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include <tests/support/brute_force.h>
#include <tests/support/compressed_checker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/working_range.h>

// What the walks find against trying every leaf, without a tree.

namespace {

using naive::Box;
using support::crosses;
using support::Line;
using support::RayQuery;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::TestShader;

#ifdef NDEBUG
constexpr unsigned rays_per_tree = 48;
#else
constexpr unsigned rays_per_tree = 8;
#endif

using Leaves = std::multiset<unsigned>;

Leaves find_crossed(const Line& line, const std::vector<Box>& boxes, double far, bool is_nearest) {
    Leaves leaves;
    for (unsigned item = 0; item < boxes.size(); ++item) {
        if (crosses(line, boxes[item], far, is_nearest))
            leaves.insert(item);
    }
    return leaves;
}

/// A scene in the working range, its tree with two samples, and the boxes that rays see.
struct Scene {
    Scene(scenes::Kind kind, unsigned count, naive::Split split)
        : boxes(support::fit_to_range(scenes::make(kind, count, count))),
          moved(support::fit_to_range(scenes::make(kind, count, count + 1000))),
          reach(std::max(support::get_reach(boxes), 1e-3)) {
        support::build(tree, boxes, split);
        support::fill_samples(tree, {boxes, moved});
        seen = support::get_boxes(tree, boxes).decoded_leaves;
        seen_samples[0] = support::get_sample_boxes(tree, boxes, 0).decoded_leaves;
        seen_samples[1] = support::get_sample_boxes(tree, moved, 1).decoded_leaves;
    }

    std::vector<Box> get_exact(RayQuery query, float time) const {
        return support::is_motion(query) ? support::blend(boxes, moved, time) : boxes;
    }
    std::vector<Box> get_seen(RayQuery query, float time) const {
        return support::is_motion(query) ? support::blend(seen_samples[0], seen_samples[1], time)
                                         : seen;
    }

    std::vector<Box> boxes;
    std::vector<Box> moved;
    double reach;
    GasCompressedTree tree;
    std::vector<Box> seen;
    std::vector<Box> seen_samples[2];
};

/// Calls `check(scene, name)` for scenes of every kind and build method.
template <typename Check> void for_all_scenes(const Check& check) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 3u, 9u, 64u, 250u}) {
            for (const naive::Split split : support::all_splits) {
                Scene scene(kind, count, split);
                check(scene, std::string(scenes::name(kind)) + " " + std::to_string(count) + " " +
                                 support::name(split));
            }
        }
    }
}

} // namespace

TEST(CompressedBruteForce, UnstoppedRaysCallTheLeavesWhoseDecodedBoxesTheyCross) {
    SeededRandom random(21);
    std::size_t called = 0;
    std::size_t crossed = 0;
    for_all_scenes([&](Scene& scene, const std::string& name) {
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        RecordingCallbacks calls(scene.tree);
        GeometryRayBatch batch(1);
        for (unsigned i = 0; i < rays_per_tree; ++i) {
            const Line line = support::random_line(random, scene.boxes, scene.reach);
            const double far = scene.reach * (i % 4 == 0 ? 0.5 : 8.0);
            const float time = i % 8 == 1 ? 0.0f : i % 8 == 2 ? 1.0f : random.uniform();
            for (const RayQuery query : support::all_ray_queries) {
                const bool is_nearest = support::is_nearest(query);
                support::set_ray(batch, line, far, time);
                trace(scene.tree, query, shader, batch.get_ctx());
                const std::vector<unsigned> items = calls.take_items();
                const Leaves found(items.begin(), items.end());
                ASSERT_EQ(found, find_crossed(line, scene.get_seen(query, time), far, is_nearest))
                    << name << " " << support::name(query);
                // Among them are all whose exact boxes it crosses.
                const Leaves exact =
                    find_crossed(line, scene.get_exact(query, time), far, is_nearest);
                ASSERT_TRUE(std::includes(found.begin(), found.end(), exact.begin(), exact.end()))
                    << name << " " << support::name(query);
                called += found.size();
                crossed += exact.size();
            }
        }
    });
    EXPECT_GT(crossed, 10000u);
    EXPECT_GT(called, crossed);
    EXPECT_LT(called, 2 * crossed);
}

TEST(CompressedBruteForce, RaysOfABatchReachTheLeavesWhoseBoxesTheyCross) {
    SeededRandom random(23);
    constexpr unsigned ray_count = 13;
    std::size_t crossed = 0;
    for_all_scenes([&](Scene& scene, const std::string& name) {
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        RecordingCallbacks calls(scene.tree);
        GeometryRayBatch batch(ray_count);
        std::vector<Line> lines(ray_count);
        std::vector<float> times(ray_count);
        const double far = scene.reach * 8.0;
        for (const RayQuery query : support::all_ray_queries) {
            for (unsigned ray = 0; ray < ray_count; ++ray) {
                lines[ray] = support::random_line(random, scene.boxes, scene.reach);
                times[ray] = random.uniform();
                support::set_ray(batch, lines[ray], far, times[ray], ray);
            }
            trace(scene.tree, query, shader, batch.get_ctx());
            std::vector<Leaves> reached(ray_count);
            for (const support::LeafCall& call : calls.calls) {
                for (int ray = call.first_ray; ray <= call.last_ray; ++ray)
                    reached[static_cast<unsigned>(ray)].insert(call.item);
            }
            calls.calls.clear();
            for (unsigned ray = 0; ray < ray_count; ++ray) {
                const Leaves exact = find_crossed(lines[ray], scene.get_exact(query, times[ray]),
                                                  far, support::is_nearest(query));
                ASSERT_TRUE(std::includes(reached[ray].begin(), reached[ray].end(), exact.begin(),
                                          exact.end()))
                    << name << " " << support::name(query) << ", ray " << ray;
                crossed += exact.size();
            }
        }
        // The first frame's slots: every one that was taken is free again.
        const GasTreeCtx& frame = shader.get_tree_ctx();
        ASSERT_EQ(frame.counters[0], frame.counters[1]) << name;
        ASSERT_LE(frame.counters[0], scene.tree.get_depth() + 1) << name;
    });
    EXPECT_GT(crossed, 10000u);
}

TEST(CompressedBruteForce, NearestHitsAndAnyHitsAreThoseOfTryingEveryItem) {
    SeededRandom random(22);
    constexpr unsigned ray_count = 4;
    unsigned hits = 0;
    for (const scenes::Kind kind :
         {scenes::Kind::random, scenes::Kind::clustered, scenes::Kind::flat,
          scenes::Kind::collinear, scenes::Kind::huge, scenes::Kind::tiny, scenes::Kind::grid,
          scenes::Kind::nested, scenes::Kind::diagonal}) {
        for (const unsigned count : {1u, 2u, 40u, 300u}) {
            const std::vector<Box> items = support::fit_to_range(scenes::make(kind, count, count));
            const double reach = std::max(support::get_reach(items), 1e-3);
            const std::vector<Box> boxes =
                support::pad(items, static_cast<float>(reach) * 0x1p-12f);
            const double far = reach * 8.0;
            GasCompressedTree tree;
            support::build(tree, boxes, support::all_splits[random.below(4)]);
            support::fill_samples(tree, {boxes, boxes, boxes});
            TestShader shader; // its cached leaves change the order, not the results
            shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
            RecordingCallbacks calls(tree);
            GeometryRayBatch batch(ray_count);
            std::vector<Line> lines(ray_count);
            for (unsigned i = 0; i < rays_per_tree; ++i) {
                for (const RayQuery query : support::all_ray_queries) {
                    for (unsigned ray = 0; ray < ray_count; ++ray) {
                        lines[ray] = support::random_line(random, items, reach);
                        support::set_ray(batch, lines[ray], far, random.uniform(), ray);
                    }
                    calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                        support::for_each_ray(rays, [&](unsigned ray) {
                            const double distance =
                                support::item_distance(lines[ray], items[item], far);
                            if (!(distance >= 0.0))
                                return;
                            if (support::is_nearest(query))
                                rays.record_nearest_hit(ray, distance, item);
                            else
                                rays.set_hit(ray);
                        });
                    };
                    // One ray, then a batch.
                    batch.get_data().set_range(0, i % 2 ? 0 : 3);
                    trace(tree, query, shader, batch.get_ctx());
                    calls.calls.clear();
                    for (unsigned ray = 0; ray < (i % 2 ? 1u : ray_count); ++ray) {
                        double expected = far;
                        for (const Box& item : items) {
                            const double distance = support::item_distance(lines[ray], item, far);
                            if (distance >= 0.0 && distance < expected)
                                expected = distance;
                        }
                        ASSERT_EQ(batch.is_hit(ray), expected < far)
                            << scenes::name(kind) << " " << count;
                        if (support::is_nearest(query)) {
                            ASSERT_EQ(batch.get_hit_distance(ray), expected)
                                << scenes::name(kind) << " " << count;
                        }
                        hits += batch.is_hit(ray) ? 1 : 0;
                    }
                }
            }
        }
    }
    EXPECT_GT(hits, 5000u / (48 / rays_per_tree));
}
