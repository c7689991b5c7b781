// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <apps/gas/scene/scene.h>

namespace gas_app {

/// Triangles for a page's 3D view: corners in steps of the box, shared where they are equal.
struct PageMesh {
    static constexpr unsigned step_count = 65535;

    Box box = empty_box();
    /// A part of the box without what lies far off, for the camera.
    Box focus = empty_box();
    /// Three to a corner, 0 to `step_count`.
    std::vector<std::uint16_t> positions;
    /// Three to a triangle.
    std::vector<std::uint32_t> indices;
    /// Before it was made coarser.
    std::uint64_t triangle_count = 0;
    /// Where corners were merged on a grid, its cells along the longest side; otherwise 0.
    unsigned grid_size = 0;
    /// Of a scene: whether corners were merged so in the space of each shape.
    bool is_by_instance = false;
    /// Of more items than could be shown only each so many-th is: 1 for all.
    unsigned item_stride = 1;
    /// Whether items without triangles of their own, such as balls, are drawn as octahedra.
    bool has_octahedra = false;
};

/// The items of a shape, in its own space, as at most `limit` triangles.
PageMesh make_page_mesh(const Shape& shape, std::size_t limit);

/// All instances of a scene, as above.
PageMesh make_page_mesh(const Scene& scene, std::size_t limit);

} // namespace gas_app
