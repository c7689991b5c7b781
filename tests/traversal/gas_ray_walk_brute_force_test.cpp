#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include <gas/tree/gas_tree.h>

#include "../support/recording_callbacks.h"
#include "../support/row_of_boxes.h"
#include "../support/scenes.h"
#include "../support/seeded_random.h"
#include "../support/test_shader.h"

// What the walks find against trying every leaf, without a tree.

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::TestShader;

#ifdef NDEBUG
constexpr unsigned rays_per_tree = 60;
#else
constexpr unsigned rays_per_tree = 8;
#endif

struct Line {
    double origin[3];
    double direction[3];
};

double get_reach(const std::vector<Box>& boxes) {
    float reach = 0.0f;
    for (const Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis)
            reach = std::max({reach, std::abs(box.min[axis]), std::abs(box.max[axis])});
    }
    return static_cast<double>(reach);
}

/// From somewhere around the scene towards somewhere near one of its boxes.
Line random_line(SeededRandom& random, const std::vector<Box>& boxes, double reach) {
    const Box& target = boxes[random.below(static_cast<unsigned>(boxes.size()))];
    Line line;
    double longest = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        line.origin[axis] = (random.uniform_double() * 2.0 - 1.0) * reach;
        const double low = static_cast<double>(target.min[axis]);
        const double high = static_cast<double>(target.max[axis]);
        const double aim = low + (high - low) * (random.uniform_double() * 2.0 - 0.5);
        line.direction[axis] = aim - line.origin[axis];
        longest = std::max(longest, std::abs(line.direction[axis]));
    }
    for (double& component : line.direction)
        component /= longest;
    return line;
}

void set_ray(GeometryRayBatch& batch, const Line& line, double far, float time) {
    batch.set_ray(0, {line.origin[0], line.origin[1], line.origin[2]},
                  {line.direction[0], line.direction[1], line.direction[2]}, 0.0, far, time);
}

/// The slab test in floats, one box, for a line without zero components. A nearest-hit query leaves
/// out what is entered at its hit distance or beyond.
bool crosses(const Line& line, const Box& box, double far, bool is_nearest) {
    float entry = 0.0f;
    float exit = static_cast<float>(far);
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float origin = static_cast<float>(line.origin[axis]);
        const float inverse = static_cast<float>(1.0 / line.direction[axis]);
        const bool is_negative = line.direction[axis] < 0.0;
        entry = std::max(entry, ((is_negative ? box.max : box.min)[axis] - origin) * inverse);
        exit = std::min(exit, ((is_negative ? box.min : box.max)[axis] - origin) * inverse);
    }
    return entry <= exit && !(is_nearest && static_cast<double>(entry) >= far);
}

std::vector<Box> blend(const std::vector<Box>& before, const std::vector<Box>& after,
                       float fraction) {
    std::vector<Box> boxes(before.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float rest = 1.0f - fraction;
            boxes[i].min[axis] = after[i].min[axis] * fraction + before[i].min[axis] * rest;
            boxes[i].max[axis] = after[i].max[axis] * fraction + before[i].max[axis] * rest;
        }
    }
    return boxes;
}

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

/// Distance at which the line enters the item, a box again, in doubles; negative for a miss.
double item_distance(const Line& line, const Box& item, double far) {
    double entry = 0.0;
    double exit = far;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double inverse = 1.0 / line.direction[axis];
        const double t0 = (static_cast<double>(item.min[axis]) - line.origin[axis]) * inverse;
        const double t1 = (static_cast<double>(item.max[axis]) - line.origin[axis]) * inverse;
        entry = std::max(entry, std::min(t0, t1));
        exit = std::min(exit, std::max(t0, t1));
    }
    return entry <= exit ? entry : -1.0;
}

/// Boxes wider than their items by more than the rounding of the box tests.
std::vector<Box> pad(std::vector<Box> boxes, float padding) {
    for (Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] -= padding;
            box.max[axis] += padding;
        }
    }
    return boxes;
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
