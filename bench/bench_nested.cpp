// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_nested.h>

#include <algorithm>
#include <cmath>

#include <bench/bench_shapes.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

std::vector<Triangle> make_floor(unsigned triangle_count) {
    const auto side = std::max(
        1u, static_cast<unsigned>(std::lround(std::sqrt(static_cast<float>(triangle_count) / 2))));
    std::vector<Triangle> triangles;
    add_sheet(triangles, side, side, [side](unsigned row, unsigned column) {
        const float x = 10.0f * static_cast<float>(column) / static_cast<float>(side);
        const float y = 10.0f * static_cast<float>(row) / static_cast<float>(side);
        return Point{x, y, 0.3f * std::sin(x) * std::sin(1.3f * y)};
    });
    return triangles;
}

/// A ball with bumps around `middle`, twice as many fields around it as from pole to pole.
std::vector<Triangle> make_ball(unsigned triangle_count, const Point& middle, float radius,
                                float bumps) {
    const float rows_exact = std::sqrt(static_cast<float>(triangle_count) / 4.0f);
    const auto rows = std::max(2u, static_cast<unsigned>(rows_exact));
    const auto columns =
        std::max(3u, static_cast<unsigned>(std::lround(static_cast<float>(triangle_count) /
                                                       (2.0f * static_cast<float>(rows)))));
    std::vector<Triangle> triangles;
    add_sheet(triangles, rows, columns, [&](unsigned row, unsigned column) {
        const float longitude =
            full_turn * static_cast<float>(column % columns) / static_cast<float>(columns);
        const float latitude =
            0.5f * full_turn * static_cast<float>(row) / static_cast<float>(rows);
        const float sine = std::sin(latitude);
        const float reach = radius * (1.0f + 0.2f * sine * std::sin(bumps * longitude));
        return middle + Point{reach * sine * std::cos(longitude),
                              reach * sine * std::sin(longitude), reach * std::cos(latitude)};
    });
    return triangles;
}

} // namespace

std::vector<std::vector<Triangle>> make_nested_meshes(unsigned item_count) {
    support::SeededRandom random(9);
    std::vector<std::vector<Triangle>> meshes;
    for (unsigned i = 0; i < nested_mesh_count; ++i) {
        const float share = (4.0f + 6.0f * static_cast<float>(i) / (nested_mesh_count - 1)) / 7.0f;
        const auto count = static_cast<unsigned>(share * static_cast<float>(item_count) /
                                                 static_cast<float>(nested_mesh_count));
        if (i == 0) {
            meshes.push_back(make_floor(count));
            continue;
        }
        const float x = random.between(1.5f, 8.5f);
        const float y = random.between(1.5f, 8.5f);
        const float z = random.between(0.5f, 4.0f);
        const float radius = random.between(0.7f, 1.8f);
        meshes.push_back(make_ball(count, {x, y, z}, radius, static_cast<float>(3 + i % 5)));
    }
    return meshes;
}

Scene make_outline(const Scene& scene) {
    const auto count = static_cast<unsigned>(scene.parts.size());
    Scene outline;
    outline.bounds = scene.bounds;
    outline.is_interior = scene.is_interior;
    outline.boxes = CoreArray<GMathBbox3<float>>(count);
    outline.later_boxes = CoreArray<GMathBbox3<float>>(count);
    for (unsigned i = 0; i < count; ++i) {
        outline.boxes[i] = get_bounds(scene.parts[i].boxes);
        outline.later_boxes[i] = get_bounds(scene.parts[i].later_boxes);
    }
    return outline;
}

} // namespace gas_bench
