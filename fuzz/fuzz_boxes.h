// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

#include <fuzz/fuzz_input.h>
#include <tests/naive/naive_tree.h>
#include <tests/support/scenes.h>
#include <tests/support/working_range.h>

/// Boxes of a scene: of a seed or of bytes, some of them with special values.
namespace fuzz {

using naive::Box;
using Boxes = std::vector<Box>;

inline bool is_finite(const Box& box) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(box.min[axis]) || !std::isfinite(box.max[axis]))
            return false;
    }
    return true;
}
/// No NaN either.
inline bool is_ordered(const Box& box) {
    return box.min[0] <= box.max[0] && box.min[1] <= box.max[1] && box.min[2] <= box.max[2];
}
inline bool are_finite(const Boxes& boxes) {
    return std::all_of(boxes.begin(), boxes.end(), is_finite);
}
inline bool are_ordered(const Boxes& boxes) {
    return std::all_of(boxes.begin(), boxes.end(), is_ordered);
}

/// A bound of all coordinates and extents of finite boxes.
inline double get_measure(const Boxes& boxes) {
    double measure = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        double low = static_cast<double>(boxes[0].min[axis]);
        double high = static_cast<double>(boxes[0].max[axis]);
        for (const Box& box : boxes) {
            low = std::min(low, static_cast<double>(box.min[axis]));
            high = std::max(high, static_cast<double>(box.max[axis]));
        }
        measure = std::max({measure, std::abs(low), std::abs(high), high - low});
    }
    return measure;
}

/// What the boxes of bytes have in common.
enum class Layout { free, points, flat, line, same, nested };

inline void lay_out(Boxes& boxes, Layout layout, unsigned axis) {
    const Box first = boxes[0];
    float size = 1.0f;
    for (Box& box : boxes) {
        for (unsigned other = 0; other < 3; ++other) {
            float& min = box.min[other];
            float& max = box.max[other];
            if (layout == Layout::points || (layout == Layout::flat && other == axis))
                max = min = layout == Layout::flat ? first.min[other] : min;
            if (layout == Layout::same || (layout == Layout::line && other != axis)) {
                min = first.min[other];
                max = first.max[other];
            }
            if (layout == Layout::nested) {
                min = first.min[other];
                max = min + (first.max[other] - min) * size;
            }
        }
        size *= 0.875f;
    }
}

inline Boxes take_lattice_boxes(FuzzInput& input, unsigned count) {
    struct Frame {
        float scale;
        float offset;
    };
    constexpr Frame frames[] = {{1.0f, 0.0f},   {4.0f, 0.0f},    {1e-3f, 1e6f}, {1e-8f, 0.0f},
                                {2e37f, 0.0f},  {1e-42f, 0.0f},  {1e30f, 0.0f}, {1e-3f, 0.0f},
                                {1.0f, 100.0f}, {0.125f, -1e6f}, {1.0f, 0.0f}};
    const Frame frame = frames[input.take_below(std::size(frames))];
    const auto layout = static_cast<Layout>(input.take_below(6));
    const unsigned axis = input.take_below(3);
    Boxes boxes(count);
    for (Box& box : boxes) {
        for (unsigned other = 0; other < 3; ++other) {
            box.min[other] = input.take_lattice();
            box.max[other] = box.min[other] + static_cast<float>(input.take_below(16)) * 0.125f;
        }
    }
    lay_out(boxes, layout, axis);
    for (Box& box : boxes) {
        for (unsigned other = 0; other < 3; ++other) {
            box.min[other] = box.min[other] * frame.scale + frame.offset;
            box.max[other] = box.max[other] * frame.scale + frame.offset;
        }
    }
    return boxes;
}

/// Does something to one box.
inline void edit_box(FuzzInput& input, Boxes& boxes) {
    Box& box = boxes[input.take_byte() % boxes.size()];
    const unsigned choice = input.take_byte();
    const unsigned axis = choice / 8 % 3;
    float& bound = (choice & 128) != 0 ? box.max[axis] : box.min[axis];
    switch (choice % 8) {
    case 0:
        return std::swap(box.min[axis], box.max[axis]);
    case 1:
        return std::swap(box.min, box.max);
    case 2:
        box = boxes[input.take_byte() % boxes.size()];
        return;
    case 3:
        box.max[axis] = box.min[axis];
        return;
    case 4:
        box.min[axis] = input.take_special();
        box.max[axis] = input.take_special();
        return;
    case 5:
        bound = std::nextafter(bound, input.take_lattice());
        return;
    default:
        bound = input.take_special();
        return;
    }
}

/// Half of all scenes stay as they are.
inline void edit_boxes(FuzzInput& input, Boxes& boxes) {
    const unsigned choice = input.take_byte();
    for (unsigned edits = choice < 128 ? 0 : 1 + choice % 8; edits > 0; --edits)
        edit_box(input, boxes);
}

/// `count` boxes, 1 or more.
inline Boxes take_boxes(FuzzInput& input, unsigned count) {
    const unsigned choice = input.take_byte();
    Boxes boxes;
    if (choice < 96) {
        const std::vector<scenes::Kind>& kinds = scenes::all_kinds();
        boxes = scenes::make(kinds[choice % kinds.size()], count, input.take_seed());
    } else {
        boxes = take_lattice_boxes(input, count);
    }
    // Where compressed boxes contain what they stand for.
    if (choice % 4 == 3 && are_finite(boxes) && get_measure(boxes) > 0.0)
        boxes = support::fit_to_range(boxes);
    edit_boxes(input, boxes);
    return boxes;
}

/// The same items at another time.
inline Boxes take_moved_boxes(FuzzInput& input, const Boxes& boxes) {
    const unsigned choice = input.take_byte();
    Boxes moved = boxes;
    if (choice % 4 == 1) {
        moved = take_boxes(input, static_cast<unsigned>(boxes.size()));
    } else if (choice % 4 != 0) {
        const float way[3] = {input.take_lattice(), input.take_lattice(), input.take_lattice()};
        for (Box& box : moved) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] += way[axis];
                box.max[axis] += way[axis];
            }
        }
    }
    if (choice % 8 >= 6)
        edit_boxes(input, moved);
    return moved;
}

/// Few more often than many.
inline unsigned take_count(FuzzInput& input) {
    const unsigned choice = input.take_byte();
    return 1 + (choice < 160 ? choice % 24 : choice - 160);
}

inline naive::Split take_split(FuzzInput& input) {
    return naive::all_splits[input.take_below(std::size(naive::all_splits))];
}

} // namespace fuzz
