// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_scene.h>

namespace gas_bench {

/// Meshes side by side, each with a tree of its own.
inline constexpr unsigned nested_mesh_count = 11;

/// That many small meshes on a floor, the floor included, with about `item_count` triangles: the
/// smallest has four sevenths, the largest ten sevenths of the mean.
std::vector<std::vector<Triangle>> make_nested_meshes(unsigned item_count);

/// The small tree of a scene with parts: an item for each, without a triangle.
Scene make_outline(const Scene& scene);

} // namespace gas_bench
