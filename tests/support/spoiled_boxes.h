// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cfloat>
#include <iterator>
#include <limits>
#include <vector>

#include <tests/naive/naive_tree.h>
#include <tests/support/seeded_random.h>

namespace support {

/// A value that arithmetic treats specially.
inline float special_value(SeededRandom& random) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float values[] = {std::numeric_limits<float>::quiet_NaN(),
                                infinity,
                                -infinity,
                                FLT_MAX,
                                -FLT_MAX,
                                1.7e38f,
                                -0.0f,
                                0.0f,
                                1e-45f,
                                1e-8f,
                                -1e-8f};
    return values[random.below(std::size(values))];
}

/// Replaces coordinates by special values, about one in `rarity`, on one axis or on all.
inline void spoil(std::vector<naive::Box>& boxes, SeededRandom& random, unsigned rarity) {
    const unsigned only_axis = random.below(6);
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            if (only_axis < 3 && axis != only_axis)
                continue;
            if (random.below(rarity) == 0)
                box.min[axis] = special_value(random);
            if (random.below(rarity) == 0)
                box.max[axis] = special_value(random);
        }
    }
}

} // namespace support
