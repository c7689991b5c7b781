// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The smaller value; `b` where they are equal, `a` where one is a NaN.
inline float gas_min(float a, float b) { return a >= b ? b : a; }

/// The larger value; `b` where they are equal or one is a NaN.
inline float gas_max(float a, float b) { return a > b ? a : b; }

/// Grows `corner_min` and `corner_max` by a point or a box's corners. The running value is the
/// first operand, which decides for equal and unordered values.
inline void gas_grow(GMathVec3<float>& corner_min, GMathVec3<float>& corner_max,
                     const GMathVec3<float>& other_min, const GMathVec3<float>& other_max) {
    corner_min.x = gas_min(corner_min.x, other_min.x);
    corner_min.y = gas_min(corner_min.y, other_min.y);
    corner_min.z = gas_min(corner_min.z, other_min.z);
    corner_max.x = gas_max(corner_max.x, other_max.x);
    corner_max.y = gas_max(corner_max.y, other_max.y);
    corner_max.z = gas_max(corner_max.z, other_max.z);
}

/// Grows `box` by `other`.
inline void gas_unite(GMathBbox3<float>& box, const GMathBbox3<float>& other) {
    gas_grow(box.min, box.max, other.min, other.max);
}

/// `value` truncated towards zero into 0..`largest`; a NaN gives 0.
inline unsigned gas_truncate(float value, unsigned largest) {
    if (value >= static_cast<float>(largest))
        return largest;
    return value > 0.0f ? static_cast<unsigned>(value) : 0;
}

/// The centre of a box, each coordinate rounded step by step.
inline GMathVec3<float> gas_box_center(const GMathBbox3<float>& box) {
    return {(box.min.x + box.max.x) * 0.5f, (box.min.y + box.max.y) * 0.5f,
            (box.min.z + box.max.z) * 0.5f};
}

/// Half the surface area of a box of this extent, in double, from the single-precision sides.
inline double gas_half_area(const SimdF& extent) {
    float sides[4];
    extent.store(sides);
    const double dx = static_cast<double>(sides[0]);
    const double dy = static_cast<double>(sides[1]);
    const double dz = static_cast<double>(sides[2]);
    return (dx + dy) * dz + dx * dy;
}

/// One coordinate of a point, for loops over a fixed axis.
using GasCoordinate = float GMathVec3<float>::*;
inline constexpr GasCoordinate gas_coordinates[3] = {&GMathVec3<float>::x, &GMathVec3<float>::y,
                                                     &GMathVec3<float>::z};

} // namespace gas_abi1
