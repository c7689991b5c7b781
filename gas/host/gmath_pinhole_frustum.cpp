// SPDX-License-Identifier: Apache-2.0
#include <gas/host/gmath_pinhole_frustum.h>

#include <cmath>

inline namespace gas_abi1 {

namespace {

using Vector = GMathVec3<double>;

// Box tests round origin, inverse direction and distances to floats. A box that a ray hits by their
// rounding lies within 2^-20 of the distance to it, plus 2^-22 of the eye's coordinates; these
// margins are four times that.
constexpr double margin_of_distance = 0x1p-18;
constexpr double margin_of_eye = 0x1p-20;

// Unit vectors that are closer to parallel than this span no usable plane.
constexpr double least_sine = 1e-9;
// A corner within this distance of a plane lies in it.
constexpr double flatness = 1e-12;
// Corners further from the tile's axis are nearly a half-space apart.
constexpr double least_cosine = 0.01;

double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

Vector cross(const Vector& a, const Vector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Makes a vector of any finite length but 0 a unit one; false for others.
bool normalize(Vector& vector) {
    double largest = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(vector[axis]))
            return false;
        if (std::abs(vector[axis]) > largest)
            largest = std::abs(vector[axis]);
    }
    if (largest == 0.0)
        return false;
    for (unsigned axis = 0; axis < 3; ++axis)
        vector[axis] /= largest;
    vector = vector * (1.0 / std::sqrt(dot(vector, vector)));
    return true;
}

/// A tile's corners as unit vectors, their middle direction, and its angle to them.
struct Cone {
    Vector corners[4];
    Vector axis;
    double least_cosine_to_axis;
};

bool make_cone(const Vector (&corners)[4], Cone& cone) {
    cone.axis = {0.0, 0.0, 0.0};
    for (unsigned i = 0; i < 4; ++i) {
        cone.corners[i] = corners[i];
        if (!normalize(cone.corners[i]))
            return false;
        cone.axis = cone.axis + cone.corners[i];
    }
    if (!normalize(cone.axis))
        return false;
    cone.least_cosine_to_axis = 1.0;
    for (const Vector& corner : cone.corners) {
        const double cosine = dot(corner, cone.axis);
        if (cosine < cone.least_cosine_to_axis)
            cone.least_cosine_to_axis = cosine;
    }
    return cone.least_cosine_to_axis >= least_cosine;
}

/// The normal of the side between corner `side` and the next, pointing to the other two; false when
/// the plane does not have both of them on one side.
bool find_side(const Cone& cone, unsigned side, Vector& normal) {
    normal = cross(cone.corners[side], cone.corners[(side + 1) % 4]);
    if (!(dot(normal, normal) > least_sine * least_sine) || !normalize(normal))
        return false;
    const double third = dot(normal, cone.corners[(side + 2) % 4]);
    const double fourth = dot(normal, cone.corners[(side + 3) % 4]);
    const bool is_flat = std::abs(third) <= flatness && std::abs(fourth) <= flatness;
    if (is_flat)
        return false;
    if (third >= -flatness && fourth >= -flatness)
        return true;
    normal = normal * -1.0;
    return third <= flatness && fourth <= flatness;
}

} // namespace

GMathFrustum gmath_make_pinhole_frustum(const GMathVec3<double>& eye,
                                        const GMathVec3<double> (&corners)[4], double near_distance,
                                        double far_distance) {
    GMathFrustum frustum;
    Cone cone;
    const double eye_size = std::abs(eye.x) + std::abs(eye.y) + std::abs(eye.z);
    if (!std::isfinite(eye_size) || !make_cone(corners, cone))
        return frustum;
    const double slack = eye_size * margin_of_eye;

    // Tilted outwards: at every point of the cone the margin is a share of its distance.
    const Vector tilt = cone.axis * (margin_of_distance / cone.least_cosine_to_axis);
    for (unsigned side = 0; side < 4; ++side) {
        Vector normal;
        if (!find_side(cone, side, normal))
            continue;
        normal = normal + tilt;
        frustum.add_plane(normal, slack - dot(normal, eye));
    }

    // The depth of a point of the cone is at least this share of its distance.
    const double depth = dot(cone.axis, eye);
    if (near_distance > 0.0 && std::isfinite(near_distance)) {
        const double nearest = near_distance * cone.least_cosine_to_axis;
        frustum.add_plane(cone.axis, slack - depth - nearest * (1.0 - margin_of_distance));
    }
    if (far_distance >= 0.0 && std::isfinite(far_distance))
        frustum.add_plane(cone.axis * -1.0,
                          slack + depth + far_distance * (1.0 + margin_of_distance));
    return frustum;
}

} // namespace gas_abi1
