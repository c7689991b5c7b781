// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include <gas/host/host.h>

#include <tests/naive/naive_tree.h>
#include <tests/support/seeded_random.h>

/// Lines held against single boxes, without a tree.
namespace support {

struct Line {
    double origin[3];
    double direction[3];
};

inline double get_reach(const std::vector<naive::Box>& boxes) {
    float reach = 0.0f;
    for (const naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis)
            reach = std::max({reach, std::abs(box.min[axis]), std::abs(box.max[axis])});
    }
    return static_cast<double>(reach);
}

/// From somewhere around the scene towards somewhere near one of its boxes.
inline Line random_line(SeededRandom& random, const std::vector<naive::Box>& boxes, double reach) {
    const naive::Box& target = boxes[random.below(static_cast<unsigned>(boxes.size()))];
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

inline void set_ray(GeometryRayBatch& batch, const Line& line, double far, float time,
                    unsigned ray = 0) {
    batch.set_ray(ray, {line.origin[0], line.origin[1], line.origin[2]},
                  {line.direction[0], line.direction[1], line.direction[2]}, 0.0, far, time);
}

/// The box test in floats, one box, for a line without zero components. A nearest-hit query leaves
/// out what is entered at its hit distance or beyond.
inline bool crosses(const Line& line, const naive::Box& box, double far, bool is_nearest) {
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

inline std::vector<naive::Box> blend(const std::vector<naive::Box>& before,
                                     const std::vector<naive::Box>& after, float fraction) {
    std::vector<naive::Box> boxes(before.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float rest = 1.0f - fraction;
            boxes[i].min[axis] = after[i].min[axis] * fraction + before[i].min[axis] * rest;
            boxes[i].max[axis] = after[i].max[axis] * fraction + before[i].max[axis] * rest;
        }
    }
    return boxes;
}

/// Distance at which the line enters the item, a box again, in doubles; negative for a miss.
inline double item_distance(const Line& line, const naive::Box& item, double far) {
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
inline std::vector<naive::Box> pad(std::vector<naive::Box> boxes, float padding) {
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] -= padding;
            box.max[axis] += padding;
        }
    }
    return boxes;
}

} // namespace support
