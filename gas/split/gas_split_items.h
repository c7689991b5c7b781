// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include <gas/core/gas_numeric.h>

inline namespace gas_abi1 {

/// The bounds of the listed items' centres; all zeros for none.
inline GMathBbox3<float> gas_center_bounds(const unsigned* items, unsigned count,
                                           const GMathVec3<float>* centers) {
    if (count == 0)
        return {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};
    GMathBbox3<float> bounds = {centers[items[0]], centers[items[0]]};
    for (unsigned i = 1; i < count; ++i) {
        const GMathVec3<float>& center = centers[items[i]];
        gas_grow(bounds.min, bounds.max, center, center);
    }
    return bounds;
}

/// Partitions `items` in place: centres at or below `position` come first and keep their order, the
/// others (NaN included) follow. Returns how many came first.
inline unsigned gas_partition_items(unsigned* items, unsigned count,
                                    const GMathVec3<float>* centers, unsigned axis,
                                    float position) {
    const GasCoordinate coordinate = gas_coordinates[axis];
    unsigned low = 0;
    unsigned high = count; // one past the last entry not yet moved to the high side
    while (low < high) {
        if (position >= centers[items[low]].*coordinate) {
            ++low;
        } else {
            --high;
            std::swap(items[low], items[high]);
        }
    }
    return low;
}

/// Sorts `count` (at most a few dozen) items by centre, ascending. A quicksort with the last entry
/// as pivot and one pass of swaps (Lomuto's scheme). Its moves decide the order of equal centres,
/// and that order is part of the tree.
inline void gas_sort_by_center(unsigned* items, unsigned count, const GMathVec3<float>* centers,
                               GasCoordinate coordinate) {
    while (count >= 2) {
        const float pivot = centers[items[count - 1]].*coordinate;
        unsigned store = 0;
        for (unsigned i = 0; i + 1 < count; ++i) {
            if (centers[items[i]].*coordinate < pivot)
                std::swap(items[i], items[store++]);
        }
        std::swap(items[store], items[count - 1]);
        gas_sort_by_center(items, store, centers, coordinate);
        items += store + 1;
        count -= store + 1;
    }
}

} // namespace gas_abi1
