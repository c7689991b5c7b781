#pragma once

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// A ray's direction for the triangle test: its longest axis becomes the third, and a shear maps
/// the ray onto that axis.
struct RayShear {
    unsigned axis_x = 0;
    unsigned axis_y = 1;
    unsigned axis_z = 2;
    double shear_x = 0.0;
    double shear_y = 0.0;
    double scale_z = 1.0;

    RayShear() = default;
    explicit RayShear(const Vec3& direction) {
        const double x = std::abs(direction.x);
        const double y = std::abs(direction.y);
        const double z = std::abs(direction.z);
        axis_z = x > y ? (x > z ? 0 : 2) : (y > z ? 1 : 2);
        axis_x = (axis_z + 1) % 3;
        axis_y = (axis_z + 2) % 3;
        scale_z = 1.0 / direction[axis_z];
        shear_x = direction[axis_x] * scale_z;
        shear_y = direction[axis_y] * scale_z;
    }
};

/// Where a ray meets an item: the distance in units of the ray's direction and, for triangles, the
/// weights of the second and the third corner.
struct ItemHit {
    double distance = 0.0;
    double u = 0.0;
    double v = 0.0;
};

/// The watertight ray-triangle test of Woop, Benthin and Wald (Journal of Computer Graphics
/// Techniques 2(1), 2013), in double precision, for triangles seen from either side. Two triangles
/// with a common edge get the same edge function there but for its sign, so that no ray slips
/// between them. The caller checks the distance against its range.
inline bool intersect_triangle(const Vec3& origin, const RayShear& ray, const Vec3& vertex_a,
                               const Vec3& vertex_b, const Vec3& vertex_c, ItemHit& hit) {
    const Vec3 a = vertex_a - origin;
    const Vec3 b = vertex_b - origin;
    const Vec3 c = vertex_c - origin;

    const double ax = a[ray.axis_x] - ray.shear_x * a[ray.axis_z];
    const double ay = a[ray.axis_y] - ray.shear_y * a[ray.axis_z];
    const double bx = b[ray.axis_x] - ray.shear_x * b[ray.axis_z];
    const double by = b[ray.axis_y] - ray.shear_y * b[ray.axis_z];
    const double cx = c[ray.axis_x] - ray.shear_x * c[ray.axis_z];
    const double cy = c[ray.axis_y] - ray.shear_y * c[ray.axis_z];

    const double weight_a = cx * by - cy * bx;
    const double weight_b = ax * cy - ay * cx;
    const double weight_c = bx * ay - by * ax;
    if ((weight_a < 0.0 || weight_b < 0.0 || weight_c < 0.0) &&
        (weight_a > 0.0 || weight_b > 0.0 || weight_c > 0.0))
        return false;
    const double sum = weight_a + weight_b + weight_c;
    if (sum == 0.0)
        return false;

    const double inverse = 1.0 / sum;
    hit.u = weight_b * inverse;
    hit.v = weight_c * inverse;
    hit.distance =
        (weight_a * a[ray.axis_z] + weight_b * b[ray.axis_z] + weight_c * c[ray.axis_z]) *
        ray.scale_z * inverse;
    return true;
}

} // namespace gas_app
