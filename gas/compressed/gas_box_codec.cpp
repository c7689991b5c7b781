// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_box_codec.h>

#include <cstring>

#include <gas/compressed/gas_compressed_boxes.h>

inline namespace gas_abi1 {

namespace {

/// The floor of each lane. Its low byte is 0 for a float that no 32-bit integer holds, which is a
/// multiple of 256, an infinity or a NaN.
SimdI get_floor(const SimdF& a) {
    const SimdF lowest(-2147483648.0f); // -2^31
    const SimdI truncated = SimdI::truncate(a);
    return truncated + SimdI::from_mask((a < truncated.to_floats()) & (a > lowest));
}

} // namespace

GasQuantizedPair gas_encode_box_pair(const GMathBbox3<float>& parent,
                                     const GMathBbox3<float>& first,
                                     const GMathBbox3<float>& second) {
    return gas_encode_box_pair(GasLaneBox::load(parent), GasLaneBox::load(first),
                               GasLaneBox::load(second));
}

GasQuantizedPair gas_encode_box_pair(const GasLaneBox& outer, const GasLaneBox& a,
                                     const GasLaneBox& b) {
    const SimdF step_count(255.0f);      // 0x437F0000
    const SimdF widening(3.9215687e-5f); // 0.01 / 255, 0x38247B86
    const SimdF zero(0.0f);

    // Where the parent has no extent, zeros are stored.
    const SimdF extent = outer.max - outer.min;
    const SimdF divided = (extent < zero) | (extent > zero);
    const SimdF scale = step_count / extent;

    // The larger of the lower bounds is stored; of equal ones the second child's.
    const SimdF second_owns_min = b.min >= a.min;
    const SimdF lower =
        SimdF::max(SimdF::select(second_owns_min, b.min, a.min) - widening, outer.min);
    const SimdF min_steps = ((lower - outer.min) * scale) & divided;

    // The smaller of the upper bounds is stored; of equal ones the second child's.
    const SimdF first_owns_max = b.max > a.max;
    const SimdF upper =
        SimdF::min(SimdF::select(first_owns_max, a.max, b.max) + widening, outer.max);
    const SimdF max_steps = ((outer.max - upper) * scale) & divided;

    // Lanes w have no extent, so they are 0 and free for the owner bits.
    const int axes = divided.get_mask();
    const int min_owners = axes & ~second_owns_min.get_mask();
    const int max_owners = axes & first_owns_max.get_mask();
    const SimdI owners(0, 0, 0,
                       min_owners * int{GasQuantizedPair::min_owner} |
                           max_owners * int{GasQuantizedPair::max_owner});
    unsigned char bytes[sizeof(GasQuantizedPair) + 1];
    SimdI::store_bytes(bytes, get_floor(min_steps) + owners, get_floor(max_steps));
    GasQuantizedPair pair;
    std::memcpy(&pair, bytes, sizeof pair);
    return pair;
}

} // namespace gas_abi1
