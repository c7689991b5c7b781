// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bench/bench_triangle.h>

namespace gas_bench {

/// Four rays side by side, for callbacks of several rays.
struct RayGroup {
    GMathVec3<SimdF> origin;
    GMathVec3<SimdF> direction;
    SimdF near_distance;
};

inline GMathVec3<SimdF> spread(const GMathVec3<float>& vector) {
    return {SimdF(vector.x), SimdF(vector.y), SimdF(vector.z)};
}

/// The mask of the lines that meet the triangle, with the results of `intersect` for one ray. The
/// library and the peer both call this function for packets.
inline int intersect(const Triangle& triangle, const RayGroup& rays, const SimdF& far_distance,
                     SimdF& distance) {
    const SimdF zero(0.0f);
    const SimdF one(1.0f);
    const GMathVec3<SimdF> first_edge = spread(triangle.corners[1] - triangle.corners[0]);
    const GMathVec3<SimdF> second_edge = spread(triangle.corners[2] - triangle.corners[0]);
    const GMathVec3<SimdF> normal = cross(rays.direction, second_edge);
    const SimdF determinant = dot(first_edge, normal);
    // A determinant of 0 gives an infinity or a NaN.
    const SimdF inverse = one / determinant;
    const GMathVec3<SimdF> offset = rays.origin - spread(triangle.corners[0]);
    const SimdF u = dot(offset, normal) * inverse;
    const SimdF is_beside =
        (u >= zero) & (u <= one) & ((determinant < zero) | (determinant > zero));
    if (is_beside.get_mask() == 0)
        return 0;
    const GMathVec3<SimdF> turned = cross(offset, first_edge);
    const SimdF v = dot(rays.direction, turned) * inverse;
    distance = dot(second_edge, turned) * inverse;
    const SimdF is_inside = is_beside & (v >= zero) & (u + v <= one);
    return (is_inside & (distance > rays.near_distance) & (distance < far_distance)).get_mask();
}

} // namespace gas_bench
