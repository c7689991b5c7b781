// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_lane_box.h>
#include <gas/split/gas_split_methods.h>

inline namespace gas_abi1 {

/// A node still to be made: its share of the records, its number, the first number of the nodes
/// below it, its level, and the bounds of its records' centres. Numbers follow from counts of items
/// alone, so parts can be worked on in any order and on any thread.
struct GasBuildPart {
    unsigned offset;
    unsigned count;
    unsigned node;
    unsigned below;
    unsigned depth;
    GasLaneBox bounds;
};

/// Nodes of up to this many items are built in one go; fewer where nothing but the median counts.
inline constexpr unsigned gas_small_count = 16;
inline unsigned gas_get_small_count(GasBuildMethod method) {
    return method == GasBuildMethod::median ? 2 : gas_small_count;
}

} // namespace gas_abi1
