// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_scene.h>

/// The parts that generated scenes are made of; each adds its triangles to a list.
namespace gas_bench {

/// The angle of a full turn.
inline constexpr float full_turn = 6.28318531f;

/// Triangles of `add_lump`.
inline constexpr unsigned lump_triangle_count = 32;

/// A parallelogram, two triangles.
void add_quad(std::vector<Triangle>& triangles, const GMathVec3<float>& corner,
              const GMathVec3<float>& along, const GMathVec3<float>& across);

/// An octahedron of which every face is cut into four, pushed out to an ellipsoid.
void add_lump(std::vector<Triangle>& triangles, const GMathVec3<float>& center,
              const GMathVec3<float>& radii);

/// A sheet of rows times columns fields, two triangles in each. `get_point(row, column)` gives the
/// fields' corners, the last row and column included.
template <typename GetPoint>
void add_sheet(std::vector<Triangle>& triangles, unsigned rows, unsigned columns,
               const GetPoint& get_point) {
    for (unsigned row = 0; row < rows; ++row) {
        for (unsigned column = 0; column < columns; ++column) {
            const GMathVec3<float> corners[4] = {get_point(row, column), get_point(row + 1, column),
                                                 get_point(row + 1, column + 1),
                                                 get_point(row, column + 1)};
            triangles.push_back({{corners[0], corners[1], corners[2]}});
            triangles.push_back({{corners[0], corners[2], corners[3]}});
        }
    }
}

/// Divides every triangle into four at the middles of its edges.
std::vector<Triangle> subdivide(const std::vector<Triangle>& triangles);

} // namespace gas_bench
