// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// Appends `part` to `mesh`; both have colours or neither.
void append(TriangleMesh& mesh, const TriangleMesh& part);

/// A ball of radius 1 around the origin: an icosahedron, each triangle cut in four `levels` times.
TriangleMesh make_ball(unsigned levels);

/// A ball with dents and flat spots, of about radius 1.
TriangleMesh make_rock(unsigned levels, std::uint64_t seed);

/// A tube of radius `thickness` along a knot that winds `turns` times around the upward axis and
/// `twists` times around its own ring, of about radius 1.
TriangleMesh make_torus_knot(unsigned turns, unsigned twists, double thickness, unsigned length,
                             unsigned around);

/// A toothed wheel of radius 1 around the z axis, `depth` thick, with a hole.
TriangleMesh make_gear(unsigned teeth, double depth);

/// A column of `sides` sides of radius 1 from y = 0 to 1, its upper edge cut off by `bevel`.
TriangleMesh make_column(unsigned sides, double bevel);

/// A round sheet of radius 1 at y = 0.
TriangleMesh make_disc(unsigned rings, unsigned sectors);

/// A conifer of height 1: a trunk and cones of branches, with colours.
TriangleMesh make_conifer(unsigned tiers, unsigned branches, std::uint64_t seed);

} // namespace gas_app
