// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// Cuts a polygon over the mesh's vertices into `count` - 2 triangles that turn as it does, and
/// adds them; `count` is 3 or more. Concave polygons are cut inside their outline, but for those of
/// more than 512 corners.
void add_polygon(TriangleMesh& mesh, const unsigned* corners, unsigned count);

} // namespace gas_app
