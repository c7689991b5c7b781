// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A packet of four rays: lane j of packet k holds ray 4k + j of the batch. Lanes without a ray of
/// the batch keep the buffer's older values; ranges decide which rays count.
struct GasSimdRays {
    SimdF origin_x;
    SimdF origin_y;
    SimdF origin_z;
    SimdF inverse_direction_x;
    SimdF inverse_direction_y;
    SimdF inverse_direction_z;
    SimdF tnear;
    /// The far distance; in a nearest-hit query the hit distance so far.
    SimdF tfar;
};

static_assert(sizeof(GasSimdRays) == 128, "eight four-lane vectors");

} // namespace gas_abi1
