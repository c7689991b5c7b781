#pragma once

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

#include <bench/bench_scene.h>

namespace gas_bench {

/// What a grid's cell holds on average where items are spread evenly.
inline constexpr unsigned items_per_cell = 128;

/// Has the grid ask for boxes, which are computed from the scene's triangles each time, and builds
/// it. The scene outlives the grid.
void create_grid(GasGridTree& grid, const Scene& scene);

} // namespace gas_bench
