// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <limits>

#include <gas/traversal/frame/gas_raytrace_frame.h>
#include <gas/traversal/packet/gas_packet_bounds.h>

inline namespace gas_abi1 {

/// The rays first..last of a frame's batch, gathered into packets. Lanes outside of the range keep
/// values of former batches, and tests include them.
class GasPacketBatch {
    auto read_far() const {
        GeometryIntersectionMap& map = gas_host::get_intersection_map(m_data);
        return [&map](unsigned ray) {
            return static_cast<float>(gas_host::get_hit_distance(map.get_path(ray)));
        };
    }

  public:
    GasPacketBatch(GasRaytraceFrame& frame, int first, int last)
        : m_data(frame.data), m_first_ray(first), m_first_packet(static_cast<unsigned>(first) / 4),
          m_last_packet(static_cast<unsigned>(last) / 4) {
        const unsigned count =
            gas_host::get_ray_count(m_data) / 4 + (gas_host::get_ray_count(m_data) % 4 != 0);
        frame.reserve_packets(count, get_buffer_size(count));
        m_packets = static_cast<GasSimdRays*>(frame.packets);
        void* const packets_end = m_packets + round_to_blocks(frame.packet_capacity);
        m_bounds = static_cast<GasPacketBounds*>(packets_end);
        for (unsigned packet = m_first_packet; packet <= m_last_packet; ++packet)
            fill(packet, first, last);
        find_signs(first);
        if (!m_is_in_octant || !has_bounds())
            return;
        const GasPacketBounder bounder(m_packets, m_first_packet, m_last_packet);
        for (unsigned group = get_group(m_first_packet); group <= get_group(m_last_packet); ++group)
            bounder.bound(group, m_signs, m_bounds[group]);
    }

    const GasSimdRays* get_packets() const { return m_packets; }
    /// A reference or a value, depending on the host.
    decltype(auto) get_line(int ray) const {
        return gas_host::get_line(m_data, static_cast<unsigned>(ray));
    }
    decltype(auto) get_first_line() const { return get_line(m_first_ray); }
    /// Whether GasOctantBox serves the batch.
    bool is_in_octant() const { return m_is_in_octant; }
    const SimdF& get_signs() const { return m_signs; }
    /// Whether it serves the batch with one origin, and where that is.
    bool has_one_origin() const { return m_has_one_origin; }
    const SimdF& get_origin() const { return m_origin; }
    /// The bounds of sixteen packets, from 16 * group on; for batches of several packets in one
    /// octant.
    const GasPacketBounds& get_bounds(unsigned group) const { return m_bounds[group]; }

    /// Reads back the hit distances of rays first..last after a callback.
    void read_hit_distances(int first, int last) {
        const unsigned first_packet = static_cast<unsigned>(first) / 4;
        const unsigned last_packet = static_cast<unsigned>(last) / 4;
        const bool is_bounded = m_is_in_octant && has_bounds();
        bool is_changed = false;
        for (unsigned packet = first_packet; packet <= last_packet; ++packet) {
            SimdF& lanes = m_packets[packet].tfar;
            const SimdF distances = read_distances(packet, first, last);
            // A NaN is a change.
            is_changed |= ((lanes <= distances) & (distances <= lanes)).get_mask() != 15;
            lanes = distances;
            const bool ends_block =
                packet % GasPacketBounds::block_size == GasPacketBounds::block_size - 1;
            if (is_changed && (ends_block || packet == last_packet)) {
                is_changed = false;
                if (is_bounded)
                    GasPacketBounder(m_packets, m_first_packet, m_last_packet)
                        .bound_far_distance(packet, m_bounds[get_group(packet)]);
            }
        }
    }

  private:
    /// The hit distances of a packet's rays, older ones for those outside of the range.
    SimdF read_distances(unsigned packet, int first, int last) const {
        const auto read = read_far();
        const int start = static_cast<int>(packet * 4);
        if (first <= start && start + 3 <= last) {
            const unsigned ray = packet * 4;
            return {read(ray), read(ray + 1), read(ray + 2), read(ray + 3)};
        }
        return PacketLanes(packet, first, last).gather(m_packets[packet].tfar, read);
    }

    /// The rays of a packet that lie in a range.
    class PacketLanes {
      public:
        PacketLanes(unsigned packet, int first, int last) {
            const int start = static_cast<int>(packet * 4);
            for (int lane = 0; lane < 4; ++lane) {
                const int ray = start + lane;
                m_rays[lane] = static_cast<unsigned>(ray < first ? first : ray > last ? last : ray);
            }
            m_is_whole = first <= start && start + 3 <= last;
            if (!m_is_whole) {
                const SimdF lane_numbers(0.0f, 1.0f, 2.0f, 3.0f);
                m_mask = (SimdF(static_cast<float>(first - start)) <= lane_numbers) &
                         (lane_numbers <= SimdF(static_cast<float>(last - start)));
            }
        }

        /// `read(ray)` in the lanes of those rays, `old` in the others.
        template <typename Read> SimdF gather(const SimdF& old, const Read& read) const {
            const SimdF lanes(read(m_rays[0]), read(m_rays[1]), read(m_rays[2]), read(m_rays[3]));
            return merge(lanes, old);
        }

        /// The coordinates of `read(ray)`, a point, in the lanes of those rays; others stay.
        template <typename Read>
        void gather_points(SimdF& x, SimdF& y, SimdF& z, const Read& read) const {
            const auto narrow = [&](unsigned ray) {
                const GMathVec3<double> point = read(ray);
                return SimdF::narrow(point.x, point.y, point.z);
            };
            const SimdF first = narrow(m_rays[0]);
            const SimdF second = narrow(m_rays[1]);
            const SimdF third = narrow(m_rays[2]);
            const SimdF fourth = narrow(m_rays[3]);
            const SimdF even_xy = SimdF::interleave_low(first, third);
            const SimdF odd_xy = SimdF::interleave_low(second, fourth);
            const SimdF even_z = SimdF::interleave_high(first, third);
            const SimdF odd_z = SimdF::interleave_high(second, fourth);
            x = merge(SimdF::interleave_low(even_xy, odd_xy), x);
            y = merge(SimdF::interleave_high(even_xy, odd_xy), y);
            z = merge(SimdF::interleave_low(even_z, odd_z), z);
        }

      private:
        SimdF merge(const SimdF& lanes, const SimdF& old) const {
            return m_is_whole ? lanes : SimdF::select(m_mask, lanes, old);
        }

        unsigned m_rays[4];
        bool m_is_whole;
        SimdF m_mask;
    };

    /// Tests of the last block read all packets of the block.
    static std::size_t round_to_blocks(unsigned packet_count) {
        constexpr std::size_t block_size = GasPacketBounds::block_size;
        return (packet_count + block_size - 1) / block_size * block_size;
    }
    /// The packets, and behind them the bounds of each sixteen.
    static std::size_t get_buffer_size(unsigned packet_count) {
        const std::size_t group_count = packet_count / GasPacketBounds::packet_count + 1;
        return round_to_blocks(packet_count) * sizeof(GasSimdRays) +
               group_count * sizeof(GasPacketBounds);
    }

    static unsigned get_group(unsigned packet) { return packet / GasPacketBounds::packet_count; }
    bool has_bounds() const { return m_first_packet != m_last_packet; }

    void fill(unsigned index, int first, int last) {
        GasSimdRays& packet = m_packets[index];
        const PacketLanes lanes(index, first, last);
        lanes.gather_points(packet.origin_x, packet.origin_y, packet.origin_z, [&](unsigned ray) {
            return GMathVec3<double>(gas_host::get_origin(gas_host::get_line(m_data, ray)));
        });
        lanes.gather_points(packet.inverse_direction_x, packet.inverse_direction_y,
                            packet.inverse_direction_z, [&](unsigned ray) {
                                return GMathVec3<double>(gas_host::get_inverse_direction(
                                    gas_host::get_line(m_data, ray)));
                            });
        const SimdF infinity(std::numeric_limits<float>::infinity());
        // As GasLaneRay::load_inverse; older lanes have no -infinity.
        for (SimdF* const inverse : {&packet.inverse_direction_x, &packet.inverse_direction_y,
                                     &packet.inverse_direction_z})
            *inverse = SimdF::select(*inverse <= SimdF(0.0f) - infinity, infinity, *inverse);
        packet.tnear = lanes.gather(packet.tnear, [&](unsigned ray) {
            return static_cast<float>(gas_host::get_ctx(m_data).get_tnear(ray));
        });
        packet.tfar = lanes.gather(packet.tfar, read_far());
    }

    /// Sets the signs of the first ray's directions, whether the batch is in one octant, and
    /// whether all rays have one origin.
    void find_signs(int first) {
        const GasSimdRays& start = m_packets[m_first_packet];
        const unsigned lane = static_cast<unsigned>(first) % 4;
        const auto get_sign = [&](const SimdF& inverse) {
            return ((inverse < SimdF(0.0f)).get_mask() >> lane & 1) != 0 ? -0.0f : 0.0f;
        };
        m_signs = SimdF(get_sign(start.inverse_direction_x), get_sign(start.inverse_direction_y),
                        get_sign(start.inverse_direction_z), 0.0f);
        const SimdF largest(std::numeric_limits<float>::max());
        const SimdF sign_x = m_signs.broadcast<0>();
        const SimdF sign_y = m_signs.broadcast<1>();
        const SimdF sign_z = m_signs.broadcast<2>();
        const auto check = [&](const SimdF& origin, const SimdF& inverse, const SimdF& sign) {
            const SimdF size = inverse ^ sign;
            return (SimdF(0.0f) < size) & (size <= largest) & (origin <= largest) &
                   (SimdF(0.0f) - largest <= origin);
        };
        m_origin = SimdF(start.origin_x.get(lane), start.origin_y.get(lane),
                         start.origin_z.get(lane), 0.0f);
        const SimdF x = m_origin.broadcast<0>();
        const SimdF y = m_origin.broadcast<1>();
        const SimdF z = m_origin.broadcast<2>();
        const auto is_same = [](const SimdF& a, const SimdF& b) { return (a <= b) & (b <= a); };
        SimdF in_octant = SimdF(0.0f) <= SimdF(0.0f);
        SimdF at_origin = in_octant;
        for (unsigned i = m_first_packet; i <= m_last_packet; ++i) {
            const GasSimdRays& packet = m_packets[i];
            in_octant = in_octant & check(packet.origin_x, packet.inverse_direction_x, sign_x) &
                        check(packet.origin_y, packet.inverse_direction_y, sign_y) &
                        check(packet.origin_z, packet.inverse_direction_z, sign_z);
            at_origin = at_origin & is_same(packet.origin_x, x) & is_same(packet.origin_y, y) &
                        is_same(packet.origin_z, z);
        }
        m_is_in_octant = in_octant.get_mask() == 15;
        m_has_one_origin = at_origin.get_mask() == 15;
    }

    GeometryRaytraceData& m_data;
    int m_first_ray;
    unsigned m_first_packet;
    unsigned m_last_packet;
    GasSimdRays* m_packets;
    GasPacketBounds* m_bounds;
    SimdF m_signs;
    SimdF m_origin;
    bool m_is_in_octant;
    bool m_has_one_origin;
};

} // namespace gas_abi1
