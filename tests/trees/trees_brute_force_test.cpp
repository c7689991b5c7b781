// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <tests/support/brute_force.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>
#include <tests/support/working_range.h>

// What the walks find against trying every leaf, without a tree.

namespace {

using naive::Box;
using support::Line;
using support::RayQuery;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::TestShader;
using Leaves = std::multiset<unsigned>;

constexpr unsigned rays_per_tree = support::scale_in_release(60, 8);

Leaves find_crossed(const Line& line, const std::vector<Box>& boxes, double far, bool is_nearest) {
    Leaves leaves;
    for (unsigned item = 0; item < boxes.size(); ++item) {
        if (support::crosses(line, boxes[item], far, is_nearest))
            leaves.insert(item);
    }
    return leaves;
}

/// The nearest entry of an item; `far` when the line misses all.
double find_nearest(const Line& line, const std::vector<Box>& items, double far) {
    double nearest = far;
    for (const Box& item : items) {
        const double distance = support::item_distance(line, item, far);
        if (distance >= 0.0 && distance < nearest)
            nearest = distance;
    }
    return nearest;
}

/// Scenes as they are, or in the working range of the tree class.
template <typename Tree> std::vector<Box> fit(const std::vector<Box>& boxes) {
    return support::is_compressed<Tree> ? support::fit_to_range(boxes) : boxes;
}
template <typename Tree> double get_reach(const std::vector<Box>& boxes) {
    return std::max(support::get_reach(boxes), support::is_compressed<Tree> ? 1e-3 : 0.0);
}

/// The boxes that rays see of the leaves.
std::vector<Box> get_seen_boxes(const GasTree&, const std::vector<Box>& boxes) { return boxes; }
std::vector<Box> get_seen_boxes(const GasCompressedTree& tree, const std::vector<Box>& boxes) {
    return support::get_boxes(tree, boxes).decoded_leaves;
}
std::vector<Box> get_seen_boxes(const GasTree&, const std::vector<Box>& boxes, unsigned) {
    return boxes;
}
std::vector<Box> get_seen_boxes(const GasCompressedTree& tree, const std::vector<Box>& boxes,
                                unsigned sample) {
    return support::get_sample_boxes(tree, boxes, sample).decoded_leaves;
}

/// A scene, its tree with two samples, and the boxes that rays see.
template <typename Tree> struct Scene {
    Scene(scenes::Kind kind, unsigned count, naive::Split split)
        : boxes(fit<Tree>(scenes::make(kind, count, count))),
          moved(fit<Tree>(scenes::make(kind, count, count + 1000))), reach(get_reach<Tree>(boxes)) {
        support::build(tree, boxes, split);
        support::fill_samples(tree, {boxes, moved});
        seen = get_seen_boxes(tree, boxes);
        seen_samples[0] = get_seen_boxes(tree, boxes, 0);
        seen_samples[1] = get_seen_boxes(tree, moved, 1);
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
    Tree tree;
    std::vector<Box> seen;
    std::vector<Box> seen_samples[2];
};

/// Calls `check(scene, name)` for scenes of every kind and build method.
template <typename Tree, typename Check> void for_all_scenes(const Check& check) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 3u, 9u, 64u, 250u}) {
            for (const naive::Split split : support::all_splits) {
                Scene<Tree> scene(kind, count, split);
                check(scene, std::string(scenes::name(kind)) + " " + std::to_string(count) + " " +
                                 support::name(split));
                if (testing::Test::HasFatalFailure())
                    return;
            }
        }
    }
}

template <typename Tree> class TreesBruteForce : public testing::Test {};
TYPED_TEST_SUITE(TreesBruteForce, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesBruteForce, UnstoppedRaysCallExactlyTheLeavesWhoseBoxesTheyCross) {
    SeededRandom random(21);
    std::size_t called = 0;
    std::size_t crossed = 0;
    for_all_scenes<TypeParam>([&](Scene<TypeParam>& scene, const std::string& name) {
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
    if constexpr (support::is_compressed<TypeParam>) {
        EXPECT_GT(called, crossed);
        EXPECT_LT(called, 2 * crossed);
    } else {
        EXPECT_EQ(called, crossed);
    }
}

TYPED_TEST(TreesBruteForce, RaysOfABatchReachTheLeavesWhoseBoxesTheyCross) {
    SeededRandom random(23);
    constexpr unsigned ray_count = 13;
    std::size_t crossed = 0;
    for_all_scenes<TypeParam>([&](Scene<TypeParam>& scene, const std::string& name) {
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
        // The first frame's slots, which plain trees need none of: every one that was taken is free
        // again.
        const GasTreeCtx& frame = shader.get_tree_ctx();
        ASSERT_EQ(frame.counters[0], frame.counters[1]) << name;
        ASSERT_LE(frame.counters[0], scene.tree.get_depth() + 1) << name;
    });
    EXPECT_GT(crossed, 10000u);
}

TYPED_TEST(TreesBruteForce, NearestHitsAndAnyHitsAreThoseOfTryingEveryItem) {
    constexpr unsigned ray_count = 4;
    SeededRandom random(22);
    unsigned hits = 0;
    const auto compare = [&](const std::vector<Box>& items, naive::Split split) {
        const double reach = get_reach<TypeParam>(items);
        const std::vector<Box> boxes = support::pad(items, static_cast<float>(reach) * 0x1p-12f);
        const double far = reach * 8.0;
        TypeParam tree;
        support::build(tree, boxes, split);
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
                const unsigned traced = i % 2 ? ray_count : 1;
                batch.get_data().set_range(0, static_cast<int>(traced) - 1);
                trace(tree, query, shader, batch.get_ctx());
                calls.calls.clear();
                for (unsigned ray = 0; ray < traced; ++ray) {
                    const double expected = find_nearest(lines[ray], items, far);
                    ASSERT_EQ(batch.is_hit(ray), expected < far);
                    if (support::is_nearest(query)) {
                        ASSERT_EQ(batch.get_hit_distance(ray), expected);
                    }
                    hits += batch.is_hit(ray) ? 1 : 0;
                }
            }
        }
    };
    for (const scenes::Kind kind :
         {scenes::Kind::random, scenes::Kind::clustered, scenes::Kind::flat,
          scenes::Kind::collinear, scenes::Kind::huge, scenes::Kind::tiny, scenes::Kind::grid,
          scenes::Kind::nested, scenes::Kind::diagonal}) {
        for (const unsigned count : {1u, 2u, 40u, 300u}) {
            for (const naive::Split split : support::all_splits) {
                SCOPED_TRACE(std::string(scenes::name(kind)) + " " + std::to_string(count));
                compare(fit<TypeParam>(scenes::make(kind, count, 3 * count)), split);
                if (this->HasFatalFailure())
                    return;
            }
        }
    }
    EXPECT_GT(hits, 5000u / (60 / rays_per_tree));
}
