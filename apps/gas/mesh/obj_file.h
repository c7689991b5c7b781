// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/mesh/read_progress.h>
#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// The vertices and faces of the Wavefront OBJ file of that text, which is changed. Throws a
/// UserError that names `path`. Which faces were left out, and the parser's warnings, go to
/// standard error. Fills a share of the progress bar, which may be null.
TriangleMesh parse_obj(std::string& text, const std::string& path,
                       AppProgressBar* progress_bar = nullptr, float share = 1.0f);

} // namespace gas_app
