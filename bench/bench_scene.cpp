#include <bench/bench_scene.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <tiny_obj_loader.h>

#include <bench/bench_interior.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

constexpr float pi = 3.14159265f;

/// Triangles that a subdivided mesh may have.
constexpr std::size_t largest_mesh = 100'000'000;

/// The mean distance between `item_count` items in the unit cube.
float get_spacing(unsigned item_count) { return 1.0f / std::cbrt(static_cast<float>(item_count)); }

Point make_point(support::SeededRandom& random, float low, float high) {
    const float x = random.between(low, high);
    const float y = random.between(low, high);
    const float z = random.between(low, high);
    return {x, y, z};
}

/// A triangle whose corners lie within `size` of `center` on every axis.
Triangle make_triangle(support::SeededRandom& random, const Point& center, float size) {
    Triangle triangle;
    for (Point& corner : triangle.corners)
        corner = center + make_point(random, -size, size);
    return triangle;
}

std::vector<Triangle> make_uniform(unsigned item_count) {
    support::SeededRandom random(1);
    const float size = 0.6f * get_spacing(item_count);
    std::vector<Triangle> triangles(item_count);
    for (Triangle& triangle : triangles) {
        const Point center = make_point(random, 0.0f, 1.0f);
        triangle = make_triangle(random, center, size);
    }
    return triangles;
}

std::vector<Triangle> make_clustered(unsigned item_count) {
    constexpr unsigned cluster_count = 24;
    support::SeededRandom random(2);
    Point clusters[cluster_count];
    float radii[cluster_count];
    for (unsigned i = 0; i < cluster_count; ++i) {
        clusters[i] = make_point(random, 0.0f, 1.0f);
        radii[i] = random.between(0.03f, 0.15f);
    }
    const float spacing = get_spacing(item_count / cluster_count + 1);
    std::vector<Triangle> triangles(item_count);
    for (Triangle& triangle : triangles) {
        const unsigned cluster = random.below(cluster_count);
        // The product concentrates items in the middle of their cluster.
        const float reach = radii[cluster] * random.uniform();
        const Point center = clusters[cluster] + make_point(random, -reach, reach);
        triangle = make_triangle(random, center, spacing * (reach + 0.002f));
    }
    return triangles;
}

std::vector<Triangle> make_long_thin(unsigned item_count) {
    support::SeededRandom random(3);
    const float length = 2.0f * get_spacing(item_count);
    const float width = 0.02f * length;
    std::vector<Triangle> triangles(item_count);
    for (Triangle& triangle : triangles) {
        const Point center = make_point(random, 0.0f, 1.0f);
        const Point along = make_point(random, -length, length);
        const Point across = make_point(random, -width, width);
        triangle = {{center - along, center + along, center + along + across}};
    }
    return triangles;
}

std::vector<Triangle> make_coincident(unsigned item_count) {
    constexpr unsigned group_size = 8;
    support::SeededRandom random(4);
    const float size = 0.5f * get_spacing(item_count / group_size + 1);
    std::vector<Triangle> triangles(item_count);
    Point center = {};
    for (unsigned i = 0; i < item_count; ++i) {
        if (i % group_size == 0)
            center = make_point(random, 0.0f, 1.0f);
        // Two corners that mirror each other fix the centre of the box.
        const float reach = random.between(0.3f, 1.0f) * size;
        const Point offset = make_point(random, 0.5f * reach, reach);
        const Point inside = make_point(random, -0.5f * reach, 0.5f * reach);
        triangles[i] = {{center - offset, center + offset, center + inside}};
    }
    return triangles;
}

/// A point of the bumpy sphere; `u` and `v` run from 0 to 1 around it and from pole to pole.
Point get_surface_point(float u, float v) {
    const float longitude = 2.0f * pi * u;
    const float latitude = pi * v;
    const float bumps = 0.06f * std::sin(9.0f * longitude) * std::sin(11.0f * latitude) +
                        0.015f * std::sin(40.0f * longitude) * std::sin(37.0f * latitude);
    const float radius = 0.5f + bumps * std::sin(latitude);
    return {0.5f + radius * std::sin(latitude) * std::cos(longitude),
            0.5f + radius * std::sin(latitude) * std::sin(longitude),
            0.5f + radius * std::cos(latitude)};
}

std::vector<Triangle> make_surface(unsigned item_count) {
    // Rows of twice as many columns, two triangles in each field.
    const auto rows = std::max(
        2u, static_cast<unsigned>(std::ceil(std::sqrt(static_cast<float>(item_count) / 4.0f))));
    const unsigned columns = 2 * rows;
    const auto get_point = [&](unsigned row, unsigned column) {
        return get_surface_point(static_cast<float>(column % columns) / static_cast<float>(columns),
                                 static_cast<float>(row) / static_cast<float>(rows));
    };
    std::vector<Triangle> triangles;
    triangles.reserve(std::size_t{2} * rows * columns);
    for (unsigned row = 0; row < rows; ++row) {
        for (unsigned column = 0; column < columns; ++column) {
            const Point corners[4] = {get_point(row, column), get_point(row + 1, column),
                                      get_point(row + 1, column + 1), get_point(row, column + 1)};
            triangles.push_back({{corners[0], corners[1], corners[2]}});
            triangles.push_back({{corners[0], corners[2], corners[3]}});
        }
    }
    return triangles;
}

CoreArray<GMathBbox3<float>> get_boxes(const std::vector<Triangle>& triangles) {
    CoreArray<GMathBbox3<float>> boxes(static_cast<unsigned>(triangles.size()));
    for (unsigned i = 0; i < boxes.get_count(); ++i)
        boxes[i] = get_box(triangles[i]);
    return boxes;
}

/// Twists the scene around its vertical axis, the more the higher.
Point move(const Point& point, const GMathBbox3<float>& bounds) {
    const Point middle = (bounds.min + bounds.max) * 0.5f;
    const float height = bounds.max.z - bounds.min.z;
    const float angle = height > 0.0f ? 0.06f * (point.z - bounds.min.z) / height : 0.0f;
    const float sine = std::sin(angle);
    const float cosine = std::cos(angle);
    const Point arm = point - middle;
    return {middle.x + arm.x * cosine - arm.y * sine, middle.y + arm.x * sine + arm.y * cosine,
            point.z};
}

/// Scales a scene to 64 to 128 units, the working range of compressed boxes. A power of two rounds
/// nothing, so trees and hits do not change.
void scale(std::vector<Triangle>& triangles) {
    GMathBbox3<float> bounds = {triangles[0].corners[0], triangles[0].corners[0]};
    for (const Triangle& triangle : triangles)
        for (const Point& corner : triangle.corners)
            grow(bounds, corner);
    const Point extent = bounds.max - bounds.min;
    const float largest = std::max({extent.x, extent.y, extent.z});
    if (!(largest > 0.0f))
        return;
    const float factor = std::ldexp(1.0f, 6 - std::ilogb(largest));
    for (Triangle& triangle : triangles)
        for (Point& corner : triangle.corners)
            corner = corner * factor;
}

Scene finish_scene(std::vector<Triangle> triangles, bool is_interior) {
    Scene scene;
    scene.is_interior = is_interior;
    scene.triangles = std::move(triangles);
    scale(scene.triangles);
    scene.boxes = get_boxes(scene.triangles);
    scene.bounds = scene.boxes[0];
    for (const GMathBbox3<float>& box : scene.boxes) {
        grow(scene.bounds, box.min);
        grow(scene.bounds, box.max);
    }
    scene.later_triangles = scene.triangles;
    for (Triangle& triangle : scene.later_triangles) {
        for (Point& corner : triangle.corners)
            corner = move(corner, scene.bounds);
    }
    scene.later_boxes = get_boxes(scene.later_triangles);
    return scene;
}

struct Recipe {
    const char* name;
    std::vector<Triangle> (*make)(unsigned item_count);
    bool is_interior;
};

constexpr Recipe recipes[] = {
    {"uniform", make_uniform, false},     {"clustered", make_clustered, false},
    {"long_thin", make_long_thin, false}, {"coincident", make_coincident, false},
    {"surface", make_surface, false},     {"interior", make_interior, true}};

/// Divides every triangle into four at the middles of its edges.
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

} // namespace

const std::vector<std::string>& get_scene_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const Recipe& recipe : recipes)
            list.emplace_back(recipe.name);
        return list;
    }();
    return names;
}

Scene make_scene(const std::string& name, unsigned item_count) {
    for (const Recipe& recipe : recipes) {
        if (name == recipe.name)
            return finish_scene(recipe.make(item_count), recipe.is_interior);
    }
    throw std::runtime_error("there is no scene named " + name);
}

Scene read_obj_scene(const std::string& path, unsigned subdivision_count) {
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
    return finish_scene(std::move(triangles), false);
}

} // namespace gas_bench
