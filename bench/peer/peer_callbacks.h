#pragma once

#include <cstdint>

#include <embree3/rtcore.h>

namespace gas_peer {

/// What the callbacks see beside the rays: the peer hands back the pointer to its context.
struct PeerContext {
    RTCIntersectContext base;
    /// By the rays' ids where all hits are asked for, else null: the first one ends its ray.
    std::uint32_t* hit_counts;
};

/// For rays that come alone or in packets of any size.
RTCIntersectFunctionN get_nearest_callback(bool in_motion);
RTCOccludedFunctionN get_any_callback(bool in_motion);

} // namespace gas_peer
