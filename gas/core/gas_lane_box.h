#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A box in two four-lane vectors, which grows all coordinates at once. Both halves are loaded from
/// the box's own six floats: the min in lanes x, y, z, the max in lanes y, z, w. The fourth lane
/// holds another coordinate of the box and has no meaning.
struct GasLaneBox {
    SimdF min;
    SimdF max;

    static GasLaneBox load(const GMathBbox3<float>& box) {
        const float* coordinates = &box.min.x;
        return {SimdF::load_unaligned(coordinates), SimdF::load_unaligned(coordinates + 2)};
    }

    /// Grows by `other`, lane by lane as gas_unite does: the smaller min (the other's where they
    /// are equal, its own where one is a NaN), the larger max.
    void unite(const GasLaneBox& other) {
        min = SimdF::select(min >= other.min, other.min, min);
        max = SimdF::max(max, other.max);
    }

    GMathVec3<float> get_extent() const {
        float low[4];
        float high[4];
        min.store(low);
        max.store(high);
        return {high[1] - low[0], high[2] - low[1], high[3] - low[2]};
    }
};

} // namespace gas_abi1
