// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/mesh/triangle_mesh.h>
#include <apps/gas/scene/sphere_shape.h>

namespace gas_app {

/// Parts of the procedural scene, a garden around a pond. The shutter of a single picture
/// is open from time 0 to 1.

/// `count` tiles and pebbles of very different sizes around the pond, coloured.
TriangleMesh make_tiles(unsigned count, double inner_radius, double spacing);

/// The distance from the centre at which `count` tiles end.
double get_tiles_radius(unsigned count, double inner_radius, double spacing);

/// Heights of the water at `time`: moves the vertices of a disc of radius 1 up and down.
std::vector<Vec3> make_ripples(const std::vector<Vec3>& disc, double time);

/// A swarm of `count` tiny spheres that circle around the upward axis, at `time`.
std::vector<Sphere> make_swarm(unsigned count, double time);

} // namespace gas_app
