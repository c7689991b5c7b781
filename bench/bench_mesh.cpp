// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_mesh.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <tiny_obj_loader.h>

#include <bench/bench_shapes.h>
#include <bench/bench_triangle.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

/// Triangles that a subdivided mesh may have.
constexpr std::size_t largest_mesh = 100'000'000;

/// The middle line of the knot (a trefoil).
Point get_knot_point(float angle) {
    return {std::sin(angle) + 2.0f * std::sin(2.0f * angle),
            std::cos(angle) - 2.0f * std::cos(2.0f * angle), -std::sin(3.0f * angle)};
}

/// A point of the tube; `along` runs from 0 to 1 around the knot, `around` around the tube.
Point get_tube_point(float along, float around) {
    const float angle = full_turn * along;
    const Point middle = get_knot_point(angle);
    const Point forward = normalize(get_knot_point(angle + 0.01f) - middle);
    const Point right = normalize(cross(forward, {0.0f, 0.0f, 1.0f}));
    const Point up = cross(right, forward);
    const float radius = 0.45f + 0.1f * std::sin(7.0f * angle);
    return middle + right * (radius * std::cos(full_turn * around)) +
           up * (radius * std::sin(full_turn * around));
}

} // namespace

std::vector<Triangle> make_subdivided(unsigned item_count) {
    constexpr unsigned subdivision_count = 4;
    constexpr unsigned triangles_per_base = 1u << (2 * subdivision_count);
    // Six times as many rows along the knot as columns around the tube.
    const float base_count = static_cast<float>(item_count) / triangles_per_base;
    const auto columns = std::max(3u, static_cast<unsigned>(std::sqrt(base_count / 12.0f)));
    const auto rows = std::max(
        3u, static_cast<unsigned>(std::round(base_count / (2.0f * static_cast<float>(columns)))));
    std::vector<Triangle> triangles;
    add_sheet(triangles, rows, columns, [&](unsigned row, unsigned column) {
        return get_tube_point(static_cast<float>(row % rows) / static_cast<float>(rows),
                              static_cast<float>(column % columns) / static_cast<float>(columns));
    });
    for (unsigned i = 0; i < subdivision_count; ++i)
        triangles = subdivide(triangles);
    return triangles;
}

std::vector<Triangle> read_obj_triangles(const std::string& path, unsigned subdivision_count) {
    tinyobj::ObjReaderConfig config;
    config.triangulate = true;
    tinyobj::ObjReader reader;
    if (!reader.ParseFromFile(path, config))
        throw std::runtime_error("cannot read " + path + ": " + reader.Error());

    const std::vector<tinyobj::real_t>& vertices = reader.GetAttrib().vertices;
    const std::size_t vertex_count = vertices.size() / 3;
    std::vector<Triangle> triangles;
    for (const tinyobj::shape_t& shape : reader.GetShapes()) {
        const std::vector<tinyobj::index_t>& indices = shape.mesh.indices;
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
            Triangle triangle;
            for (std::size_t k = 0; k < 3; ++k) {
                const int vertex = indices[i + k].vertex_index;
                if (vertex < 0 || static_cast<std::size_t>(vertex) >= vertex_count)
                    throw std::runtime_error(path + ": a face names a vertex that is not there");
                const tinyobj::real_t* xyz = &vertices[3 * static_cast<std::size_t>(vertex)];
                triangle.corners[k] = {xyz[0], xyz[1], xyz[2]};
            }
            triangles.push_back(triangle);
        }
    }
    if (triangles.empty())
        throw std::runtime_error(path + " holds no triangles");
    for (unsigned i = 0; i < subdivision_count; ++i) {
        if (triangles.size() > largest_mesh / 4)
            throw std::runtime_error(path + " has too many triangles to subdivide that often");
        triangles = subdivide(triangles);
    }
    return triangles;
}

} // namespace gas_bench
