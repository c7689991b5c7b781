// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

/// The axis (0 to 2) along which a mesh seems to stand, if it clearly is another one than
/// `up_axis`: most of its foot is flat there, and not along `up_axis`.
std::optional<unsigned> find_other_up_axis(const TriangleMesh& mesh, unsigned up_axis);

} // namespace gas_app
