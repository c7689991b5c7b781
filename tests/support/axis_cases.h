// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

namespace support {

/// A box's extents and the axis that they choose.
struct AxisCase {
    float x;
    float y;
    float z;
    unsigned axis;
};

/// The widest axis; ties go to the lower one.
inline constexpr AxisCase widest_axes[] = {{1, 1, 1, 0}, {2, 2, 1, 0}, {2, 1, 2, 0}, {1, 2, 2, 1},
                                           {1, 1, 2, 2}, {3, 2, 1, 0}, {1, 3, 2, 1}, {1, 2, 3, 2},
                                           {2, 1, 3, 2}, {0, 0, 0, 0}};
/// The thinnest one, likewise.
inline constexpr AxisCase thinnest_axes[] = {{1, 2, 3, 0}, {2, 1, 3, 1}, {3, 2, 1, 2}, {1, 1, 3, 0},
                                             {3, 1, 1, 1}, {2, 1, 1, 1}, {1, 1, 1, 0}};

/// Holds `choose(x, y, z)` against each case.
template <typename Cases, typename Choose>
void expect_axes(const Cases& cases, const Choose& choose) {
    for (const AxisCase& each : cases)
        EXPECT_EQ(choose(each.x, each.y, each.z), each.axis)
            << each.x << " " << each.y << " " << each.z;
}

} // namespace support
