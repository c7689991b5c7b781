// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_rooms.h>

#include <algorithm>
#include <cmath>

#include <bench/bench_shapes.h>
#include <bench/bench_triangle.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

/// All rooms together.
constexpr Point building = {24.0f, 12.0f, 6.0f};
constexpr unsigned column_count = 20;
constexpr unsigned cloth_count = 24;

/// Rows and columns of a sheet of about so many triangles whose fields are about square.
struct SheetSize {
    unsigned rows;
    unsigned columns;

    SheetSize(float triangle_count, float height, float width)
        : rows(count_fields(triangle_count, height, width)),
          columns(count_fields(triangle_count, width, height)) {}

  private:
    static unsigned count_fields(float triangle_count, float side, float other) {
        return std::max(1u, static_cast<unsigned>(std::sqrt(0.5f * triangle_count * side / other)));
    }
};

float get_part(unsigned index, unsigned count) {
    return static_cast<float>(index) / static_cast<float>(count);
}

/// `triangles_per_area`: how finely it is divided. It is a little uneven but for its rim, so that
/// its boxes are not flat.
void add_wall(std::vector<Triangle>& triangles, const Point& corner, const Point& along,
              const Point& across, float triangles_per_area) {
    const float width = std::sqrt(dot(along, along));
    const float height = std::sqrt(dot(across, across));
    const Point outward = normalize(cross(along, across));
    const SheetSize size(triangles_per_area * width * height, height, width);
    add_sheet(triangles, size.rows, size.columns, [&](unsigned row, unsigned column) {
        const float u = get_part(column, size.columns);
        const float v = get_part(row, size.rows);
        const bool is_inside = row > 0 && row < size.rows && column > 0 && column < size.columns;
        const float depth =
            is_inside ? 0.03f * std::sin(9.0f * full_turn * u) * std::sin(4.0f * full_turn * v)
                      : 0.0f;
        return corner + along * u + across * v + outward * depth;
    });
}

/// The outer walls, and two that part the rooms and leave a way through.
void add_building(std::vector<Triangle>& triangles, float triangle_count) {
    const Point x = {building.x, 0.0f, 0.0f};
    const Point y = {0.0f, building.y, 0.0f};
    const Point z = {0.0f, 0.0f, building.z};
    const Point origin = {};
    const float sides = building.y * building.z;
    const float area =
        2.0f * (building.x * building.y + building.x * building.z + sides) + 0.9f * sides;
    const float density = triangle_count / area;
    add_wall(triangles, origin, x, y, density);
    add_wall(triangles, z, x, y, density);
    add_wall(triangles, origin, x, z, density);
    add_wall(triangles, y, x, z, density);
    add_wall(triangles, origin, y, z, density);
    add_wall(triangles, x, y, z, density);
    for (const float place : {0.34f, 0.67f}) {
        const Point foot = x * place;
        add_wall(triangles, foot, y * 0.2f, z, density);
        add_wall(triangles, foot + y * 0.8f, y * 0.2f, z, density);
        add_wall(triangles, foot + y * 0.2f + z * 0.9f, y * 0.6f, z * 0.1f, density / 0.8f);
    }
}

/// A fluted column, thicker at its foot.
void add_column(std::vector<Triangle>& triangles, const Point& foot, float triangle_count) {
    const float radius = 0.4f;
    SheetSize size(triangle_count, building.z, full_turn * radius);
    size.columns = std::max(size.columns, 5u);
    add_sheet(triangles, size.rows, size.columns, [&](unsigned row, unsigned column) {
        const float height = get_part(row, size.rows);
        const float angle = full_turn * get_part(column % size.columns, size.columns);
        const float flutes = 1.0f + 0.05f * std::cos(16.0f * angle);
        const float reach = radius * flutes * (1.0f - 0.25f * height);
        return foot + Point{reach * std::cos(angle), reach * std::sin(angle), height * building.z};
    });
}

/// Two rows of columns along the rooms.
void add_columns(std::vector<Triangle>& triangles, float triangle_count) {
    for (unsigned i = 0; i < column_count; ++i) {
        const float along = (get_part(i / 2, column_count / 2) + 0.05f) * building.x;
        const float across = (i % 2 == 0 ? 0.3f : 0.7f) * building.y;
        add_column(triangles, {along, across, 0.0f}, triangle_count / column_count);
    }
}

/// A sheet in folds that hangs from `top` along `along` and is `drop` long.
void add_cloth(std::vector<Triangle>& triangles, const Point& top, const Point& along, float drop,
               float triangle_count, support::SeededRandom& random) {
    const float width = std::sqrt(dot(along, along));
    const Point aside = normalize(cross(along, {0.0f, 0.0f, 1.0f}));
    const float folds = random.between(4.0f, 9.0f);
    const float start = random.uniform();
    const float sway = random.between(0.5f, 2.0f);
    const SheetSize size(triangle_count, drop, width);
    add_sheet(triangles, size.rows, size.columns, [&](unsigned row, unsigned column) {
        const float u = get_part(column, size.columns);
        const float v = get_part(row, size.rows);
        const float depth = 0.2f * (0.4f + v) * std::sin(full_turn * (folds * u + start)) +
                            0.1f * std::sin(full_turn * (sway * v + start));
        const float rise = 0.06f * std::sin(2.0f * full_turn * u) * (1.0f - v);
        return top + along * u + aside * depth + Point{0.0f, 0.0f, rise - drop * v};
    });
}

/// Curtains along the rows of columns and banners across the rooms.
void add_cloths(std::vector<Triangle>& triangles, float triangle_count) {
    support::SeededRandom random(7);
    for (unsigned i = 0; i < cloth_count; ++i) {
        const float height = random.between(0.75f, 0.95f) * building.z;
        const float drop = random.between(0.35f, 0.65f) * building.z;
        const float place = get_part(i / 2, cloth_count / 2);
        Point top = {(place + 0.01f) * building.x, 0.3f * building.y, height};
        Point along = {random.between(1.2f, 1.9f), 0.0f, 0.0f};
        if (i % 4 == 1) {
            top.y = 0.7f * building.y;
        } else if (i % 4 == 3) {
            top = {(place + 0.04f) * building.x, random.between(0.32f, 0.5f) * building.y, height};
            along = {0.3f, random.between(1.2f, 2.2f), 0.0f};
        }
        add_cloth(triangles, top, along, drop, triangle_count / cloth_count, random);
    }
}

/// Lumps of many sizes on the floor, most of them along the walls.
void add_floor_clutter(std::vector<Triangle>& triangles, unsigned count) {
    support::SeededRandom random(8);
    for (unsigned i = 0; i < count; ++i) {
        const float shade = random.uniform();
        const float side = 0.5f - 0.48f * std::sqrt(shade);
        const float radius = 0.02f + 0.3f * random.uniform() * random.uniform();
        const Point center = {random.between(0.02f, 0.98f) * building.x,
                              (i % 2 == 0 ? side : 1.0f - side) * building.y,
                              radius * random.between(0.5f, 3.0f)};
        Point radii;
        for (unsigned axis = 0; axis < 3; ++axis)
            radii[axis] = radius * random.between(0.4f, 1.0f);
        add_lump(triangles, center, radii);
    }
}

} // namespace

std::vector<Triangle> make_rooms(unsigned item_count) {
    std::vector<Triangle> triangles;
    triangles.reserve(item_count);
    const auto count = static_cast<float>(item_count);
    add_building(triangles, count / 8.0f);
    add_columns(triangles, count / 4.0f);
    add_cloths(triangles, 3.0f * count / 8.0f);
    if (triangles.size() < item_count) {
        const auto left = item_count - static_cast<unsigned>(triangles.size());
        add_floor_clutter(triangles, left / lump_triangle_count);
    }
    return triangles;
}

} // namespace gas_bench
