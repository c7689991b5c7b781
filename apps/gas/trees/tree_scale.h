// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// The scale of compressed trees: they are built over scaled boxes and get scaled rays.
///
/// Before a bound is rounded outward to a step of its parent's box, the encoder moves it outward by
/// w = 3.92e-5 units (gas_box_codec.h), whatever the size of the scene. That has to cover the
/// rounding of encoder and decoder. Let M bound every coordinate and every extent of the tree's box
/// and u = 2^-24 be the rounding of one float operation. The encoder moves the bound (M u),
/// subtracts the parent's (M u), divides 255 by the extent and multiplies (2M u); the decoder
/// multiplies by a rounded 1/255 (2M u), by the steps (M u) and adds the parent's bound (M u). That
/// is 8 M u, which is less than w up to M = 82. So trees are scaled to an M of 32 to 64: every
/// decoded box contains its exact box, and w is as small beside the boxes as possible.
///
/// The scale is a power of two, and origin and direction of a ray are both multiplied by it. Then
/// coordinates keep all their bits, and the distances at which a ray enters boxes are the very same
/// numbers: hits are found and compared as they are without a scale.
inline double get_tree_scale(const Box& bounds) {
    constexpr int largest_exponent = 6; // M is below 2^6
    const Vec3 size = bounds.max - bounds.min;
    const double measure = std::max({get_reach(bounds), size.x, size.y, size.z});
    if (!(measure > 0.0) || !std::isfinite(measure))
        return 1.0;
    int exponent = 0;
    std::frexp(measure, &exponent);
    return std::ldexp(1.0, largest_exponent - exponent);
}

} // namespace gas_app
