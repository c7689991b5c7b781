// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>
#include <gas/traversal/packet/gas_simd_rays.h>

inline namespace gas_abi1 {

/// A box, each coordinate in all four lanes, for the rays of a batch in one octant: along each axis
/// all inverse directions are finite and of one sign, and all origins are finite. All rays meet a
/// box's planes in one order, so that the test need not sort distances. It gives the result of
/// GasTreeSimdNode. `one_origin`: all rays have the same, and planes are measured from it once
/// instead of in each test.
template <bool one_origin> struct GasOctantBox {
    SimdF near[3];
    SimdF far[3];

    /// `signs`: lanes x, y, z are -0 where directions are negative, else +0. Planes are sorted
    /// along the rays, because a box's corners need not be in order. The operand order puts a NaN
    /// on the same side as GasTreeSimdNode's test. `origin`: of all rays, where they have one.
    void init(const SimdF& min, const SimdF& max, const SimdF& signs, const SimdF& origin) {
        const SimdF low = min ^ signs;
        const SimdF high = max ^ signs;
        SimdF first = SimdF::min(high, low) ^ signs;
        SimdF second = SimdF::max(low, high) ^ signs;
        if constexpr (one_origin) {
            first = first - origin;
            second = second - origin;
        }
        near[0] = first.broadcast<0>();
        near[1] = first.broadcast<1>();
        near[2] = first.broadcast<2>();
        far[0] = second.broadcast<0>();
        far[1] = second.broadcast<1>();
        far[2] = second.broadcast<2>();
    }

    /// The mask of the packet's lanes that hit the box.
    int test(const GasSimdRays& packet) const {
        SimdF entry = packet.tnear;
        SimdF exit = packet.tfar;
        clip(0, packet.origin_x, packet.inverse_direction_x, entry, exit);
        clip(1, packet.origin_y, packet.inverse_direction_y, entry, exit);
        clip(2, packet.origin_z, packet.inverse_direction_z, entry, exit);
        return (entry <= exit).get_mask();
    }

    /// From an origin to a plane.
    static SimdF measure(const SimdF& origin, const SimdF& plane) {
        if constexpr (one_origin)
            return plane;
        else
            return plane - origin;
    }

  private:
    void clip(unsigned axis, const SimdF& origin, const SimdF& inverse_direction, SimdF& entry,
              SimdF& exit) const {
        entry = SimdF::max(measure(origin, near[axis]) * inverse_direction, entry);
        exit = SimdF::min(measure(origin, far[axis]) * inverse_direction, exit);
    }
};

} // namespace gas_abi1
