// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// An affine map: the images of the axes and of the origin.
struct Transform {
    Vec3 x{1.0, 0.0, 0.0};
    Vec3 y{0.0, 1.0, 0.0};
    Vec3 z{0.0, 0.0, 1.0};
    Vec3 origin{0.0, 0.0, 0.0};

    Vec3 apply_to_vector(const Vec3& vector) const {
        return x * vector.x + y * vector.y + z * vector.z;
    }
    Vec3 apply_to_point(const Vec3& point) const { return apply_to_vector(point) + origin; }
    /// The box around the image of `box`.
    Box apply_to_box(const Box& box) const {
        Box image = empty_box();
        for (unsigned corner = 0; corner < 8; ++corner)
            grow(image, apply_to_point(get_corner(box, corner)));
        return image;
    }
    /// Maps the normal of a surface by the inverse of this map; the result is not of length 1.
    Vec3 apply_inverse_to_normal(const Vec3& normal) const {
        return {dot(x, normal), dot(y, normal), dot(z, normal)};
    }

    Transform get_inverse() const {
        const Vec3 yz = cross(y, z);
        const Vec3 zx = cross(z, x);
        const Vec3 xy = cross(x, y);
        const double scale = 1.0 / dot(x, yz);
        Transform inverse;
        inverse.x = Vec3{yz.x, zx.x, xy.x} * scale;
        inverse.y = Vec3{yz.y, zx.y, xy.y} * scale;
        inverse.z = Vec3{yz.z, zx.z, xy.z} * scale;
        inverse.origin = inverse.apply_to_vector(origin) * -1.0;
        return inverse;
    }

    /// First `other`, then this one.
    Transform operator*(const Transform& other) const {
        return {apply_to_vector(other.x), apply_to_vector(other.y), apply_to_vector(other.z),
                apply_to_point(other.origin)};
    }
};

/// Every point moves in a straight line from its image under `a` to its image under `b`.
inline Transform blend(const Transform& a, const Transform& b, double fraction) {
    return {mix(a.x, b.x, fraction), mix(a.y, b.y, fraction), mix(a.z, b.z, fraction),
            mix(a.origin, b.origin, fraction)};
}

inline Transform translate(const Vec3& offset) {
    Transform transform;
    transform.origin = offset;
    return transform;
}

inline Transform scale(double x, double y, double z) {
    return {{x, 0.0, 0.0}, {0.0, y, 0.0}, {0.0, 0.0, z}, {0.0, 0.0, 0.0}};
}

inline Transform scale(double factor) { return scale(factor, factor, factor); }

/// Turns by `angle` (radians) around an axis of length 1 through the origin.
inline Transform rotate(const Vec3& axis, double angle) {
    const double sine = std::sin(angle);
    const double cosine = std::cos(angle);
    const auto turn = [&](const Vec3& vector) {
        return vector * cosine + cross(axis, vector) * sine +
               axis * (dot(axis, vector) * (1.0 - cosine));
    };
    return {turn({1.0, 0.0, 0.0}), turn({0.0, 1.0, 0.0}), turn({0.0, 0.0, 1.0}), {0.0, 0.0, 0.0}};
}

} // namespace gas_app
