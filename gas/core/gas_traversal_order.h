// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cfloat>

#include <gas/core/gas_lane_box.h>

inline namespace gas_abi1 {

/// The traversal order code of two sibling boxes: the axis along which they are best separated
/// (bits 0 and 1), and whether the second lies on the low side (bit 2). Of equal gaps the earlier
/// stays; `previous` when no gap compares (NaN, or below the lowest float). Each w may hold
/// anything. Nothing branches on which gap is the widest.
inline unsigned gas_traversal_order(unsigned previous, const GasLaneBox& first,
                                    const GasLaneBox& second) {
    const SimdF mask = SimdF::s_mask_xyz;
    const SimdF above = (second.min & mask) - (first.max & mask);
    const SimdF below = (first.min & mask) - (second.max & mask);
    // In the order of offers: x above, x below, y above, y below; then z above, z below, and w,
    // which is 0 and left out below.
    const SimdF xy = SimdF::interleave_low(above, below);
    const SimdF z = SimdF::interleave_high(above, below);
    const SimdF zz = SimdF::interleave_low(z, z);
    // The widest gap in every lane; a NaN never is the larger one.
    const SimdF lowest(-FLT_MAX);
    SimdF best = SimdF::max(zz, SimdF::max(xy, lowest));
    best = SimdF::max(best, best.move_high());
    best = SimdF::max(best.broadcast<0>(), best.broadcast<1>());
    const unsigned widest = static_cast<unsigned>((xy >= best).get_mask()) |
                            (static_cast<unsigned>((z >= best).get_mask()) & 3u) << 4;
    if (!(best.get_first() > -FLT_MAX))
        return previous;
    constexpr unsigned codes = 0x625140; // a hexadecimal digit per offer
    constexpr unsigned none = 1u << 6;   // never the lowest bit: the widest gap is an offer
    return codes >> 4 * std::countr_zero(widest | none) & 7u;
}

} // namespace gas_abi1
