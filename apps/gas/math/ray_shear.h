// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/math/vector_math.h>

namespace gas_app {

struct ItemHit;

/// A ray's direction for the triangle test: the axes are turned until its longest is the third, and
/// a shear maps the ray onto that axis.
class RayShear {
  public:
    RayShear() = default;
    explicit RayShear(const Vec3& direction) {
        const double x = std::abs(direction.x);
        const double y = std::abs(direction.y);
        const double z = std::abs(direction.z);
        m_longest_axis = x > y ? (x > z ? 0 : 2) : (y > z ? 1 : 2);
        const Vec3 turned = turn(direction);
        m_scale_z = 1.0 / turned.z;
        m_shear_x = turned.x * m_scale_z;
        m_shear_y = turned.y * m_scale_z;
    }

    /// The watertight ray-triangle test of Woop, Benthin and Wald (Journal of Computer Graphics
    /// Techniques 2(1), 2013), in double precision, for triangles seen from either side. Two
    /// triangles with a common edge get the same edge function there but for its sign, so that no
    /// ray slips between them. The caller checks the distance against its range.
    bool intersect_triangle(const Vec3& origin, const Vec3& vertex_a, const Vec3& vertex_b,
                            const Vec3& vertex_c, ItemHit& hit) const;

  private:
    Vec3 turn(const Vec3& vector) const {
        switch (m_longest_axis) {
        case 0:
            return {vector.y, vector.z, vector.x};
        case 1:
            return {vector.z, vector.x, vector.y};
        default:
            return vector;
        }
    }

    unsigned m_longest_axis = 2;
    double m_shear_x = 0.0;
    double m_shear_y = 0.0;
    double m_scale_z = 1.0;
};

/// Where a ray meets an item: the distance in units of the ray's direction and, for triangles, the
/// weights of the second and the third corner.
struct ItemHit {
    double distance = 0.0;
    double u = 0.0;
    double v = 0.0;
};

} // namespace gas_app
