// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_scene.h>

namespace gas_bench {

/// A room of about `item_count` triangles: a few large ones for its walls, a fortieth for long thin
/// beams under the ceiling and along the walls, the others for small clutter on the floor.
std::vector<Triangle> make_interior(unsigned item_count);

} // namespace gas_bench
