// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

#include <bench/bench_scene.h>

namespace gas_bench {

/// A ray for the intersection. Distances are in units of the direction's length.
struct Ray {
    GMathVec3<float> origin;
    GMathVec3<float> direction;
    float near_distance;
    float far_distance;
    float time;
};

template <typename Number> Number dot(const GMathVec3<Number>& a, const GMathVec3<Number>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <typename Number>
GMathVec3<Number> cross(const GMathVec3<Number>& a, const GMathVec3<Number>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// The vector at length 1; the third axis for a vector without length.
inline GMathVec3<float> normalize(const GMathVec3<float>& vector) {
    const float length = std::sqrt(dot(vector, vector));
    return length > 0.0f ? vector * (1.0f / length) : GMathVec3<float>{0.0f, 0.0f, 1.0f};
}

inline GMathVec3<double> widen(const GMathVec3<float>& vector) {
    return {static_cast<double>(vector.x), static_cast<double>(vector.y),
            static_cast<double>(vector.z)};
}

/// Whether the line meets the triangle between the two distances, both excluded, and at which
/// `distance` (Moeller and Trumbore 1997). The library and the peer both call this function.
inline bool intersect(const Triangle& triangle, const GMathVec3<float>& origin,
                      const GMathVec3<float>& direction, float near_distance, float far_distance,
                      float& distance) {
    const GMathVec3<float> first_edge = triangle.corners[1] - triangle.corners[0];
    const GMathVec3<float> second_edge = triangle.corners[2] - triangle.corners[0];
    const GMathVec3<float> normal = cross(direction, second_edge);
    const float determinant = dot(first_edge, normal);
    if (determinant == 0.0f)
        return false;
    const float inverse = 1.0f / determinant;
    const GMathVec3<float> offset = origin - triangle.corners[0];
    const float u = dot(offset, normal) * inverse;
    if (!(u >= 0.0f && u <= 1.0f))
        return false;
    const GMathVec3<float> turned = cross(offset, first_edge);
    const float v = dot(direction, turned) * inverse;
    if (!(v >= 0.0f && u + v <= 1.0f))
        return false;
    distance = dot(second_edge, turned) * inverse;
    return distance > near_distance && distance < far_distance;
}

/// The triangle at `time`, 0 to 1.
inline Triangle blend(const Triangle& first, const Triangle& later, float time) {
    Triangle blended;
    for (unsigned i = 0; i < 3; ++i)
        blended.corners[i] = first.corners[i] * (1.0f - time) + later.corners[i] * time;
    return blended;
}

} // namespace gas_bench
