// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <bench/bench_scene.h>

namespace gas_bench {

/// A tube around a knot, coarse, whose triangles are each cut into four several times: about
/// `item_count` triangles, of which many lie in one plane.
std::vector<Triangle> make_subdivided(unsigned item_count);

/// The triangles of an OBJ file, as of `read_obj_scene`.
std::vector<Triangle> read_obj_triangles(const std::string& path, unsigned subdivision_count);

} // namespace gas_bench
