// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include <gas/host/host.h>

/// Vectors and boxes of the program; geometry is computed in double precision.
namespace gas_app {

using Vec3 = GMathVec3<double>;
using Vec3f = GMathVec3<float>;
using Box = GMathBbox3<double>;

inline constexpr double pi = 3.14159265358979323846;
/// The angle of a spiral whose points spread evenly (Vogel 1979).
inline constexpr double golden_angle = 2.39996322972865332;

inline double dot(const Vec3& a, const Vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double length(const Vec3& vector) { return std::sqrt(dot(vector, vector)); }

/// The vector at length 1; straight up for a vector of length 0.
inline Vec3 normalized(const Vec3& vector) {
    const double size = length(vector);
    return size > 0.0 ? vector * (1.0 / size) : Vec3{0.0, 1.0, 0.0};
}

/// The lowest power of two that is not below a positive number.
inline double round_up_to_power(double number) {
    int exponent = 0;
    const double fraction = std::frexp(number, &exponent);
    return std::ldexp(fraction > 0.5 ? 1.0 : 0.5, exponent);
}

/// Component by component.
inline Vec3 multiply(const Vec3& a, const Vec3& b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }

inline Vec3 mix(const Vec3& a, const Vec3& b, double fraction) { return a + (b - a) * fraction; }

inline Vec3 to_double(const Vec3f& vector) {
    return {static_cast<double>(vector.x), static_cast<double>(vector.y),
            static_cast<double>(vector.z)};
}

inline Vec3f to_float(const Vec3& vector) {
    return {static_cast<float>(vector.x), static_cast<float>(vector.y),
            static_cast<float>(vector.z)};
}

/// A box that holds nothing; growing it by a point gives that point.
inline Box empty_box() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
}

inline void grow(Box& box, const Vec3& point) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        box.min[axis] = std::min(box.min[axis], point[axis]);
        box.max[axis] = std::max(box.max[axis], point[axis]);
    }
}

inline void grow(Box& box, const Box& other) {
    grow(box, other.min);
    grow(box, other.max);
}

inline Box to_double(const GMathBbox3<float>& box) {
    return {to_double(box.min), to_double(box.max)};
}

inline Vec3 get_center(const Box& box) { return (box.min + box.max) * 0.5; }

/// Corner `index` (0..7) of a box.
inline Vec3 get_corner(const Box& box, unsigned index) {
    return {index & 1 ? box.max.x : box.min.x, index & 2 ? box.max.y : box.min.y,
            index & 4 ? box.max.z : box.min.z};
}

/// Two unit vectors that stand upright on `normal` (length 1) and on each other.
inline void get_tangents(const Vec3& normal, Vec3& tangent, Vec3& bitangent) {
    const Vec3 helper = std::abs(normal.x) > 0.7 ? Vec3{0.0, 1.0, 0.0} : Vec3{1.0, 0.0, 0.0};
    tangent = normalized(cross(helper, normal));
    bitangent = cross(normal, tangent);
}

} // namespace gas_app
