// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include <tests/naive/naive_tree.h>

namespace support {

/// Scales boxes by a power of two, so that the largest extent of their union lies in 64..128, where
/// a compressed tree's boxes contain what is below them. Boxes without extent stay.
inline std::vector<naive::Box> fit_to_range(std::vector<naive::Box> boxes) {
    double largest = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        double low = static_cast<double>(boxes[0].min[axis]);
        double high = static_cast<double>(boxes[0].max[axis]);
        for (const naive::Box& box : boxes) {
            low = std::min(low, static_cast<double>(box.min[axis]));
            high = std::max(high, static_cast<double>(box.max[axis]));
        }
        largest = std::max(largest, high - low);
    }
    if (largest == 0.0)
        return boxes;
    const int power = 6 - std::ilogb(largest);
    const auto scale = [power](float bound) {
        return static_cast<float>(std::ldexp(static_cast<double>(bound), power));
    };
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = scale(box.min[axis]);
            box.max[axis] = scale(box.max[axis]);
        }
    }
    return boxes;
}

} // namespace support
