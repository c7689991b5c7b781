// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/nasty/nasty_boxes.h>
#include <tests/support/sanitizers.h>

/// The table of rays: each direction from each origin, with distances and times by turns.
namespace nasty {

using support::RaySpec;

constexpr double endless = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

inline constexpr double ray_directions[][3] = {
    {1, 0, 0},
    {-1, -0.0, 0},
    {-0.0, 1, 0},
    {0, -1, -0.0},
    {0, -0.0, 1},
    {-0.0, -0.0, -1},
    {1, 1, 0},
    {-1, -0.0, 2},
    {1, 0.7, 0.4},
    {-1, -0.7, -0.4},
    {0.3, -1, 0.2},
    {1, 1e-310, 0},
    {-1e-40, 1, -5e-324},
    {1e-40, -1e-40, 1e-40},
    {0, 0, 0},
    {-0.0, -0.0, -0.0},
    {no_number, 1, 0},
    {1, no_number, no_number},
    {no_number, no_number, no_number},
    {endless, 0, 1},
    {1, -endless, 0.5},
};

/// Near and far, in units of a length that passes the whole scene.
inline constexpr double ray_distances[][2] = {{0, 1},
                                              {0, endless},
                                              {-endless, endless},
                                              {-1, 0.3},
                                              {1, 0},
                                              {0.4, 0.2},
                                              {0, no_number},
                                              {no_number, 1},
                                              {0, -1},
                                              {-1, -0.1},
                                              {0, 0},
                                              {endless, endless},
                                              {-1, 1},
                                              {0.5, 1},
                                              {0, -endless},
                                              {endless, -endless}};

/// The shutter is open from 0 to 1.
inline constexpr float ray_times[] = {0.0f, 0.25f,    0.5f,      1.0f,         -1.0f,
                                      2.0f, infinity, -infinity, not_a_number, 0.3f};

/// Whether brute force says what a ray finds: all its numbers are finite, its distances numbers.
inline bool is_plain(const RaySpec& ray) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(ray.origin[axis]) || !std::isfinite(ray.direction[axis]))
            return false;
    }
    return true;
}
inline bool has_number(const RaySpec& ray) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (std::isnan(ray.origin[axis]) || std::isnan(ray.direction[axis]))
            return false;
    }
    return !std::isnan(ray.near_distance) && !std::isnan(ray.far_distance);
}

class RayTable {
  public:
    explicit RayTable(const std::vector<Box>& boxes) : m_target(choose_target(boxes)) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double low = static_cast<double>(m_target.min[axis]);
            const double high = static_cast<double>(m_target.max[axis]);
            m_reach = std::max({m_reach, std::abs(low), std::abs(high)});
            m_points[0][axis] = low + (high - low) * 0.5;
            m_points[1][axis] = axis == 0 ? low : m_points[0][axis];
            m_points[2][axis] = axis == 1 ? high : m_points[0][axis];
            m_points[3][axis] = axis == 2 ? m_points[0][axis] : low;
            m_points[4][axis] = high;
            m_points[5][axis] = axis == 0 ? high : low;
        }
        for (const auto& direction : ray_directions) {
            for (const auto& point : m_points) {
                add(point, direction, 0.0);
                add(point, direction, 2.0 * m_reach);
            }
        }
        // Each pair of distances once more, by a ray that reaches the target.
        for (unsigned i = 0; i < std::size(ray_distances); ++i) {
            add(m_points[0], ray_directions[8 + i % 3], 0.5 * m_reach);
            set_distances(rays.back(), i);
        }
        for (const double special : {no_number, endless, -endless, 1e300, 3.0e38, -3.0e38}) {
            double origin[3] = {m_points[0][0], m_points[0][1], m_points[0][2]};
            origin[rays.size() % 3] = special;
            add(origin, ray_directions[8], 0.0);
            add(origin, ray_directions[0], 0.0);
        }
        if (support::is_sanitized && !is_full_product())
            keep_third(boxes.size());
    }

    std::vector<RaySpec> rays;

  private:
    /// The one in the middle of those that are well-formed and not too large.
    static Box choose_target(const std::vector<Box>& boxes) {
        std::vector<Box> choices;
        for (const Box& box : boxes) {
            if (is_ordered(box) && is_finite(box) && box.max[0] < 1e38f)
                choices.push_back(box);
        }
        return choices.empty() ? Box{{0, 0, 0}, {1, 1, 1}} : choices[choices.size() / 2];
    }

    /// Every third one, from one of the first three on.
    void keep_third(std::size_t turn) {
        std::size_t kept = 0;
        for (std::size_t number = turn % 3; number < rays.size(); number += 3)
            rays[kept++] = rays[number];
        rays.resize(kept);
    }

    void set_distances(RaySpec& ray, std::size_t number) const {
        const auto scale = [&](double share) { return share == 0.0 ? 0.0 : share * ray.scale; };
        ray.near_distance = scale(ray_distances[number][0]);
        ray.far_distance = scale(ray_distances[number][1]);
    }

    /// Through the point; it starts `back` before it.
    void add(const double (&point)[3], const double (&direction)[3], double back) {
        const std::size_t number = rays.size();
        RaySpec ray;
        double longest = 0.0;
        for (unsigned axis = 0; axis < 3; ++axis) {
            ray.direction[axis] = direction[axis];
            const bool is_usual =
                std::abs(direction[axis]) > 1e-30 && std::isfinite(direction[axis]);
            ray.origin[axis] = is_usual ? point[axis] - back * direction[axis] : point[axis];
            if (is_usual)
                longest = std::max(longest, std::abs(direction[axis]));
        }
        ray.scale = 8.0 * m_reach / (longest > 0.0 ? longest : 1.0);
        set_distances(ray, number % 4 == 3 ? number / 4 % std::size(ray_distances) : number % 2);
        ray.time = ray_times[number % std::size(ray_times)];
        ray.cache_slot = static_cast<int>(number % 6);
        ray.seed = number * 0x9e3779b97f4a7c15u;
        rays.push_back(ray);
    }

    Box m_target;
    /// The target's middle, and points on its faces, edges and corners.
    double m_points[6][3];
    double m_reach = 1e-40;
};

} // namespace nasty
