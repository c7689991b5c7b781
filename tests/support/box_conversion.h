// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/host/host.h>

#include <tests/naive/naive_tree.h>

namespace support {

inline GMathBbox3<float> to_box(const naive::Box& box) {
    return {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}};
}

inline GMathBbox3<double> to_box(const naive::BoxD& box) {
    return {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}};
}

/// The same box in doubles.
inline GMathBbox3<double> widen(const GMathBbox3<float>& box) {
    GMathBbox3<double> wide;
    for (unsigned axis = 0; axis < 3; ++axis) {
        wide.min[axis] = static_cast<double>(box.min[axis]);
        wide.max[axis] = static_cast<double>(box.max[axis]);
    }
    return wide;
}

inline naive::Box from_corners(const GMathVec3<float>& min, const GMathVec3<float>& max) {
    return {{min.x, min.y, min.z}, {max.x, max.y, max.z}};
}

/// The oracle's boxes in the library's array.
inline CoreArray<GMathBbox3<float>> to_boxes(const std::vector<naive::Box>& boxes) {
    CoreArray<GMathBbox3<float>> array(static_cast<unsigned>(boxes.size()));
    for (unsigned i = 0; i < array.get_count(); ++i)
        array[i] = to_box(boxes[i]);
    return array;
}

inline CoreArray<GMathBbox3<double>> to_double_boxes(const std::vector<naive::BoxD>& boxes) {
    CoreArray<GMathBbox3<double>> array(static_cast<unsigned>(boxes.size()));
    for (unsigned i = 0; i < array.get_count(); ++i)
        array[i] = to_box(boxes[i]);
    return array;
}

} // namespace support
