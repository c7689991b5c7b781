// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// Three coordinates in order x, y, z; a plain value.
template <typename T> struct GMathVec3 {
    T x;
    T y;
    T z;

    /// Coordinate of `axis` (0 = x, 1 = y, 2 = z).
    T& operator[](unsigned axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    const T& operator[](unsigned axis) const { return axis == 0 ? x : axis == 1 ? y : z; }

    bool operator==(const GMathVec3& other) const {
        return x == other.x && y == other.y && z == other.z;
    }
    bool operator!=(const GMathVec3& other) const { return !(*this == other); }

    GMathVec3 operator+(const GMathVec3& other) const {
        return {x + other.x, y + other.y, z + other.z};
    }
    GMathVec3 operator-(const GMathVec3& other) const {
        return {x - other.x, y - other.y, z - other.z};
    }
    GMathVec3 operator*(const T& factor) const { return {x * factor, y * factor, z * factor}; }
};

static_assert(sizeof(GMathVec3<float>) == 3 * sizeof(float), "three coordinates, no padding");
static_assert(sizeof(GMathVec3<double>) == 3 * sizeof(double), "three coordinates, no padding");

} // namespace gas_abi1
