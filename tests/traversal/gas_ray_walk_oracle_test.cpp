#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

#include "../support/mirrored_rays.h"
#include "../support/row_of_boxes.h"
#include "../support/scenes.h"
#include "../support/seeded_random.h"

// The library and the naive implementation side by side: the exact sequence of leaf callbacks,
// nested queries included, what callbacks left in the rays, and the cached leaves of every frame.

namespace {

using naive::Box;
using support::Mirror;
using support::MirroredTree;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned groups_per_tree = 100;
constexpr unsigned largest_of_all = 64;
const std::vector<unsigned> larger_counts = {65, 100, 129, 300};
constexpr unsigned large_count = 3000;
#else
constexpr unsigned groups_per_tree = 20;
constexpr unsigned largest_of_all = 9;
const std::vector<unsigned> larger_counts = {17, 64, 150};
constexpr unsigned large_count = 600;
#endif

constexpr unsigned tree_count = 2;

/// Picks rays of all kinds for a scene.
class RayMaker {
  public:
    RayMaker(SeededRandom& random, const std::vector<Box>& boxes)
        : m_random(random), m_boxes(boxes) {
        for (const Box& box : boxes) {
            for (unsigned axis = 0; axis < 3; ++axis)
                m_reach = std::max({m_reach, std::abs(static_cast<double>(box.min[axis])),
                                    std::abs(static_cast<double>(box.max[axis]))});
        }
        m_reach *= 1.25;
    }

    RaySpec make(float shutter_open, float shutter_close) {
        RaySpec ray;
        aim(ray);
        set_distances(ray);
        ray.time = make_time(shutter_open, shutter_close);
        ray.cache_slot = static_cast<int>(m_random.below(6));
        ray.is_hit_before = m_random.below(25) == 0;
        ray.seed = (std::uint64_t{m_random.next()} << 32) | m_random.next();
        m_last = ray;
        return ray;
    }

  private:
    const Box& any_box() { return m_boxes[m_random.below(static_cast<unsigned>(m_boxes.size()))]; }

    /// A coordinate of one of the box's corners, or anywhere in and around it.
    double coordinate(const Box& box, unsigned axis, bool on_a_face) {
        const double low = static_cast<double>(box.min[axis]);
        const double high = static_cast<double>(box.max[axis]);
        if (on_a_face)
            return m_random.below(2) ? low : high;
        return low + (high - low) * (m_random.uniform_double() * 2.0 - 0.5);
    }

    double anywhere() { return (m_random.uniform_double() * 2.0 - 1.0) * m_reach; }

    void aim(RaySpec& ray) {
        const unsigned kind = m_random.below(8);
        const Box& start = any_box();
        const Box& target = any_box();
        if (kind == 0) {
            // Like the ray before, a little aside.
            ray = m_last;
            for (double& component : ray.direction)
                component *= 1.0 + 0.01 * (m_random.uniform_double() - 0.5);
            return;
        }
        if (kind <= 2) {
            aim_along_axes(ray, target);
            return;
        }
        const bool starts_inside = kind == 3;
        for (unsigned axis = 0; axis < 3; ++axis) {
            ray.origin[axis] = starts_inside ? coordinate(start, axis, false) : anywhere();
            ray.direction[axis] =
                kind == 4 ? anywhere() : coordinate(target, axis, false) - ray.origin[axis];
        }
        if (kind == 5)
            ray.direction[m_random.below(3)] *= 1e-40;
        if (kind == 6) {
            constexpr double tiny[] = {1e-37, -1e-39, 3e-39, 1e-300, -5e-324, 0.0, -0.0};
            ray.direction[m_random.below(3)] = tiny[m_random.below(7)];
        }
        shorten(ray);
    }

    /// Parallel to an axis or to a plane of two, often exactly in a face of a box.
    void aim_along_axes(RaySpec& ray, const Box& target) {
        const bool on_faces = m_random.below(4) != 0;
        for (unsigned axis = 0; axis < 3; ++axis) {
            ray.origin[axis] = coordinate(target, axis, on_faces);
            ray.direction[axis] = m_random.below(2) ? 0.0 : -0.0;
        }
        const unsigned axis = m_random.below(3);
        ray.direction[axis] = m_random.below(2) ? 1.0 : -1.0;
        if (m_random.below(3) == 0)
            ray.direction[(axis + 1) % 3] = m_random.below(2) ? 0.5 : -2.0;
        if (m_random.below(2))
            ray.origin[axis] = anywhere();
    }

    /// Gives most rays a longest component of 1.
    void shorten(RaySpec& ray) {
        double longest = 0.0;
        for (const double component : ray.direction)
            longest = std::max(longest, std::abs(component));
        if (longest > 0.0 && m_random.below(4) != 0) {
            for (double& component : ray.direction)
                component /= longest;
        }
    }

    void set_distances(RaySpec& ray) {
        double longest = std::numeric_limits<double>::min();
        for (const double component : ray.direction)
            longest = std::max(longest, std::abs(component));
        ray.scale = 2.0 * m_reach / longest;
        ray.near_distance = 0.0;
        ray.far_distance = ray.scale;
        switch (m_random.below(8)) {
        case 0:
            ray.near_distance = ray.scale * (m_random.uniform_double() - 0.5);
            break;
        case 1:
            ray.far_distance = ray.scale * m_random.uniform_double();
            break;
        case 2:
            ray.far_distance = std::numeric_limits<double>::infinity();
            break;
        case 3:
            ray.near_distance = -std::numeric_limits<double>::infinity();
            break;
        case 4:
            if (m_random.below(4) == 0)
                ray.far_distance = ray.near_distance;
            break;
        default:
            break;
        }
    }

    float make_time(float open, float close) {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        switch (m_random.below(12)) {
        case 0:
            return std::numeric_limits<float>::quiet_NaN();
        case 1:
            return m_random.below(2) ? infinity : -infinity;
        case 2:
            return m_random.below(2) ? open : close;
        case 3:
            return open + (close - open) * 0.25f * static_cast<float>(m_random.below(5));
        default:
            return open + (close - open) * (m_random.uniform() * 1.5f - 0.25f);
        }
    }

    SeededRandom& m_random;
    const std::vector<Box>& m_boxes;
    double m_reach = 1e-30;
    RaySpec m_last = {{0.0, 0.0, 0.0}, {0.5, 1.0, 0.25}, 0.0, 1.0, 0.0f, 0, false, 1.0, 0};
};

struct Totals {
    unsigned trees = 0;
    unsigned rays = 0;
    unsigned nested_rays = 0;
    std::size_t leaf_calls = 0;
};

/// Builds both trees of a scene with the same boxes, indices and motion-blur samples.
void build_both(MirroredTree& tree, SeededRandom& random, scenes::Kind kind, unsigned count,
                naive::Split split) {
    const std::uint64_t seed = random.next();
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(random.next());
    }
    std::vector<std::vector<Box>> samples(random.below(6));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = scenes::make(kind, count, seed + i * (1 + random.below(2)));
    tree.build(scenes::make(kind, count, seed), split, indices, samples);
}

/// Traces rays of one scene, alone and in batches, through one shader that keeps its caches.
void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, Totals& totals) {
    SeededRandom random(std::uint64_t{count} * 1000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    MirroredTree trees[tree_count];
    build_both(trees[0], random, kind, count, split);
    build_both(trees[1], random, kind, 1 + count / 3, split);
    const std::vector<Box> boxes = trees[0].get_boxes();
    const float open = random.below(2) ? 0.0f : -1.5f;
    const float close = random.below(8) ? 1.0f : open;
    Mirror mirror({&trees[0], &trees[1]}, CtxMotionBlur(open, close, 0));
    RayMaker maker(random, boxes);
    for (unsigned group = 0; group < groups_per_tree; ++group) {
        std::vector<RaySpec> rays(random.below(2) ? 1 : 1 + random.below(6));
        for (RaySpec& ray : rays)
            ray = maker.make(open, close);
        const RayQuery query = support::all_ray_queries[random.below(4)];
        const std::string difference = mirror.compare(rays, query, random.below(5) == 0 ? 1 : 0);
        ASSERT_EQ(difference, "") << scenes::name(kind) << ", " << count << " boxes, split "
                                  << static_cast<unsigned>(split) << ", group " << group;
        totals.rays += static_cast<unsigned>(rays.size());
    }
    totals.trees += tree_count;
    totals.nested_rays += mirror.get_nested_ray_count();
    totals.leaf_calls += mirror.get_leaf_call_count();
}

TEST(RayWalkOracle, CallbacksRaysAndCachesAreThoseOfTheNaiveWalks) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : support::all_splits) {
            std::vector<unsigned> counts(largest_of_all);
            std::iota(counts.begin(), counts.end(), 1u);
            counts.insert(counts.end(), larger_counts.begin(), larger_counts.end());
            for (const unsigned count : counts) {
                compare_scene(kind, count, split, totals);
                if (HasFatalFailure())
                    return;
            }
        }
        compare_scene(kind, large_count, naive::Split::sah_fast, totals);
        if (HasFatalFailure())
            return;
    }
    std::printf("compared %u trees, %u rays and %u nested ones, %zu leaf calls\n", totals.trees,
                totals.rays, totals.nested_rays, totals.leaf_calls);
    EXPECT_GT(totals.rays, 1000u);
    EXPECT_GT(totals.nested_rays, 1000u);
    EXPECT_GT(totals.leaf_calls, 10000u);
}

} // namespace
