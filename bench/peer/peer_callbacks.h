#pragma once

#include <cstdint>

#include <embree3/rtcore.h>

namespace gas_peer {

/// The callbacks' data beside the rays: the peer passes on the pointer to its context.
struct PeerContext {
    RTCIntersectContext base;
    /// By the rays' ids where all hits are asked for, else null: the first one ends its ray.
    std::uint32_t* hit_counts;
};

/// For single rays and packets of any size.
RTCIntersectFunctionN get_nearest_callback(bool in_motion);
RTCOccludedFunctionN get_any_callback(bool in_motion);

} // namespace gas_peer
