// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

#include <gas/core/gas_compiler.h>
#include <gas/core/gas_lane_box.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A ray as the box tests take it: floats, in lanes x, y, z; lane w is 0.
struct GasLaneRay {
    SimdF origin;
    SimdF inverse_direction;
    /// The near distance in all lanes.
    SimdF near_distance;

    GasLaneRay() = default;
    GasLaneRay(const GMathBasicRay& line, double near) {
        const GMathVec3<double>& from = gas_host::get_origin(line);
        const GMathVec3<double>& inverse = gas_host::get_inverse_direction(line);
        origin = SimdF::narrow(from.x, from.y, from.z);
        inverse_direction = load_inverse(inverse.x, inverse.y, inverse.z);
        near_distance = SimdF(static_cast<float>(near));
    }

    /// An infinite inverse becomes +infinity whatever its sign: an axis-parallel ray on a face of a
    /// box then gives a NaN on the side that the slab test's operand order ignores.
    static SimdF load_inverse(double x, double y, double z) {
        const SimdF narrow = SimdF::narrow(x, y, z);
        const SimdF is_minus_infinity = narrow < SimdF(std::numeric_limits<float>::lowest());
        return narrow ^ (is_minus_infinity & SimdF(-0.0f));
    }
};

inline GasLaneRay gas_get_lane_ray(GeometryRaytraceCtx& rays, unsigned ray) {
    return GasLaneRay(gas_host::get_line(gas_host::get_data(rays), ray), rays.get_tnear(ray));
}

/// The slab test (Kay and Kajiya 1986) of two boxes at once. Lane 0 of the mask: the ray is inside
/// the first box somewhere between its near distance and `far_distance` (in all lanes); lane 1: the
/// second. Lanes 0 and 1 of `entries` are the distances at which it enters them. `Floats` are the
/// lanes of one ray, or those of two.
///
/// A ray in a face gives 0 x infinity = NaN. The near side is min(t1, t0), the far side
/// max(t0, t1), and the running value is the second operand of the next operation, so that a NaN
/// lane never culls. No NaN is left when lanes are combined, so any order of combining is right.
template <typename Ray, typename Floats, typename BoxPair>
GAS_FORCE_INLINE Floats gas_enter_box_pair(const Ray& ray, const Floats& far_distance,
                                           const BoxPair& boxes, Floats& entries) {
    const auto get_near = [&](const Floats& t0, const Floats& t1) {
        return Floats::max(Floats::min(t1, t0), ray.near_distance);
    };
    const auto get_far = [&](const Floats& t0, const Floats& t1) {
        return Floats::min(Floats::max(t0, t1), far_distance);
    };
    const Floats first_t0 = (boxes.first.min - ray.origin) * ray.inverse_direction;
    const Floats first_t1 = (boxes.first.max - ray.origin) * ray.inverse_direction;
    const Floats second_t0 = (boxes.second.min - ray.origin) * ray.inverse_direction;
    const Floats second_t1 = (boxes.second.max - ray.origin) * ray.inverse_direction;

    const Floats first_near = get_near(first_t0, first_t1);
    const Floats second_near = get_near(second_t0, second_t1);
    const Floats first_far = get_far(first_t0, first_t1);
    const Floats second_far = get_far(second_t0, second_t1);

    // Side by side the pair's lanes are (x, x, y, y) and (z, z, w, w): w never enters lanes 0, 1.
    const Floats near_xy = Floats::interleave_low(first_near, second_near);
    const Floats near_zw = Floats::interleave_high(first_near, second_near);
    const Floats far_xy = Floats::interleave_low(first_far, second_far);
    const Floats far_zw = Floats::interleave_high(first_far, second_far);
    entries = Floats::max(Floats::max(near_xy, near_xy.move_high()), near_zw);
    const Floats exits = Floats::min(Floats::min(far_xy, far_xy.move_high()), far_zw);
    return entries <= exits;
}

/// The same for one ray, as bits.
inline int gas_test_box_pair(const GasLaneRay& ray, const SimdF& far_distance,
                             const GasBoxPair& boxes, SimdF& entries) {
    return gas_enter_box_pair(ray, far_distance, boxes, entries).get_mask() & 3;
}

/// The slab test of one box: whether the ray is inside it somewhere between its near distance and
/// `far_distance`. The same result as the test of a pair gives for either box.
inline bool gas_test_box(const GasLaneRay& ray, float far_distance, const SimdF& min,
                         const SimdF& max) {
    const SimdF t0 = (min - ray.origin) * ray.inverse_direction;
    const SimdF t1 = (max - ray.origin) * ray.inverse_direction;
    const SimdF near = SimdF::max(SimdF::min(t1, t0), ray.near_distance);
    const SimdF far = SimdF::min(SimdF::max(t0, t1), SimdF(far_distance));
    const SimdF entry = SimdF::max(SimdF::max(near, near.broadcast<1>()), near.broadcast<2>());
    const SimdF exit = SimdF::min(SimdF::min(far, far.broadcast<1>()), far.broadcast<2>());
    return ((entry <= exit).get_mask() & 1) != 0;
}

/// Whether two boxes share a point; touching boxes do. Lanes x, y, z; a NaN separates nothing.
inline bool gas_test_overlap(const SimdF& first_min, const SimdF& first_max,
                             const SimdF& second_min, const SimdF& second_max) {
    return (((first_max < second_min) | (second_max < first_min)).get_mask() & 7) == 0;
}

/// Whether a box lies outside a convex region: every corner beyond one of its planes. The corner
/// furthest along the plane's normal decides. In doubles, so that rounding never drops a box that a
/// ray of the region can hit.
inline bool gas_is_outside(const GMathFrustum& frustum, const SimdF& min, const SimdF& max) {
    const auto get_furthest = [&](double normal, unsigned axis) {
        return normal * static_cast<double>(normal > 0.0 ? max.get(axis) : min.get(axis));
    };
    const unsigned count = gas_host::get_plane_count(frustum);
    for (unsigned plane = 0; plane < count; ++plane) {
        const GMathVec3<double>& normal = gas_host::get_plane_normal(frustum, plane);
        const double distance = get_furthest(normal.x, 0) + get_furthest(normal.y, 1) +
                                get_furthest(normal.z, 2) +
                                gas_host::get_plane_offset(frustum, plane);
        if (distance < 0.0)
            return true;
    }
    return false;
}

} // namespace gas_abi1
