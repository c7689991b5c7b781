// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gas/host/host.h>

/// The scenes that are measured. Every item of every scene is a triangle, so that all scenes are
/// traced by the same callbacks.
namespace gas_bench {

struct Triangle {
    GMathVec3<float> corners[3];
};

/// Makes the box reach as far as `point`.
inline void grow(GMathBbox3<float>& box, const GMathVec3<float>& point) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        box.min[axis] = std::min(box.min[axis], point[axis]);
        box.max[axis] = std::max(box.max[axis], point[axis]);
    }
}

inline GMathBbox3<float> get_box(const Triangle& triangle) {
    GMathBbox3<float> box = {triangle.corners[0], triangle.corners[0]};
    grow(box, triangle.corners[1]);
    grow(box, triangle.corners[2]);
    return box;
}

/// Triangles and their boxes when the shutter opens (time 0) and closes (time 1); in between the
/// corners move along straight lines.
struct Scene {
    std::vector<Triangle> triangles;
    std::vector<Triangle> later_triangles;
    CoreArray<GMathBbox3<float>> boxes;
    CoreArray<GMathBbox3<float>> later_boxes;
    /// All boxes at time 0.
    GMathBbox3<float> bounds;
    /// Whether camera and light are inside of the scene.
    bool is_interior = false;
    /// Where not empty, these scenes have a tree each, under a small tree with an item for each of
    /// them. Their triangles are those of this scene, in order.
    std::vector<Scene> parts;
};

/// The union of all boxes, of which there is one at least.
GMathBbox3<float> get_bounds(const CoreArray<GMathBbox3<float>>& boxes);

/// Scales the triangles (at least one) into the working range, moves them, and computes boxes.
Scene finish_scene(std::vector<Triangle> triangles, bool is_interior);

/// The scene of `make_scene` that has parts: eleven small meshes.
inline constexpr const char* nested_scene_name = "nested";

/// The names of `make_scene`: uniform (evenly spread), clustered (dense groups far apart),
/// long_thin (needles across the axes), coincident (groups of equal centres), surface (a bumpy
/// sphere), interior (a room of long thin beams and small clutter, seen from inside), rooms (walls,
/// columns, cloth and clutter of even triangles, seen from inside), subdivided (a knot whose coarse
/// triangles are cut into many small ones) and nested.
const std::vector<std::string>& get_scene_names();

/// About `item_count` triangles (a surface has the next number that closes it, an interior and
/// rooms at least their walls, a subdivided mesh at least its coarse ones), the same on every
/// machine but for the last bits of sines. Throws std::runtime_error with a message that names the
/// scene when there is none of that name.
Scene make_scene(const std::string& name, unsigned item_count);

/// The triangles of an OBJ file, each cut into four `subdivision_count` times. Throws
/// std::runtime_error with a message that names the path when there are none, or too many.
Scene read_obj_scene(const std::string& path, unsigned subdivision_count = 0);

} // namespace gas_bench
