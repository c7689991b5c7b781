// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/gmath_vec3.h>

inline namespace gas_abi1 {

/// A convex region as up to six planes; a point p is inside when normal . p + offset >= 0 for
/// every plane. Without planes everything is inside. gmath_make_pinhole_frustum makes one for the
/// rays of a camera's tile.
class GMathFrustum {
  public:
    static constexpr unsigned max_plane_count = 6;

    struct Plane {
        GMathVec3<double> normal;
        double offset;
    };

    /// Adds a plane; ignored when there are six already.
    void add_plane(const GMathVec3<double>& normal, double offset) {
        if (m_plane_count < max_plane_count)
            m_planes[m_plane_count++] = {normal, offset};
    }

    void clear() { m_plane_count = 0; }

    unsigned get_plane_count() const { return m_plane_count; }
    const Plane& get_plane(unsigned index) const { return m_planes[index]; }

  private:
    unsigned m_plane_count = 0;
    Plane m_planes[max_plane_count] = {};
};

} // namespace gas_abi1
