// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/gmath_vec3.h>

inline namespace gas_abi1 {

/// An axis-aligned bounding box (AABB): min x, y, z, then max x, y, z; a plain value. Both corners
/// belong to it.
template <typename T> struct GMathBbox3 {
    GMathVec3<T> min;
    GMathVec3<T> max;

    bool operator==(const GMathBbox3& other) const { return min == other.min && max == other.max; }
    bool operator!=(const GMathBbox3& other) const { return !(*this == other); }
};

static_assert(sizeof(GMathBbox3<float>) == 6 * sizeof(float), "six coordinates, no padding");
static_assert(sizeof(GMathBbox3<double>) == 6 * sizeof(double), "six coordinates, no padding");

} // namespace gas_abi1
