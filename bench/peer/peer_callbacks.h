// SPDX-License-Identifier: Apache-2.0
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
struct PeerCallbacks {
    RTCIntersectFunctionN nearest;
    RTCOccludedFunctionN any;
};

/// Intersect the scene's items.
PeerCallbacks get_item_callbacks(bool in_motion);
/// Pass rays on to the scenes of the parts as they are.
PeerCallbacks get_part_callbacks();
/// Do nothing, so that nothing is hit.
PeerCallbacks get_empty_callbacks();

} // namespace gas_peer
