// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_interior.h>

#include <cmath>

#include <bench/bench_shapes.h>
#include <bench/bench_triangle.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

constexpr Point room = {10.0f, 8.0f, 3.0f};
constexpr unsigned beam_triangle_count = 8;

void add_walls(std::vector<Triangle>& triangles) {
    const Point x = {room.x, 0.0f, 0.0f};
    const Point y = {0.0f, room.y, 0.0f};
    const Point z = {0.0f, 0.0f, room.z};
    const Point origin = {};
    add_quad(triangles, origin, x, y);
    add_quad(triangles, z, x, y);
    add_quad(triangles, origin, x, z);
    add_quad(triangles, y, x, z);
    add_quad(triangles, origin, y, z);
    add_quad(triangles, x, y, z);
}

/// The four long sides of a beam, two triangles each.
void add_beam(std::vector<Triangle>& triangles, const Point& from, const Point& to, float width) {
    const Point along = to - from;
    const Point right = normalize(cross(along, {0.31f, 0.17f, 0.93f})) * width;
    const Point up = normalize(cross(right, along)) * width;
    const Point corner = from - (right + up) * 0.5f;
    add_quad(triangles, corner, along, right);
    add_quad(triangles, corner + up, along, right);
    add_quad(triangles, corner, along, up);
    add_quad(triangles, corner + right, along, up);
}

/// Every other beam spans the room under the ceiling, the others lean along a long wall.
void add_beams(std::vector<Triangle>& triangles, unsigned count) {
    support::SeededRandom random(5);
    for (unsigned i = 0; i < count; ++i) {
        const float width = random.between(0.01f, 0.03f);
        const float start = random.uniform();
        const float slant = random.between(-0.1f, 0.1f);
        const float height = random.between(0.75f, 0.95f) * room.z;
        Point from;
        Point to;
        if (i % 4 == 0) {
            from = {start * room.x, 0.0f, height};
            to = {(start + slant) * room.x, room.y, height};
        } else if (i % 4 == 2) {
            from = {0.0f, start * room.y, height};
            to = {room.x, (start + slant) * room.y, height};
        } else {
            const float depth = random.between(0.01f, 0.04f) * room.y;
            const float wall = i % 4 == 1 ? depth : room.y - depth;
            from = {start * room.x, wall, 0.0f};
            to = {(start + 3.0f * slant) * room.x, wall, room.z};
        }
        add_beam(triangles, from, to, width);
    }
}

/// Heaps of lumps, lower towards their rim.
void add_clutter(std::vector<Triangle>& triangles, unsigned count) {
    constexpr unsigned heap_count = 60;
    support::SeededRandom random(6);
    Point heaps[heap_count];
    for (Point& heap : heaps) {
        heap.x = random.between(0.08f, 0.92f) * room.x;
        heap.y = random.between(0.08f, 0.92f) * room.y;
        heap.z = random.between(0.2f, 1.4f);
    }
    for (unsigned i = 0; i < count; ++i) {
        const Point& heap = heaps[random.below(heap_count)];
        const float distance = 0.6f * random.uniform();
        const float angle = full_turn * random.uniform();
        const float height = heap.z * random.uniform() * (1.0f - distance / 0.7f);
        const Point center = {heap.x + distance * std::cos(angle),
                              heap.y + distance * std::sin(angle), 0.01f + height};
        Point radii;
        for (unsigned axis = 0; axis < 3; ++axis)
            radii[axis] = random.between(0.004f, 0.025f);
        add_lump(triangles, center, radii);
    }
}

} // namespace

std::vector<Triangle> make_interior(unsigned item_count) {
    std::vector<Triangle> triangles;
    triangles.reserve(item_count);
    add_walls(triangles);
    add_beams(triangles, item_count / 40 / beam_triangle_count);
    if (triangles.size() < item_count) {
        const auto left = item_count - static_cast<unsigned>(triangles.size());
        add_clutter(triangles, left / lump_triangle_count);
    }
    return triangles;
}

} // namespace gas_bench
