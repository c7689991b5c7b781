// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

#include <gas/host/gmath_frustum.h>
#include <gas/host/gmath_vec3.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// The frustum of a batch of rays from one pinhole through one tile of the picture. It is a little
/// wider than the rays, so that it keeps boxes that a ray at the border hits only by rounding.
///
/// `eye`: where all rays start. `corners`: directions of any length through the tile's four
/// corners, in order around it, in either sense. The rays go between them: each direction is a sum
/// of corner directions with weights of at least 0, as linear interpolation gives. No ray has a
/// near distance below 0. `near_distance`, `far_distance`: no ray begins nearer to the eye or ends
/// farther from it, in the scene's units; 0 and infinity leave their planes away.
///
/// A side without a well-defined plane (corners in one direction, a tile without area or crossed
/// over) is left out. A tile nearly as wide as a half-space, or with a number that is not finite,
/// gives a frustum without planes. So the frustum may hold more than the rays, never less.
GAS_HOST_EXPORT GMathFrustum gmath_make_pinhole_frustum(
    const GMathVec3<double>& eye, const GMathVec3<double> (&corners)[4], double near_distance = 0.0,
    double far_distance = std::numeric_limits<double>::infinity());

} // namespace gas_abi1
