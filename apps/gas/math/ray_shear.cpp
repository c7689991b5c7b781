// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/math/ray_shear.h>

namespace gas_app {

bool RayShear::intersect_triangle(const Vec3& origin, const Vec3& vertex_a, const Vec3& vertex_b,
                                  const Vec3& vertex_c, ItemHit& hit) const {
    // From the origin, along the axes of the ray, and sheared.
    const Vec3 start = turn(origin);
    const auto shear = [&](const Vec3& vertex) {
        const Vec3 turned = turn(vertex);
        const double z = turned.z - start.z;
        return Vec3{turned.x - start.x - m_shear_x * z, turned.y - start.y - m_shear_y * z, z};
    };
    const Vec3 a = shear(vertex_a);
    const Vec3 b = shear(vertex_b);
    const Vec3 c = shear(vertex_c);

    const double weight_a = c.x * b.y - c.y * b.x;
    const double weight_b = a.x * c.y - a.y * c.x;
    const double weight_c = b.x * a.y - b.y * a.x;
    if ((weight_a < 0.0 || weight_b < 0.0 || weight_c < 0.0) &&
        (weight_a > 0.0 || weight_b > 0.0 || weight_c > 0.0))
        return false;
    const double sum = weight_a + weight_b + weight_c;
    if (sum == 0.0)
        return false;

    const double inverse = 1.0 / sum;
    hit.u = weight_b * inverse;
    hit.v = weight_c * inverse;
    hit.distance = (weight_a * a.z + weight_b * b.z + weight_c * c.z) * m_scale_z * inverse;
    return true;
}

} // namespace gas_app
