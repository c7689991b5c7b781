#pragma once

#include <gas/core/gas_bbox.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A box in lanes x, y, z; lane w is 0.
struct GasLaneCorners {
    SimdF min;
    SimdF max;

    GasLaneCorners() = default;
    /// Both loads stay within the box's own six floats.
    explicit GasLaneCorners(const GMathBbox3<float>& bbox)
        : min(SimdF::load_unaligned(&bbox.min.x) & SimdF::s_mask_xyz),
          max(SimdF::load_unaligned(&bbox.min.z).move_down() & SimdF::s_mask_xyz) {}
    explicit GasLaneCorners(const GasBbox& bbox)
        : min(SimdF::load(bbox.min)), max(SimdF::load(bbox.max)) {}
};

} // namespace gas_abi1
