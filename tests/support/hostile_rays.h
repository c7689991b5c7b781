// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cfloat>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/ray_maker.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>

/// Boxes and rays at which a walk that tests four boxes at once could go another way than one that
/// tests two.
namespace support {

/// What is done to the boxes of a scene.
enum class Twist {
    none,
    snapped,  ///< to whole multiples of a tenth of the scene: faces and entries coincide
    mirrored, ///< through the origin, so that faces of both signs meet rays of both
    endless,  ///< some faces at infinity, some boxes wholly there; min <= max
    inverted, ///< some boxes with min > max
    spoiled,  ///< NaN among other special values
};

inline constexpr Twist all_twists[] = {Twist::none,    Twist::snapped,  Twist::mirrored,
                                       Twist::endless, Twist::inverted, Twist::spoiled};

/// Whether boxes stay in order, so that wide nodes serve the tree.
inline bool keeps_order(Twist twist) { return twist != Twist::inverted && twist != Twist::spoiled; }

inline void twist_boxes(std::vector<naive::Box>& boxes, Twist twist, SeededRandom& random) {
    if (twist == Twist::spoiled)
        return spoil(boxes, random, 12);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    float reach = 1e-30f;
    for (const naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis)
            reach = std::max({reach, std::abs(box.min[axis]), std::abs(box.max[axis])});
    }
    const float step = reach * 0.1f;
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            float& min = box.min[axis];
            float& max = box.max[axis];
            if (twist == Twist::snapped) {
                min = std::floor(min / step) * step;
                max = std::ceil(max / step) * step;
            } else if (twist == Twist::mirrored && random.below(2)) {
                min = -min;
                max = -max;
                std::swap(min, max);
            } else if (twist == Twist::inverted && random.below(12) == 0) {
                std::swap(min, max);
            } else if (twist == Twist::endless) {
                const unsigned dice = random.below(24);
                if (dice == 0 || dice == 2)
                    min = -infinity;
                if (dice == 1 || dice == 2)
                    max = infinity;
                if (dice == 3)
                    min = max = random.below(2) ? infinity : -infinity;
            }
        }
    }
}

/// A coordinate or distance that arithmetic treats specially.
inline double special_double(SeededRandom& random) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double largest = static_cast<double>(FLT_MAX);
    constexpr double values[] = {0.0,
                                 -0.0,
                                 1.0,
                                 -1.0,
                                 infinity,
                                 -infinity,
                                 std::numeric_limits<double>::quiet_NaN(),
                                 largest,
                                 -largest,
                                 1e-40,
                                 -1e-40,
                                 5e-324,
                                 1e300,
                                 -1e300,
                                 1e38,
                                 -1e38};
    return values[random.below(std::size(values))];
}

/// Replaces some of a ray's numbers by special values.
inline void twist_ray(RaySpec& ray, SeededRandom& random) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (random.below(6) == 0)
            ray.origin[axis] = special_double(random);
        if (random.below(4) == 0)
            ray.direction[axis] = special_double(random);
    }
    if (random.below(12) == 0) {
        for (double& component : ray.direction)
            component = random.below(2) ? 0.0 : -0.0;
    }
    if (random.below(4) == 0)
        ray.near_distance = special_double(random);
    if (random.below(4) == 0)
        ray.far_distance = special_double(random);
    if (random.below(16) == 0)
        std::swap(ray.near_distance, ray.far_distance);
}

/// Rays of a scene, a third of them with special values.
inline std::vector<RaySpec> make_hostile_rays(const std::vector<naive::Box>& boxes, unsigned count,
                                              SeededRandom& random, float open, float close) {
    RayMaker maker(random, boxes);
    std::vector<RaySpec> rays;
    for (unsigned i = 0; i < count; ++i) {
        rays.push_back(maker.make(open, close));
        if (random.below(3) == 0)
            twist_ray(rays.back(), random);
    }
    return rays;
}

} // namespace support
