// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <utility>

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Sorting the few items of a small node by centre.

/// Numbers of items within a small subtree.
using GasSmallNumber = unsigned char;

inline constexpr unsigned gas_small_sort_limit = 16;

/// gas_sort_by_center over keys beside their numbers.
inline void gas_sort_small_keys(float* keys, GasSmallNumber* numbers, unsigned count) {
    while (count >= 2) {
        const float pivot = keys[count - 1];
        unsigned store = 0;
        const auto swap = [&](unsigned i, unsigned j) {
            std::swap(keys[i], keys[j]);
            std::swap(numbers[i], numbers[j]);
        };
        for (unsigned i = 0; i + 1 < count; ++i) {
            if (keys[i] < pivot)
                swap(i, store++);
        }
        swap(store, count - 1);
        gas_sort_small_keys(keys, numbers, store);
        keys += store + 1;
        numbers += store + 1;
        count -= store + 1;
    }
}

/// Ranks 4 × `vectors` keys, of which `count` count: how many keys are smaller.
template <unsigned vectors> void gas_rank_keys(const float* keys, unsigned count, int* ranks) {
    SimdF values[vectors];
    SimdI smaller[vectors];
    for (unsigned v = 0; v < vectors; ++v) {
        values[v] = SimdF::load(keys + 4 * v);
        smaller[v] = SimdI(0, 0, 0, 0);
    }
    for (unsigned i = 0; i < count; ++i) {
        const SimdF key(keys[i]);
        for (unsigned v = 0; v < vectors; ++v)
            smaller[v] = smaller[v] + SimdI::from_mask(key < values[v]);
    }
    for (unsigned v = 0; v < vectors; ++v)
        smaller[v].store(ranks + 4 * v); // negative: a mask counts -1
}

/// Sorts `count` (2 to 16) numbers by their keys, ascending, as gas_sort_by_center would. Keys
/// stand at a 16-byte boundary and are followed by any floats up to a multiple of four, numbers by
/// any up to 16. Keys may get out of order.
inline void gas_sort_small(float* keys, GasSmallNumber* numbers, unsigned count) {
    int ranks[gas_small_sort_limit];
    if (count <= 4)
        gas_rank_keys<1>(keys, count, ranks);
    else if (count <= 8)
        gas_rank_keys<2>(keys, count, ranks);
    else if (count <= 12)
        gas_rank_keys<3>(keys, count, ranks);
    else
        gas_rank_keys<4>(keys, count, ranks);

    // Where keys differ, any sort gives the same list.
    unsigned taken = 0;
    for (unsigned i = 0; i < count; ++i)
        taken |= 1u << -ranks[i];
    if (taken != (1u << count) - 1) {
        gas_sort_small_keys(keys, numbers, count);
        return;
    }
    GasSmallNumber unsorted[gas_small_sort_limit];
    std::memcpy(unsorted, numbers, sizeof unsorted);
    for (unsigned i = 0; i < count; ++i)
        numbers[-ranks[i]] = unsorted[i];
}

} // namespace gas_abi1
