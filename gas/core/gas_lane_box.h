// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

#include <gas/core/gas_bbox.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A box, or the bounds of points, in lanes x, y, z. Lanes w are 0 unless a function says
/// otherwise.
struct GasLaneBox {
    SimdF min;
    SimdF max;

    /// Holds nothing: the first box or point that is added replaces it.
    static GasLaneBox get_empty() {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        return {SimdF(infinity), SimdF(-infinity)};
    }

    /// Two overlapping loads, which stay within the box's own six floats.
    static GasLaneBox load(const GMathBbox3<float>& box) {
        const float* coordinates = &box.min.x;
        return {SimdF::load_unaligned(coordinates) & SimdF::s_mask_xyz,
                SimdF::load_unaligned(coordinates + 2).move_down() & SimdF::s_mask_xyz};
    }
    /// Each coordinate rounded to the nearest float.
    static GasLaneBox load(const GMathBbox3<double>& box) {
        const auto round = [](const GMathVec3<double>& corner) {
            return SimdF(static_cast<float>(corner.x), static_cast<float>(corner.y),
                         static_cast<float>(corner.z), 0.0f);
        };
        return {round(box.min), round(box.max)};
    }
    static GasLaneBox load(const GasBbox& box) {
        return {SimdF::load(box.min), SimdF::load(box.max)};
    }

    GMathBbox3<float> to_box() const {
        float low[4];
        float high[4];
        min.store(low);
        max.store(high);
        return {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
    }

    /// Grows by `other` as gas_unite does: the smaller min (the other's where they are equal, its
    /// own where one is a NaN), the larger max.
    void unite(const GasLaneBox& other) {
        min = SimdF::select(min >= other.min, other.min, min);
        max = SimdF::max(max, other.max);
    }
    /// The same for boxes without NaN, in fewer steps; the sign of a zero may differ.
    void add(const GasLaneBox& other) {
        min = SimdF::min(other.min, min);
        max = SimdF::max(other.max, max);
    }
    /// Grows by a point. A NaN is left out.
    void add(const SimdF& point) {
        min = SimdF::min(point, min);
        max = SimdF::max(point, max);
    }

    /// As gas_box_center has it.
    SimdF get_center() const { return (min + max) * SimdF(0.5f); }
    SimdF get_extent() const { return max - min; }

    /// Clears lanes w, which may hold anything.
    GasLaneBox mask_w() const { return {min & SimdF::s_mask_xyz, max & SimdF::s_mask_xyz}; }
};

/// The boxes of two siblings.
struct GasBoxPair {
    GasLaneBox first;
    GasLaneBox second;
};

} // namespace gas_abi1
