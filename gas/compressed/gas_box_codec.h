// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_node.h>
#include <gas/core/gas_lane_box.h>
#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Encodes the boxes of two siblings against their parent's box.
///
/// Before it is rounded outward to a step, a stored bound is moved outward by 3.9e-5 units. That
/// covers the rounding of encoder and decoder where coordinates and extents are below 82 units (in
/// practice up to about 200): the decoded boxes contain the encoded ones. Beyond, a decoded bound
/// may fall short by up to 3e-7 of the parent's extent; below 1e-3 units the widening itself makes
/// boxes loose.
GAS_EXPORT GasQuantizedPair gas_encode_box_pair(const GMathBbox3<float>& parent,
                                                const GMathBbox3<float>& first,
                                                const GMathBbox3<float>& second);

/// All bits of the lanes in which a box's extent is a finite number. All boxes decoded below a box
/// with min <= max have finite extents in the same lanes, and no steps in the others, so a walk
/// tests its root alone.
inline SimdF gas_find_finite_lanes(const SimdF& min, const SimdF& max) {
    // 0 times a finite number is 0; times an infinity or a NaN it is a NaN, which compares false.
    const SimdF zero(0.0f);
    return (max - min) * zero <= zero;
}

/// Decodes a pair of boxes from its seven bytes, widened to integer lanes: the lower bounds and the
/// owners, and the upper bounds. Lanes are those of one pair, or of two side by side.
template <typename Integers, typename Floats, typename BoxPair>
inline void gas_decode_steps(const Integers& min_steps, const Integers& max_steps,
                             const Floats& parent_min, const Floats& parent_max,
                             const Floats& finite, BoxPair& boxes) {
    const Floats step_factor(0.003921568859368563f); // 1/255, 0x3B808081
    const Integers min_owners(1, 2, 4, 0);
    const Integers max_owners(8, 16, 32, 0);
    const Integers none(0, 0, 0, 0);
    const Integers owners = min_steps.template broadcast<3>();

    // The operand order keeps a NaN bound of the parent; other lanes are not affected.
    // Lanes w: the parent's 0, plus the owner bits or the eighth byte times a step of 0.
    const Floats step = ((parent_max - parent_min) * step_factor) & finite;
    const Floats up = gas_rounded(min_steps.to_floats() * step);
    const Floats down = gas_rounded(max_steps.to_floats() * step);
    const Floats lower = Floats::min(parent_max, parent_min + up);
    const Floats upper = Floats::max(parent_min, parent_max - down);

    // Where the second child owns the stored bound, exchange it with the parent's.
    const Floats min_exchange = (lower ^ parent_min) & ((owners & min_owners) == none);
    const Floats max_exchange = (upper ^ parent_max) & ((owners & max_owners) == none);
    boxes.first.min = lower ^ min_exchange;
    boxes.second.min = parent_min ^ min_exchange;
    boxes.first.max = upper ^ max_exchange;
    boxes.second.max = parent_max ^ max_exchange;
}

/// Decodes the pair at the start of `bytes`, of which eight are read; the eighth may hold anything.
/// The parent's box is in lanes x, y, z; its lanes w are 0. Children stay within their parent. In
/// lanes that are not `finite` (gas_find_finite_lanes) both get the parent's bounds.
inline void gas_decode_box_pair(const unsigned char* bytes, const SimdF& parent_min,
                                const SimdF& parent_max, const SimdF& finite, GasBoxPair& boxes) {
    SimdI min_steps;
    SimdI max_steps;
    SimdI::load_bytes(bytes, min_steps, max_steps);
    gas_decode_steps(min_steps, max_steps, parent_min, parent_max, finite, boxes);
}

/// The same where the finite lanes are not known yet.
inline void gas_decode_box_pair(const unsigned char* bytes, const SimdF& parent_min,
                                const SimdF& parent_max, GasBoxPair& boxes) {
    gas_decode_box_pair(bytes, parent_min, parent_max,
                        gas_find_finite_lanes(parent_min, parent_max), boxes);
}

} // namespace gas_abi1
