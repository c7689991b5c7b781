// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <limits>

#include <gas/compressed/gas_box_codec.h>
#include <gas/compressed/gas_compressed_node.h>
#include <gas/core/gas_box_tests.h>
#include <gas/core/gas_lane_box.h>
#include <gas/core/gas_twin_lanes.h>
#include <gas/traversal/wide/gas_wide_stream.h>

inline namespace gas_abi1 {

/// The step of two rays of a stream in compressed trees. Side by side their nodes are decoded and
/// tested at once: the step of one is a long chain of operations that depend on each other, and few
/// processors look far enough ahead to begin the next ray's meanwhile.

/// A pending node is its decoded box; lane w of the min is the node's reference, that of the max
/// where the ray enters it.
struct GasDecodedEntry {
    static constexpr GasBbox stack_end = {
        {0.0f, 0.0f, 0.0f, std::bit_cast<float>(GasStreamReference::none)},
        {0.0f, 0.0f, 0.0f, -std::numeric_limits<float>::infinity()}};

    static unsigned get_reference(const GasBbox& entry) {
        return std::bit_cast<unsigned>(entry.min[3]);
    }
    static void label(GasBbox& entry, unsigned reference, float entry_distance) {
        entry.min[3] = std::bit_cast<float>(reference);
        entry.max[3] = entry_distance;
    }

    static void put(const GMathBbox3<float>& box, GasBbox& entry) {
        put(GasLaneBox::load(box).min, GasLaneBox::load(box).max, entry);
    }
    static void put(const SimdF& min, const SimdF& max, GasBbox& entry) {
        min.store(entry.min);
        max.store(entry.max);
    }
};

inline float gas_get_entry_distance(const GasBbox& entry) { return entry.max[3]; }

/// Boxes of two rays side by side.
struct GasTwinBox {
    GasTwinF min;
    GasTwinF max;

    GasTwinBox() = default;
    GasTwinBox(const GasTwinF& low, const GasTwinF& high) : min(low), max(high) {}
    /// The boxes of two pending nodes.
    GasTwinBox(const GasBbox& a, const GasBbox& b)
        : GasTwinBox(GasLaneBox::load(a).mask_w(), GasLaneBox::load(b).mask_w()) {}
    GasTwinBox(const GasLaneBox& a, const GasLaneBox& b) : min(a.min, b.min), max(a.max, b.max) {}

    template <unsigned half> void put(GasBbox& entry) const {
        GasDecodedEntry::put(min.get_half<half>(), max.get_half<half>(), entry);
    }
};
struct GasTwinBoxPair {
    GasTwinBox first;
    GasTwinBox second;
};

/// Decodes the children of two nodes, each of a tree or sample of its own.
GAS_FORCE_INLINE void gas_decode_twins(const unsigned char* a, const unsigned char* b,
                                       const GasTwinBox& parents, const GasTwinF& finite,
                                       GasTwinBoxPair& boxes) {
    GasTwinI min_steps;
    GasTwinI max_steps;
    GasTwinI::load_bytes(a, b, min_steps, max_steps);
    gas_decode_steps(min_steps, max_steps, parents.min, parents.max, finite, boxes);
}

/// What two rays reach of the children of their nodes.
class GasTwinHits {
  public:
    template <typename Place>
    GAS_FORCE_INLINE GasTwinHits(const Place& a, const Place& b, const GasTwinBoxPair& boxes) {
        struct {
            GasTwinF origin;
            GasTwinF inverse_direction;
            GasTwinF near_distance;
        } const rays = {{a.ray.origin, b.ray.origin},
                        {a.ray.inverse_direction, b.ray.inverse_direction},
                        {a.ray.near_distance, b.ray.near_distance}};
        const GasTwinF limits(a.limit, b.limit);
        const GasTwinF reached = gas_enter_box_pair(rays, limits, boxes, m_first_entries);
        m_second_entries = m_first_entries.broadcast<1>();
        m_reached = static_cast<unsigned>(reached.get_mask());
        m_later = static_cast<unsigned>((m_second_entries > m_first_entries).get_mask());
    }

    /// What one of them reaches, and in which order.
    struct OfRay {
        OfRay(unsigned reached, unsigned later, const SimdF& first, const SimdF& second)
            : count((reached & 1) + (reached >> 1 & 1)),
              first_place(gas_get_first_place(reached, later)), first_entry(first.get_first()),
              second_entry(second.get_first()) {}

        /// Names the children of a node in their entries.
        void label(const GasCompressedNode& record, GasBbox& first, GasBbox& second) const {
            static_assert(GasCompressedNode::first_leaf == 1 &&
                          GasCompressedNode::second_leaf == 2);
            const unsigned flags = record.flags;
            GasDecodedEntry::label(first, record.children[0] | flags << 31, first_entry);
            GasDecodedEntry::label(
                second, record.children[1] | (flags << 30 & GasStreamReference::leaf_flag),
                second_entry);
        }

        unsigned count;
        unsigned first_place;
        float first_entry;
        float second_entry;
    };
    template <unsigned half> OfRay get_half() const {
        return {m_reached >> 4 * half, m_later >> 4 * half,
                m_first_entries.template get_half<half>(), m_second_entries.get_half<half>()};
    }

  private:
    GasTwinF m_first_entries;
    GasTwinF m_second_entries;
    unsigned m_reached;
    unsigned m_later;
};

} // namespace gas_abi1
