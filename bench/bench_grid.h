// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

#include <bench/bench_scene.h>

namespace gas_bench {

/// Items per cell of a grid on average, where items are spread evenly.
inline constexpr unsigned items_per_cell = 128;

/// Builds the grid over boxes that are computed from the scene's triangles at each request. The
/// scene outlives the grid.
void create_grid(GasGridTree& grid, const Scene& scene);

} // namespace gas_bench
