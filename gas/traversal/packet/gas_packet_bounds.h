// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

#include <gas/traversal/packet/gas_octant_box.h>

inline namespace gas_abi1 {

/// Bounds of the rays of sixteen packets, a lane for each block of four packets. They prove that a
/// block misses a box without testing its rays. For batches in one octant (gas_octant_box.h).
struct GasPacketBounds {
    static constexpr unsigned block_size = 4;
    static constexpr unsigned packet_count = 4 * block_size;

    /// Along each axis the origin nearest to the rays' far ends, and the one nearest to their near
    /// ends.
    SimdF near_origin[3];
    SimdF far_origin[3];
    SimdF least_inverse[3];
    SimdF largest_inverse[3];
    SimdF near_distance;
    SimdF far_distance;

    /// The blocks that may hit the box, as a mask. Rounding is monotone, so no ray enters earlier
    /// or leaves later than the ends of the intervals. The only NaN here comes from a box's plane,
    /// and it is ignored as in a ray's own test.
    template <bool one_origin> int test(const GasOctantBox<one_origin>& box) const {
        SimdF entry = near_distance;
        SimdF exit = far_distance;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const SimdF near = box.measure(near_origin[axis], box.near[axis]);
            const SimdF far = box.measure(far_origin[axis], box.far[axis]);
            entry = SimdF::max(SimdF::min(near * least_inverse[axis], near * largest_inverse[axis]),
                               entry);
            exit = SimdF::min(SimdF::max(far * least_inverse[axis], far * largest_inverse[axis]),
                              exit);
        }
        return (entry <= exit).get_mask();
    }
};

static_assert(sizeof(GasPacketBounds) == 224, "fourteen four-lane vectors");

/// Gathers bounds from the packets first..last; `bounds` may cover only some of them. Blocks
/// without a packet are never tested.
class GasPacketBounder {
  public:
    GasPacketBounder(const GasSimdRays* packets, unsigned first, unsigned last)
        : m_packets(packets), m_first(first), m_last(last) {}

    void bound(unsigned group, const SimdF& signs, GasPacketBounds& bounds) const {
        const int negative = signs.get_mask();
        bound_axis<&GasSimdRays::origin_x, &GasSimdRays::inverse_direction_x>(
            group, 0, (negative & 1) != 0, bounds);
        bound_axis<&GasSimdRays::origin_y, &GasSimdRays::inverse_direction_y>(
            group, 1, (negative & 2) != 0, bounds);
        bound_axis<&GasSimdRays::origin_z, &GasSimdRays::inverse_direction_z>(
            group, 2, (negative & 4) != 0, bounds);
        bounds.near_distance = get_least<&GasSimdRays::tnear>(group);
        bounds.far_distance = get_largest<&GasSimdRays::tfar>(group);
    }

    /// Of the packet's block alone.
    void bound_far_distance(unsigned packet, GasPacketBounds& bounds) const {
        const unsigned block = packet / GasPacketBounds::block_size;
        const SimdF lanes = reduce_block<&GasSimdRays::tfar>(
            block, -std::numeric_limits<float>::infinity(), SimdF::max);
        const SimdF pairs = SimdF::max(lanes, lanes.move_high());
        const SimdF largest = SimdF::max(pairs, pairs.move_down()).broadcast<0>();
        const SimdF lane(static_cast<float>(block % 4));
        const SimdF lane_numbers(0.0f, 1.0f, 2.0f, 3.0f);
        const SimdF is_lane = (lane <= lane_numbers) & (lane_numbers <= lane);
        bounds.far_distance = SimdF::select(is_lane, largest, bounds.far_distance);
    }

  private:
    using Lanes = SimdF GasSimdRays::*;

    template <Lanes origin, Lanes inverse>
    void bound_axis(unsigned group, unsigned axis, bool is_negative,
                    GasPacketBounds& bounds) const {
        const SimdF least = get_least<origin>(group);
        const SimdF largest = get_largest<origin>(group);
        bounds.near_origin[axis] = is_negative ? least : largest;
        bounds.far_origin[axis] = is_negative ? largest : least;
        bounds.least_inverse[axis] = get_least<inverse>(group);
        bounds.largest_inverse[axis] = get_largest<inverse>(group);
    }

    template <Lanes lanes> SimdF get_least(unsigned group) const {
        return reduce<lanes>(group, std::numeric_limits<float>::infinity(), SimdF::min);
    }
    template <Lanes lanes> SimdF get_largest(unsigned group) const {
        return reduce<lanes>(group, -std::numeric_limits<float>::infinity(), SimdF::max);
    }

    /// Lane j: the least or the largest of block j.
    template <Lanes lanes, typename Pick>
    SimdF reduce(unsigned group, float start, const Pick& pick) const {
        SimdF blocks[4];
        for (unsigned i = 0; i < 4; ++i)
            blocks[i] = reduce_block<lanes>(4 * group + i, start, pick);
        const auto fold = [&](const SimdF& a, const SimdF& b) {
            return pick(SimdF::interleave_low(a, b), SimdF::interleave_high(a, b));
        };
        return fold(fold(blocks[0], blocks[2]), fold(blocks[1], blocks[3]));
    }

    /// Lane by lane the least or the largest of a block's packets. A NaN (a near or far distance,
    /// whose ray hits nothing) is left out, because the running value is the second operand.
    template <Lanes lanes, typename Pick>
    SimdF reduce_block(unsigned block, float start, const Pick& pick) const {
        SimdF result(start);
        const unsigned packet = block * GasPacketBounds::block_size;
        for (unsigned i = packet; i < packet + GasPacketBounds::block_size; ++i) {
            if (m_first <= i && i <= m_last)
                result = pick(m_packets[i].*lanes, result);
        }
        return result;
    }

    const GasSimdRays* m_packets;
    unsigned m_first;
    unsigned m_last;
};

} // namespace gas_abi1
