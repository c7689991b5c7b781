// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/host/host.h>
#include <gas/traversal/packet/gas_simd_rays.h>

inline namespace gas_abi1 {

/// One box, each coordinate in all four lanes, tested against packets; and the moves of a range
/// first..last of active rays by the masks of those tests. Bit j of a mask is lane j.
class GAS_EXPORT GasTreeSimdNode {
  public:
    /// The lowest set bit of a mask, 4 for none; the highest, -1 for none.
    static const int s_mask_to_first_index[16];
    static const int s_mask_to_last_index[16];
    /// Lanes j to 3; lanes 0 to j.
    static const int s_first_index_to_mask[4];
    static const int s_last_index_to_mask[4];

    /// Leaves the box uninitialised.
    GasTreeSimdNode() = default;

    /// Takes lanes x, y, z of a box's corners.
    void init(const SimdF& min, const SimdF& max) {
        min_x = min.broadcast<0>();
        min_y = min.broadcast<1>();
        min_z = min.broadcast<2>();
        max_x = max.broadcast<0>();
        max_y = max.broadcast<1>();
        max_z = max.broadcast<2>();
    }

    /// Tests the box against the packet that holds `ray`. `tmin` and `tmax` become the distances
    /// between which each lane's ray is inside; the result is the mask of the lanes where that is
    /// not empty. A ray in a face gives a NaN, which never culls.
    int intersect_rays(const GasSimdRays* packets, const unsigned& ray, SimdF& tmin,
                       SimdF& tmax) const {
        const GasSimdRays& packet = packets[ray / 4];
        tmin = packet.tnear;
        tmax = packet.tfar;
        clip(min_x, max_x, packet.origin_x, packet.inverse_direction_x, tmin, tmax);
        clip(min_y, max_y, packet.origin_y, packet.inverse_direction_y, tmin, tmax);
        clip(min_z, max_z, packet.origin_z, packet.inverse_direction_z, tmin, tmax);
        return (tmin <= tmax).get_mask();
    }

    /// Moves `first` to the lowest lane of `mask` at or after its own in the same packet, or to the
    /// first lane of the next packet when there is none.
    static void update_first_index(int& first, const int& mask) {
        first = (first & ~3) + s_mask_to_first_index[s_first_index_to_mask[first & 3] & mask];
    }

    /// Moves `last` to the highest lane of `mask` at or before its own in the same packet, or to
    /// the last lane of the previous packet when there is none.
    static void update_last_index(int& last, const int& mask) {
        last = (last & ~3) + s_mask_to_last_index[s_last_index_to_mask[last & 3] & mask];
    }

    /// Moves `first` up, packet by packet, until a packet has any lane that hits the box (which may
    /// lie below `first`: it then stands at the next packet, untested) or `first` passes `last`.
    void update_first_ray(const GasSimdRays* packets, int& first, const int& last, SimdF& tmin,
                          SimdF& tmax) const {
        int mask = 0;
        while (first <= last && mask == 0) {
            mask = intersect_rays(packets, static_cast<unsigned>(first), tmin, tmax);
            update_first_index(first, mask);
        }
    }

    /// The mirror image: moves `last` down.
    void update_last_ray(const GasSimdRays* packets, const int& first, int& last, SimdF& tmin,
                         SimdF& tmax) const {
        int mask = 0;
        while (first <= last && mask == 0) {
            mask = intersect_rays(packets, static_cast<unsigned>(last), tmin, tmax);
            update_last_index(last, mask);
        }
    }

    SimdF min_x;
    SimdF min_y;
    SimdF min_z;
    SimdF max_x;
    SimdF max_y;
    SimdF max_z;

  private:
    /// Narrows tmin..tmax to one slab. The operand order lets a NaN pass: see gas_box_tests.h.
    static void clip(const SimdF& low, const SimdF& high, const SimdF& origin,
                     const SimdF& inverse_direction, SimdF& tmin, SimdF& tmax) {
        const SimdF t0 = (low - origin) * inverse_direction;
        const SimdF t1 = (high - origin) * inverse_direction;
        tmin = SimdF::max(SimdF::min(t1, t0), tmin);
        tmax = SimdF::min(SimdF::max(t0, t1), tmax);
    }
};

} // namespace gas_abi1
