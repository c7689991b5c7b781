// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// The vertices and faces of the Wavefront OBJ file of that text, which is changed. Throws a
/// UserError that names `path`. Which faces were left out, and the parser's warnings, go to
/// standard error.
TriangleMesh parse_obj(std::string& text, const std::string& path);

} // namespace gas_app
