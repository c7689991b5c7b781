// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// The padding of boxes.
///
/// Pictures must not depend on the order in which a tree is walked, so no leaf that holds a ray's
/// nearest hit, or one at equal distance, may be left out by the rounding of the box test. The test
/// works in floats. Let R bound every coordinate of the ray's origin, of the item and of its box,
/// and u = 2^-24 be the rounding of one float operation. Along each axis, counted as a shift of the
/// box's face: the origin is rounded (R u), subtracted from the face (2R u), multiplied (2R u) by
/// an inverse direction that was rounded (2R u) and compared with a hit distance that was rounded
/// (2R u); a face between two motion samples is a sum of two products with weights of which one was
/// rounded (4R u), and the samples' faces were rounded themselves (R u). Together that is less than
/// 16 R u = 2^-20 R. Boxes are padded by twice as much, 2^-19 R, and a hit counts only where its
/// point lies within a quarter of the padding of the item's exact box. So every box that holds a
/// hit is entered strictly before the hit and left strictly after it in floats, too: a walk that
/// skips boxes at or beyond the nearest hit finds everything that testing every item finds.
inline double get_box_padding(double reach) { return reach * 0x1p-19; }

/// The padded box in floats, then multiplied by `scale`, a power of two.
inline GMathBbox3<float> pad_box(const Box& box, double padding, double scale = 1.0) {
    const Vec3 all{padding, padding, padding};
    return {to_float((box.min - all) * scale), to_float((box.max + all) * scale)};
}

/// Whether a hit's point is close enough to the item's exact box to count. It nearly always is: the
/// exception is a triangle so nearly edge-on that its distance is lost in rounding.
inline bool is_within(const Box& box, const Vec3& point, double padding) {
    const double slack = 0.25 * padding;
    return point.x >= box.min.x - slack && point.x <= box.max.x + slack &&
           point.y >= box.min.y - slack && point.y <= box.max.y + slack &&
           point.z >= box.min.z - slack && point.z <= box.max.z + slack;
}

} // namespace gas_app
