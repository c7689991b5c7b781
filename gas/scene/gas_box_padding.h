// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Item boxes as a tree needs them: in floats, rounded outward, and padded so far that no ray
/// misses a box that holds its hit, whatever the box test rounds. "Padding" in docs/numerics.md
/// has the reason.
///
///     const double reach = std::max(gas_get_reach(scene_bounds), gas_get_reach(camera));
///     const double padding = gas_get_box_padding(reach);
///     boxes[item] = gas_pad_box(bounds_of(item), padding);
///
/// All of these are functions of their arguments alone; any thread may call them at any time.

/// The largest coordinate, without its sign. NaN does not count; a box whose min lies above its max
/// along any axis holds nothing, and has a reach of 0.
GAS_EXPORT double gas_get_reach(const GMathVec3<double>& point);
GAS_EXPORT double gas_get_reach(const GMathBbox3<double>& box);
GAS_EXPORT double gas_get_reach(const GMathBbox3<float>& box);

/// How far the boxes of a tree are padded: 2^-19 of `reach`, which is finite and not negative, and
/// bounds the coordinates of all items, at all motion samples, and of all points that rays start
/// from, in the space of the tree.
GAS_EXPORT double gas_get_box_padding(double reach);

/// The reverse: from how far rays may start where boxes have this padding. A ray loses no hit in
/// such a tree as long as no coordinate of its origin, and none of the items, is larger than this.
/// Distances from the origin of coordinates count, not those from the items. Lengths near the
/// limits of a float's exponents are the exception: 1e-30 to 1e30 is far enough from them.
GAS_EXPORT double gas_get_ray_reach(double padding);

/// `box` moved outward by `padding` on every side, computed in double, multiplied by `scale`, and
/// rounded outward to floats; it holds the exact `box` times `scale`, as long as no bound times
/// `scale` is so large or so small (but for 0) that it leaves the doubles.
/// `padding`: finite and not negative; 0 only rounds, which is too little for rays.
/// `scale`: a power of two, for compressed trees and grids (gas_scene_scale.h).
/// Infinite bounds stay as they are and a NaN stays a NaN. Bounds beyond all floats become infinite
/// if that is outward, and else the largest float.
GAS_EXPORT GMathBbox3<float> gas_pad_box(const GMathBbox3<double>& box, double padding,
                                         double scale = 1.0);
GAS_EXPORT GMathBbox3<float> gas_pad_box(const GMathBbox3<float>& box, double padding,
                                         double scale = 1.0);

/// Whether a hit at `point` is one that padding promises to find: within a quarter of `padding` of
/// the item's exact box. Points that an intersection computes nearly always are; the exception is
/// an item so nearly edge-on that its distance is lost in rounding. A callback that refuses such
/// hits finds the very same with a tree and with every item tried. False for a NaN.
GAS_EXPORT bool gas_is_within_padding(const GMathBbox3<double>& box, const GMathVec3<double>& point,
                                      double padding);

} // namespace gas_abi1
