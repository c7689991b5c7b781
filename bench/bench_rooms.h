// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_scene.h>

namespace gas_bench {

/// Rooms in a row behind arches, about `item_count` triangles that are small and of even shape: an
/// eighth for walls, floor and ceiling, a quarter for columns, three eighths for hanging cloth, the
/// others for clutter on the floor.
std::vector<Triangle> make_rooms(unsigned item_count);

} // namespace gas_bench
