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
};

/// The names of `make_scene`: uniform (evenly spread), clustered (dense groups far apart),
/// long_thin (needles across the axes), coincident (groups of equal centres), surface (a bumpy
/// sphere) and interior (a room of long thin beams and small clutter, seen from inside).
const std::vector<std::string>& get_scene_names();

/// About `item_count` triangles (a surface has the next number that closes it, an interior at least
/// its walls), the same on every machine but for the last bits of sines. Throws std::runtime_error
/// with a message that names the scene when there is none of that name.
Scene make_scene(const std::string& name, unsigned item_count);

/// The triangles of an OBJ file, each cut into four `subdivision_count` times. Throws
/// std::runtime_error with a message that names the path when there are none, or too many.
Scene read_obj_scene(const std::string& path, unsigned subdivision_count = 0);

} // namespace gas_bench
