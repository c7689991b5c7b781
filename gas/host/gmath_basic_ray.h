// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>

#include <gas/host/gmath_vec3.h>
#include <gas/host/simd/rounded_product.h>

inline namespace gas_abi1 {

/// A ray's line: origin, direction (any length), inverse direction and sign flags. Setting the
/// direction derives the last two, so they always agree with it.
class GMathBasicRay {
  public:
    /// A ray at the origin along +z.
    GMathBasicRay() : GMathBasicRay({0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}) {}

    GMathBasicRay(const GMathVec3<double>& origin, const GMathVec3<double>& direction)
        : m_origin(origin) {
        set_direction(direction);
    }

    void set_origin(const GMathVec3<double>& origin) { m_origin = origin; }

    void set_direction(const GMathVec3<double>& direction) {
        m_direction = direction;
        for (unsigned axis = 0; axis < 3; ++axis) {
            m_inverse_direction[axis] = invert(direction[axis]);
            m_sign[axis] = direction[axis] < 0.0 ? 1 : 0;
        }
    }

    const GMathVec3<double>& get_origin() const { return m_origin; }
    const GMathVec3<double>& get_direction() const { return m_direction; }

    /// Per axis 1 / direction. A zero of either sign gives +infinity, which the slab test expects
    /// of an axis-parallel ray; a component so small that its reciprocal overflows a float gives
    /// the largest finite float of its sign.
    const GMathVec3<double>& get_inverse_direction() const { return m_inverse_direction; }

    /// 1 where the direction's component is negative, else 0 (also for -0.0).
    unsigned get_sign(unsigned axis) const { return m_sign[axis]; }

    /// The point at `distance`, in units of the direction's length.
    GMathVec3<double> get_point(double distance) const {
        return m_origin + gas_rounded(m_direction * distance);
    }

  private:
    static double invert(double component) {
        if (component == 0.0)
            return std::numeric_limits<double>::infinity();
        constexpr double largest = static_cast<double>(std::numeric_limits<float>::max());
        const double inverse = 1.0 / component;
        return std::abs(inverse) > largest ? std::copysign(largest, component) : inverse;
    }

    GMathVec3<double> m_origin;
    GMathVec3<double> m_direction;
    GMathVec3<double> m_inverse_direction;
    unsigned char m_sign[3];
};

} // namespace gas_abi1
