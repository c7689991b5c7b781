// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/host/host.h>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// The triangles of an STL file, ascii or binary; normals are passed over. Throws a UserError that
/// names `path` and the place. Triangles with a corner that is not finite as floats are left out,
/// which standard error is told of. Fills a share of the progress bar, which may be null.
TriangleMesh parse_stl(const std::string& text, const std::string& path,
                       AppProgressBar* progress_bar = nullptr, float share = 1.0f);

} // namespace gas_app
