// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/seeded_random.h>

namespace support {

/// Picks rays of all kinds for a scene.
class RayMaker {
  public:
    RayMaker(SeededRandom& random, const std::vector<naive::Box>& boxes)
        : m_random(random), m_boxes(boxes) {
        for (const naive::Box& box : boxes) {
            for (unsigned axis = 0; axis < 3; ++axis)
                m_reach = std::max({m_reach, std::abs(static_cast<double>(box.min[axis])),
                                    std::abs(static_cast<double>(box.max[axis]))});
        }
        m_reach *= 1.25;
    }

    /// A bit more than the largest coordinate.
    double get_reach() const { return m_reach; }

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
    const naive::Box& any_box() {
        return m_boxes[m_random.below(static_cast<unsigned>(m_boxes.size()))];
    }

    /// A coordinate of one of the box's corners, or anywhere in and around it.
    double coordinate(const naive::Box& box, unsigned axis, bool on_a_face) {
        const double low = static_cast<double>(box.min[axis]);
        const double high = static_cast<double>(box.max[axis]);
        if (on_a_face)
            return m_random.below(2) ? low : high;
        return low + (high - low) * (m_random.uniform_double() * 2.0 - 0.5);
    }

    double anywhere() { return (m_random.uniform_double() * 2.0 - 1.0) * m_reach; }

    void aim(RaySpec& ray) {
        const unsigned kind = m_random.below(8);
        const naive::Box& start = any_box();
        const naive::Box& target = any_box();
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
    void aim_along_axes(RaySpec& ray, const naive::Box& target) {
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
    const std::vector<naive::Box>& m_boxes;
    double m_reach = 1e-30;
    RaySpec m_last = {{0.0, 0.0, 0.0}, {0.5, 1.0, 0.25}, 0.0, 1.0, 0.0f, 0, false, 1.0, 0};
};

} // namespace support
