// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// Reads a Wavefront OBJ file: its vertices and its faces, polygons cut into triangles. Throws a
/// UserError that names the file when it cannot be read, is malformed, or holds no triangle; the
/// parser's warnings go to standard error.
TriangleMesh load_obj_file(const std::string& path);

/// The whole file as bytes; throws a UserError.
std::string read_file(const std::string& path);

} // namespace gas_app
