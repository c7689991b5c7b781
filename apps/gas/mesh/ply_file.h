// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/host/host.h>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// The element `vertex` and the element `face` of a PLY file, ascii or binary; other elements and
/// properties are passed over. Throws a UserError that names `path` and the place. Which faces
/// were left out goes to standard error. Fills a share of the progress bar, which may be null.
TriangleMesh parse_ply(const std::string& text, const std::string& path,
                       AppProgressBar* progress_bar = nullptr, float share = 1.0f);

} // namespace gas_app
