// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <tests/naive/naive_tree.h>
#include <tests/support/scenes.h>

/// The table of box sets that trees get wrong first.
namespace nasty {

using naive::Box;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
constexpr float denormal = std::numeric_limits<float>::denorm_min();

/// Whether every value of every table meets every other, as GAS_NASTY_FULL asks for. Otherwise
/// build methods and instruction sets take turns, and halves of the rays where a sanitizer watches.
inline bool is_full_product() { return std::getenv("GAS_NASTY_FULL") != nullptr; }

struct BoxSet {
    std::string name;
    std::vector<Box> boxes;
};

/// One of a box's six coordinates: min x, y, z, then max.
inline float& at(Box& box, unsigned coordinate) {
    return coordinate < 3 ? box.min[coordinate] : box.max[coordinate - 3];
}
inline std::string name_coordinate(unsigned coordinate) {
    return std::string(coordinate < 3 ? "min " : "max ") + "xyz"[coordinate % 3];
}

inline bool is_ordered(const Box& box) {
    return box.min[0] <= box.max[0] && box.min[1] <= box.max[1] && box.min[2] <= box.max[2];
}
/// Whether all coordinates are finite.
inline bool is_finite(const Box& box) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(box.min[axis]) || !std::isfinite(box.max[axis]))
            return false;
    }
    return true;
}
inline bool are_ordered(const std::vector<Box>& boxes) {
    return std::all_of(boxes.begin(), boxes.end(), is_ordered);
}
/// Whether boxes are ordered, and what is finite of them is in the range in which boxes of a
/// compressed tree provably contain what is below.
inline bool are_in_range(const std::vector<Box>& boxes) {
    constexpr float reach = 41.0f;
    const auto is_far = [](float value) { return std::isfinite(value) && std::abs(value) > reach; };
    return are_ordered(boxes) && std::none_of(boxes.begin(), boxes.end(), [&](const Box& box) {
               return std::any_of(box.min, box.min + 3, is_far) ||
                      std::any_of(box.max, box.max + 3, is_far);
           });
}

/// Boxes of three sizes around the origin, two units from each other and more.
inline std::vector<Box> make_crowd(unsigned count) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float corner[3] = {4.0f * static_cast<float>(i % 5) - 8.0f,
                                 4.0f * static_cast<float>(i / 5 % 5) - 6.0f,
                                 4.0f * static_cast<float>(i / 25) - 2.0f};
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = corner[axis];
            box.max[axis] = corner[axis] + 1.0f + 0.5f * static_cast<float>((i + axis) % 3);
        }
        boxes.push_back(box);
    }
    return boxes;
}

/// The same, moved and made smaller or larger.
inline std::vector<Box> transform(std::vector<Box> boxes, float factor, float offset) {
    for (Box& box : boxes) {
        for (unsigned coordinate = 0; coordinate < 6; ++coordinate) {
            const float scaled = at(box, coordinate) * factor;
            at(box, coordinate) = scaled + offset;
        }
    }
    return boxes;
}

class BoxTable {
  public:
    BoxTable() {
        add_counts();
        add_not_numbers();
        add_infinities();
        add_inverted();
        add_sizes();
        add_arrangements();
    }

    std::vector<BoxSet> sets;

  private:
    void add(std::string name, std::vector<Box> boxes) {
        sets.push_back({std::move(name), std::move(boxes)});
    }
    /// A crowd with another value in some coordinates of one of its boxes.
    void add_changed(const std::string& name, unsigned item,
                     const std::vector<unsigned>& coordinates, float value) {
        std::vector<Box> boxes = make_crowd(9);
        for (const unsigned coordinate : coordinates)
            at(boxes[item], coordinate) = value;
        add(name, std::move(boxes));
    }

    void add_counts() {
        for (const unsigned count : {0u, 1u, 2u, 3u, 16u, 17u, 128u, 129u})
            add("crowd of " + std::to_string(count), make_crowd(count));
    }

    void add_not_numbers() {
        for (unsigned coordinate = 0; coordinate < 6; ++coordinate) {
            for (const unsigned item : {0u, 5u})
                add_changed("NaN, " + name_coordinate(coordinate) + " of item " +
                                std::to_string(item),
                            item, {coordinate}, not_a_number);
        }
        add_changed("NaN, all of item 0", 0, {0, 1, 2, 3, 4, 5}, not_a_number);
        add_changed("NaN, all of item 8", 8, {0, 1, 2, 3, 4, 5}, not_a_number);
        add("NaN, all of all", std::vector<Box>(5, {{not_a_number, not_a_number, not_a_number},
                                                    {not_a_number, not_a_number, not_a_number}}));
    }

    void add_infinities() {
        for (unsigned coordinate = 0; coordinate < 6; ++coordinate)
            add_changed("infinite, " + name_coordinate(coordinate), coordinate, {coordinate},
                        coordinate < 3 ? -infinity : infinity);
        std::vector<Box> boxes = make_crowd(9);
        for (unsigned axis = 0; axis < 3; ++axis) {
            boxes[axis].min[axis] = -infinity;
            boxes[axis].max[axis] = infinity;
            boxes[4].min[axis] = -infinity;
            boxes[4].max[axis] = infinity;
        }
        add("infinite slabs and space", boxes);
        add_changed("at infinity along x", 2, {0, 3}, infinity);
        add_changed("at minus infinity along z", 0, {2, 5}, -infinity);
        add_changed("at infinity", 7, {0, 1, 2, 3, 4, 5}, infinity);
    }

    void add_inverted() {
        for (unsigned axis = 0; axis < 3; ++axis) {
            std::vector<Box> boxes = make_crowd(9);
            std::swap(boxes[3 * axis].min[axis], boxes[3 * axis].max[axis]);
            add("inverted along " + std::string(1, "xyz"[axis]), boxes);
        }
        std::vector<Box> boxes = make_crowd(9);
        std::swap(boxes[4].min, boxes[4].max);
        add("inverted, one", boxes);
        for (Box& box : boxes)
            std::swap(box.min, box.max);
        add("inverted, all but one", boxes);
        boxes = make_crowd(9);
        boxes[1] = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
        add("inverted from infinity", boxes);
    }

    void add_sizes() {
        std::vector<Box> points = make_crowd(17);
        for (unsigned i = 0; i < 17; ++i) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                // Points, lines and plates.
                if (i % 3 == 0 || axis == i % 3 || (i % 2 == 0 && axis == (i + 1) % 3))
                    points[i].max[axis] = points[i].min[axis];
            }
        }
        add("zero sizes", points);
        points[4] = {{0.0f, -0.0f, 0.0f}, {-0.0f, 0.0f, -0.0f}};
        add("zeros of both signs", points);
        add("denormal", transform(make_crowd(17), 1024.0f * denormal, 0.0f));
        std::vector<Box> slim = make_crowd(9);
        for (Box& box : slim)
            box.max[1] = box.min[1] = denormal;
        slim[3].min[1] = 0.0f;
        add("denormal along y", slim);
        for (const float extent : {0.99e-8f, 1e-8f, 1.01e-8f})
            add("extent " + std::to_string(extent * 1e8f) + "e-8",
                transform(make_crowd(17), extent / 16.0f, 0.0f));
        std::vector<Box> huge = make_crowd(9);
        huge[2] = {{-FLT_MAX, -FLT_MAX, -FLT_MAX}, {FLT_MAX, FLT_MAX, FLT_MAX}};
        huge[5].min[0] = -3.4e38f;
        huge[6].max[2] = 3.4e38f;
        add("huge among others", huge);
        add("huge, all", transform(make_crowd(17), 2e37f, 0.0f));
        for (unsigned axis = 0; axis < 3; ++axis)
            huge[0].min[axis] = huge[0].max[axis] = FLT_MAX;
        add("huge, a point at the end", huge);
        add("small and far", transform(make_crowd(17), 1e-3f, 1e6f));
        add("small and far, below zero", transform(make_crowd(17), 1e-3f, -1e6f));
    }

    void add_arrangements() {
        for (const scenes::Kind kind :
             {scenes::Kind::flat, scenes::Kind::collinear, scenes::Kind::coincident,
              scenes::Kind::nested, scenes::Kind::diagonal, scenes::Kind::grid})
            add(scenes::name(kind), scenes::make(kind, 33, 7));
        add("identical", std::vector<Box>(40, make_crowd(1)[0]));
        for (unsigned axis = 0; axis < 3; ++axis)
            add("chain along " + std::string(1, "xyz"[axis]),
                scenes::geometric_chain(axis == 0 ? 200 : 40, 0.5f, axis));
        add("sheet", scenes::sheet(60, 0.3f));
    }
};

inline const std::vector<BoxSet>& all_box_sets() {
    static const BoxTable table;
    return table.sets;
}

} // namespace nasty
