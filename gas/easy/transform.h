// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/easy/easy_export.h>
#include <gas/easy/values.h>

namespace gas {
inline namespace gas_abi1 {

/// An affine map, from the space of an instance to that around it: a point p goes to the sums of
/// `rows[i][0] * p.x + rows[i][1] * p.y + rows[i][2] * p.z + rows[i][3]`. The identity at first.
struct Transform {
    double rows[3][4] = {{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}};
};

GAS_EASY_EXPORT Transform translation(const Vector& offset);
GAS_EASY_EXPORT Transform scaling(const Vector& factors);
/// Around an axis through the origin, whose length is not 0, by the right hand.
GAS_EASY_EXPORT Transform rotation(const Vector& axis, double radians);

/// First `second`, then `first`, as matrices are multiplied.
GAS_EASY_EXPORT Transform operator*(const Transform& first, const Transform& second);
/// Throws Error where there is none: the map is flat, or holds a number that is not finite.
GAS_EASY_EXPORT Transform invert(const Transform& transform);
/// From `first` (fraction 0) to `second` (1), each number on its own: points move on lines.
GAS_EASY_EXPORT Transform blend(const Transform& first, const Transform& second, double fraction);

GAS_EASY_EXPORT Vector transform_point(const Transform& transform, const Vector& point);
/// Without the offset.
GAS_EASY_EXPORT Vector transform_direction(const Transform& transform, const Vector& direction);
/// The box around the transformed box.
GAS_EASY_EXPORT Box transform_box(const Transform& transform, const Box& box);

} // namespace gas_abi1
} // namespace gas
