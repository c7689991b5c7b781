// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>

#include <gas/core/gas_compiler.h>
#include <gas/traversal/packet/gas_packet_batch.h>
#include <gas/traversal/packet/gas_tree_simd_node.h>

inline namespace gas_abi1 {

/// Two ways to narrow a range of active rays by a node's box, one for each kind of batch, with the
/// same result:
///
/// Whether any ray of first..last may hit the box; `first` moves to the first hit of the first
/// packet that has one, `last` to the last hit of the last such packet. Where a packet has hits,
/// but only beyond the range's end in it, that end moves into the next packet, untested. Where the
/// first packet misses the box, all rays miss it if it `is_outside` the batch's frustum.

/// Any batch, packet by packet.
class GasMixedPackets {
  public:
    explicit GasMixedPackets(GasPacketBatch& batch) : m_batch(batch) {}

    template <typename IsOutside>
    bool narrow(const SimdF& min, const SimdF& max, int& first, int& last,
                const IsOutside& is_outside) {
        const GasSimdRays* const packets = m_batch.get_packets();
        GasTreeSimdNode node;
        node.init(min, max);
        SimdF tmin;
        SimdF tmax;
        const int mask = node.intersect_rays(packets, static_cast<unsigned>(first), tmin, tmax);
        GasTreeSimdNode::update_first_index(first, mask);
        if (mask == 0) {
            if (first > last || is_outside())
                return false;
            node.update_first_ray(packets, first, last, tmin, tmax);
        }
        node.update_last_ray(packets, first, last, tmin, tmax);
        return first <= last;
    }

    /// Reads back the hit distances of rays first..last after a callback.
    void read_hit_distances(int first, int last) { m_batch.read_hit_distances(first, last); }

    /// A line whose directions' signs are those of ray `first`.
    decltype(auto) get_order_line(int first) const { return m_batch.get_line(first); }

  private:
    GasPacketBatch& m_batch;
};

/// Batches in one octant, maybe of one origin: blocks of sixteen rays whose bounds miss the box are
/// skipped.
template <bool one_origin> class GasOctantPackets {
  public:
    explicit GasOctantPackets(GasPacketBatch& batch)
        : m_batch(batch), m_packets(batch.get_packets()), m_signs(batch.get_signs()),
          m_origin(batch.get_origin()), m_order_line(batch.get_first_line()) {}

    template <typename IsOutside>
    bool narrow(const SimdF& min, const SimdF& max, int& first, int& last,
                const IsOutside& is_outside) {
        Box box;
        box.init(min, max, m_signs, m_origin);
        const auto first_packet = static_cast<unsigned>(first) / 4;
        const auto last_packet = static_cast<unsigned>(last) / 4;
        const int first_mask = box.test(m_packets[first_packet]);
        GasTreeSimdNode::update_first_index(first, first_mask);
        if (first_packet == last_packet) {
            GasTreeSimdNode::update_last_index(last, first_mask);
            return first <= last;
        }
        if (first_mask == 0 &&
            (!find_first(box, first_packet + 1, last_packet, first) || is_outside()))
            return false;
        const int last_mask = box.test(m_packets[last_packet]);
        GasTreeSimdNode::update_last_index(last, last_mask);
        if (last_mask == 0 && !find_last(box, first_packet, last_packet - 1, last))
            return false;
        return first <= last;
    }

    void read_hit_distances(int first, int last) { m_batch.read_hit_distances(first, last); }

    /// Always the same line, so that the next node does not depend on the tests.
    const GMathBasicRay& get_order_line(int) const { return m_order_line; }

  private:
    using Box = GasOctantBox<one_origin>;

    /// Sets `first` to the first hit of the packets first_packet..last_packet, if there is one.
    GAS_FORCE_INLINE bool find_first(const Box& box, unsigned first_packet, unsigned last_packet,
                                     int& first) const {
        for (unsigned group = first_packet / 16; group <= last_packet / 16; ++group) {
            unsigned blocks = find_blocks(box, group, first_packet, last_packet);
            for (; blocks != 0; blocks &= blocks - 1) {
                const unsigned block = 4 * group + static_cast<unsigned>(std::countr_zero(blocks));
                const unsigned hits = test_block(box, block, first_packet, last_packet);
                if (hits != 0) {
                    first = static_cast<int>(16 * block) + std::countr_zero(hits);
                    return true;
                }
            }
        }
        return false;
    }

    /// Sets `last` to the last hit of the packets first_packet..last_packet, if there is one.
    GAS_FORCE_INLINE bool find_last(const Box& box, unsigned first_packet, unsigned last_packet,
                                    int& last) const {
        for (unsigned group = last_packet / 16 + 1; group-- > first_packet / 16;) {
            unsigned blocks = find_blocks(box, group, first_packet, last_packet);
            while (blocks != 0) {
                const unsigned highest = std::bit_floor(blocks);
                blocks ^= highest;
                const unsigned block = 4 * group + static_cast<unsigned>(std::countr_zero(highest));
                const unsigned hits = test_block(box, block, first_packet, last_packet);
                if (hits != 0) {
                    last = static_cast<int>(16 * block) + 31 - std::countl_zero(hits);
                    return true;
                }
            }
        }
        return false;
    }

    /// The blocks of a group that may hit the box, of those that hold packets of a range.
    GAS_FORCE_INLINE unsigned find_blocks(const Box& box, unsigned group, unsigned first_packet,
                                          unsigned last_packet) const {
        const auto blocks = static_cast<unsigned>(m_batch.get_bounds(group).test(box));
        return blocks & get_bits(first_packet / 4, last_packet / 4, 4 * group, 4);
    }

    /// The mask of the block's sixteen lanes that hit the box, without those of packets outside of
    /// a range. A block at the end may reach beyond the batch's packets, not beyond the buffer.
    GAS_FORCE_INLINE unsigned test_block(const Box& box, unsigned block, unsigned first_packet,
                                         unsigned last_packet) const {
        const GasSimdRays* const packets = m_packets + 4 * block;
        const int low = box.test(packets[0]) | box.test(packets[1]) << 4;
        const int high = box.test(packets[2]) | box.test(packets[3]) << 4;
        return static_cast<unsigned>(low | high << 8) &
               get_bits(4 * first_packet, 4 * last_packet + 3, 16 * block, 16);
    }

    /// Bit j: whether start + j lies in first..last, for j below `count`.
    static unsigned get_bits(unsigned first, unsigned last, unsigned start, unsigned count) {
        unsigned bits = (1u << count) - 1;
        if (first > start)
            bits &= ~0u << (first - start);
        if (last < start + count - 1)
            bits &= (2u << (last - start)) - 1;
        return bits;
    }

    GasPacketBatch& m_batch;
    const GasSimdRays* m_packets;
    SimdF m_signs;
    SimdF m_origin;
    GMathBasicRay m_order_line;
};

} // namespace gas_abi1
