// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_lane_box.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Scratch of the binned SAH splits, allocated once per build. On the exact path a slot holds one
/// item in place of a bin.
struct GasSahWorkspace {
    static constexpr unsigned bin_count = 16;
    static constexpr unsigned plane_count = bin_count - 1;

    explicit GasSahWorkspace(const GMathVec3<float>* build_centers) : centers(build_centers) {}

    /// Counts are floats: they stop at 2^24, where adding 1 no longer changes them.
    float bin_counts[bin_count];
    GasLaneBox bin_boxes[bin_count];
    /// Plane k = 1..15 stands at entry k - 1: bins 0..k-1 before it, bins k..last after it.
    float prefix_counts[plane_count];
    GasLaneBox prefix_boxes[plane_count];
    float suffix_counts[plane_count];
    GasLaneBox suffix_boxes[plane_count];
    /// The exact path's items, sorted by centre along each axis.
    unsigned sorted_items[3][bin_count];
    /// Part of the record's layout; the splits take the context's centres.
    const GMathVec3<float>* centers;
};

} // namespace gas_abi1
