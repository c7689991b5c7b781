// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_scene.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <bench/bench_interior.h>
#include <bench/bench_mesh.h>
#include <bench/bench_nested.h>
#include <bench/bench_rooms.h>
#include <bench/bench_shapes.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

constexpr float pi = 3.14159265f;

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
    add_sheet(triangles, rows, columns, get_point);
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

template <std::vector<Triangle> (*make)(unsigned), bool is_interior>
Scene make_plain(unsigned item_count) {
    return finish_scene(make(item_count), is_interior);
}

CoreArray<GMathBbox3<float>> slice(const CoreArray<GMathBbox3<float>>& boxes, unsigned first,
                                   unsigned count) {
    return {boxes.get_items() + first, count};
}

std::vector<Triangle> slice(const std::vector<Triangle>& triangles, unsigned first,
                            unsigned count) {
    return {&triangles[first], &triangles[first] + count};
}

Scene make_nested(unsigned item_count) {
    const std::vector<std::vector<Triangle>> meshes = make_nested_meshes(item_count);
    std::vector<Triangle> all;
    for (const std::vector<Triangle>& mesh : meshes)
        all.insert(all.end(), mesh.begin(), mesh.end());
    Scene scene = finish_scene(std::move(all), false);
    unsigned first = 0;
    for (const std::vector<Triangle>& mesh : meshes) {
        const auto count = static_cast<unsigned>(mesh.size());
        Scene part;
        part.triangles = slice(scene.triangles, first, count);
        part.later_triangles = slice(scene.later_triangles, first, count);
        part.boxes = slice(scene.boxes, first, count);
        part.later_boxes = slice(scene.later_boxes, first, count);
        part.bounds = get_bounds(part.boxes);
        scene.parts.push_back(std::move(part));
        first += count;
    }
    return scene;
}

struct Recipe {
    const char* name;
    Scene (*make)(unsigned item_count);
};

constexpr Recipe recipes[] = {{"uniform", make_plain<make_uniform, false>},
                              {"clustered", make_plain<make_clustered, false>},
                              {"long_thin", make_plain<make_long_thin, false>},
                              {"coincident", make_plain<make_coincident, false>},
                              {"surface", make_plain<make_surface, false>},
                              {"interior", make_plain<make_interior, true>},
                              {"rooms", make_plain<make_rooms, true>},
                              {"subdivided", make_plain<make_subdivided, false>},
                              {nested_scene_name, make_nested}};

} // namespace

GMathBbox3<float> get_bounds(const CoreArray<GMathBbox3<float>>& boxes) {
    GMathBbox3<float> bounds = boxes[0];
    for (const GMathBbox3<float>& box : boxes) {
        grow(bounds, box.min);
        grow(bounds, box.max);
    }
    return bounds;
}

Scene finish_scene(std::vector<Triangle> triangles, bool is_interior) {
    Scene scene;
    scene.is_interior = is_interior;
    scene.triangles = std::move(triangles);
    scale(scene.triangles);
    scene.boxes = get_boxes(scene.triangles);
    scene.bounds = get_bounds(scene.boxes);
    scene.later_triangles = scene.triangles;
    for (Triangle& triangle : scene.later_triangles) {
        for (Point& corner : triangle.corners)
            corner = move(corner, scene.bounds);
    }
    scene.later_boxes = get_boxes(scene.later_triangles);
    return scene;
}

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
            return recipe.make(item_count);
    }
    throw std::runtime_error("there is no scene named " + name);
}

Scene read_obj_scene(const std::string& path, unsigned subdivision_count) {
    return finish_scene(read_obj_triangles(path, subdivision_count), false);
}

} // namespace gas_bench
