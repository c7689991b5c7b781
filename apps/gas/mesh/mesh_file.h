// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/host/host.h>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// Reads a mesh: a file that begins as a PLY file, one whose name ends in `.stl`, any other as
/// Wavefront OBJ. Polygons are cut into triangles, faces of one or two corners or with one
/// that is not finite as floats are left out, and vertices in the same place become one. Throws a
/// UserError that names the file and the place when it cannot be read, is malformed, or holds no
/// triangle; notes go to standard error. Fills the progress bar, which may be null.
TriangleMesh load_mesh_file(const std::string& path, AppProgressBar* progress_bar = nullptr);

} // namespace gas_app
