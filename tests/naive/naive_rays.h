#pragma once

#include <vector>

#include <tests/naive/naive_tree.h>

namespace naive {

/// The far and hit distance of a new ray.
constexpr float far_away = 1e6f;

inline const std::vector<Box> three_in_a_row = {
    {{0, 0, 0}, {1, 1, 1}}, {{2, 0, 0}, {3, 1, 1}}, {{4, 0, 0}, {5, 1, 1}}};

/// A ray from distance 0 to `far_away` in cache slot 0.
inline Ray make_ray(const double (&origin)[3], const double (&direction)[3]) {
    Ray ray;
    for (unsigned axis = 0; axis < 3; ++axis) {
        ray.origin[axis] = origin[axis];
        ray.direction[axis] = direction[axis];
        ray.inverse[axis] = inverse_component(direction[axis]);
    }
    ray.far_distance = ray.hit_distance = static_cast<double>(far_away);
    return ray;
}

/// What a nearest-hit callback does with a hit at `distance`; a negative distance is a miss.
inline void shorten(Ray& ray, double distance) {
    if (distance >= 0.0 && distance < ray.hit_distance) {
        ray.hit_distance = distance;
        ray.hit_flag = true;
    }
}

} // namespace naive
