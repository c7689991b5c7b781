// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_shapes.h>

#include <bench/bench_triangle.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

/// The four triangles of a face between points of the unit sphere; `place` moves each corner to its
/// place.
template <typename Place>
void add_split_face(std::vector<Triangle>& triangles, const Point (&corners)[3],
                    const Place& place) {
    const Point middles[3] = {normalize(corners[0] + corners[1]),
                              normalize(corners[1] + corners[2]),
                              normalize(corners[2] + corners[0])};
    triangles.push_back({{place(corners[0]), place(middles[0]), place(middles[2])}});
    triangles.push_back({{place(corners[1]), place(middles[1]), place(middles[0])}});
    triangles.push_back({{place(corners[2]), place(middles[2]), place(middles[1])}});
    triangles.push_back({{place(middles[0]), place(middles[1]), place(middles[2])}});
}

} // namespace

void add_quad(std::vector<Triangle>& triangles, const Point& corner, const Point& along,
              const Point& across) {
    triangles.push_back({{corner, corner + along, corner + along + across}});
    triangles.push_back({{corner, corner + along + across, corner + across}});
}

void add_lump(std::vector<Triangle>& triangles, const Point& center, const Point& radii) {
    const auto place = [&](const Point& point) {
        return center + Point{point.x * radii.x, point.y * radii.y, point.z * radii.z};
    };
    for (unsigned octant = 0; octant < 8; ++octant) {
        const Point corners[3] = {{(octant & 1) != 0 ? 1.0f : -1.0f, 0.0f, 0.0f},
                                  {0.0f, (octant & 2) != 0 ? 1.0f : -1.0f, 0.0f},
                                  {0.0f, 0.0f, (octant & 4) != 0 ? 1.0f : -1.0f}};
        add_split_face(triangles, corners, place);
    }
}

std::vector<Triangle> subdivide(const std::vector<Triangle>& triangles) {
    std::vector<Triangle> finer;
    finer.reserve(4 * triangles.size());
    for (const Triangle& triangle : triangles) {
        const Point(&corners)[3] = triangle.corners;
        const Point middles[3] = {(corners[0] + corners[1]) * 0.5f,
                                  (corners[1] + corners[2]) * 0.5f,
                                  (corners[2] + corners[0]) * 0.5f};
        finer.push_back({{corners[0], middles[0], middles[2]}});
        finer.push_back({{corners[1], middles[1], middles[0]}});
        finer.push_back({{corners[2], middles[2], middles[1]}});
        finer.push_back({{middles[0], middles[1], middles[2]}});
    }
    return finer;
}

} // namespace gas_bench
