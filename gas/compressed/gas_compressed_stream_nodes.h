// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_decoded_twins.h>
#include <gas/traversal/single/gas_ray_nodes.h>
#include <gas/traversal/wide/gas_wide_stream_nodes.h>

inline namespace gas_abi1 {

/// GasCompressedTree as streams take it.

/// What both kinds of nodes have in common.
struct GasCompressedStreamWay {
    using Ray = GasLaneRay;
    static constexpr bool go_by_twos = true;
    static constexpr GasStreamShare most_differing = {1, 2};
    static constexpr GasStreamShare most_leaves = {1, 3};
    static constexpr unsigned least_together = 12;

    /// One entry for each level, the end below them, and one that may be written but does not
    /// count.
    static std::size_t get_stack_size(unsigned depth) { return std::size_t{depth} + 2; }
};

/// The boxes of the built tree.
class GasCompressedStreamNodes : public GasCompressedStreamWay {
  public:
    using Entry = GasBbox;
    using Place = GasStreamPlace<GasCompressedStreamNodes>;
    static constexpr Entry stack_end = GasDecodedEntry::stack_end;

    static unsigned get_reference(const Entry& entry) {
        return GasDecodedEntry::get_reference(entry);
    }

    GasCompressedStreamNodes() = default;
    GasCompressedStreamNodes(const GasCompressedTree& tree, GasTreeCtx&, const CtxShader&, float)
        : m_nodes(tree.get_nodes()), m_root(&tree.get_bbox()) {
        const GasLaneBox root = GasLaneBox::load(*m_root);
        m_finite = gas_find_finite_lanes(root.min, root.max);
    }

    static bool can_trace(const GasLaneRay&) { return true; }
    void put_root(Entry& entry) const {
        GasDecodedEntry::put(*m_root, entry);
        GasDecodedEntry::label(entry, 0, 0.0f);
    }
    GAS_FORCE_INLINE void prefetch(unsigned node) const { gas_prefetch(m_nodes + node); }

    /// Puts what two rays reach of their nodes in place of these; how many entries that are.
    GAS_FORCE_INLINE static GasStreamSteps push(const Place& a, const Place& b) {
        const GasCompressedNode& record_a = a.nodes.m_nodes[get_reference(*a.top)];
        const GasCompressedNode& record_b = b.nodes.m_nodes[get_reference(*b.top)];
        GasTwinBoxPair boxes;
        gas_decode_twins(record_a.get_bytes(), record_b.get_bytes(), GasTwinBox(*a.top, *b.top),
                         GasTwinF(a.nodes.m_finite, b.nodes.m_finite), boxes);
        const GasTwinHits hits(a, b, boxes);
        return {put<0>(boxes, hits, record_a, a.top), put<1>(boxes, hits, record_b, b.top)};
    }

  private:
    template <unsigned half>
    GAS_FORCE_INLINE static unsigned put(const GasTwinBoxPair& boxes, const GasTwinHits& twin_hits,
                                         const GasCompressedNode& record, Entry* top) {
        const GasTwinHits::OfRay hits = twin_hits.get_half<half>();
        Entry& first = top[hits.first_place];
        Entry& second = top[hits.first_place ^ 1];
        boxes.first.put<half>(first);
        boxes.second.put<half>(second);
        hits.label(record, first, second);
        return hits.count;
    }

    const GasCompressedNode* m_nodes;
    const GMathBbox3<float>* m_root;
    SimdF m_finite;
};

/// The boxes of a pending node in two motion-blur samples; the earlier has the node's reference and
/// distance.
struct GasDecodedMotionEntry {
    GasBbox earlier;
    GasBbox later;
};

inline float gas_get_entry_distance(const GasDecodedMotionEntry& entry) {
    return gas_get_entry_distance(entry.earlier);
}

/// The boxes of two neighbouring motion-blur samples, each decoded on its own and blended to the
/// ray's time where the ray is tested. The tree has at least two samples.
class GasCompressedMotionStreamNodes : public GasCompressedStreamWay {
  public:
    using Entry = GasDecodedMotionEntry;
    using Place = GasStreamPlace<GasCompressedMotionStreamNodes>;
    static constexpr Entry stack_end = {GasDecodedEntry::stack_end, GasDecodedEntry::stack_end};

    static unsigned get_reference(const Entry& entry) {
        return GasDecodedEntry::get_reference(entry.earlier);
    }

    GasCompressedMotionStreamNodes() = default;
    GasCompressedMotionStreamNodes(const GasCompressedTree& tree, GasTreeCtx&,
                                   const CtxShader& shader, float time)
        : m_blend(shader, time, tree.get_motion_blur_sample_count()), m_nodes(tree.get_nodes()),
          m_earlier(tree, m_blend.sample), m_later(tree, m_blend.sample + 1) {}

    bool can_trace(const GasLaneRay&) const { return m_earlier.records && m_later.records; }
    void put_root(Entry& entry) const {
        GasDecodedEntry::put(*m_earlier.root, entry.earlier);
        GasDecodedEntry::put(*m_later.root, entry.later);
        GasDecodedEntry::label(entry.earlier, 0, 0.0f);
    }
    GAS_FORCE_INLINE void prefetch(unsigned node) const {
        gas_prefetch(m_nodes + node);
        gas_prefetch(m_earlier.get_record(node));
        gas_prefetch(m_later.get_record(node));
    }

    GAS_FORCE_INLINE static GasStreamSteps push(const Place& a, const Place& b) {
        const unsigned node_a = get_reference(*a.top);
        const unsigned node_b = get_reference(*b.top);
        const GasCompressedMotionStreamNodes& nodes_a = a.nodes;
        const GasCompressedMotionStreamNodes& nodes_b = b.nodes;
        GasTwinBoxPair earlier;
        GasTwinBoxPair later;
        gas_decode_twins(nodes_a.m_earlier.get_record(node_a), nodes_b.m_earlier.get_record(node_b),
                         GasTwinBox(a.top->earlier, b.top->earlier),
                         GasTwinF(nodes_a.m_earlier.finite, nodes_b.m_earlier.finite), earlier);
        gas_decode_twins(nodes_a.m_later.get_record(node_a), nodes_b.m_later.get_record(node_b),
                         GasTwinBox(a.top->later, b.top->later),
                         GasTwinF(nodes_a.m_later.finite, nodes_b.m_later.finite), later);
        const GasTwinF fractions(nodes_a.m_blend.fraction, nodes_b.m_blend.fraction);
        const GasTwinF rests(nodes_a.m_blend.rest, nodes_b.m_blend.rest);
        // As GasSampleBlend has it.
        const auto blend = [&](const GasTwinBox& from, const GasTwinBox& to) {
            return GasTwinBox(to.min * fractions + from.min * rests,
                              to.max * fractions + from.max * rests);
        };
        const GasTwinHits hits(
            a, b, {blend(earlier.first, later.first), blend(earlier.second, later.second)});
        return {put<0>(earlier, later, hits, nodes_a.m_nodes[node_a], a.top),
                put<1>(earlier, later, hits, nodes_b.m_nodes[node_b], b.top)};
    }

  private:
    template <unsigned half>
    GAS_FORCE_INLINE static unsigned put(const GasTwinBoxPair& earlier, const GasTwinBoxPair& later,
                                         const GasTwinHits& twin_hits,
                                         const GasCompressedNode& record, Entry* top) {
        const GasTwinHits::OfRay hits = twin_hits.get_half<half>();
        Entry& first = top[hits.first_place];
        Entry& second = top[hits.first_place ^ 1];
        earlier.first.put<half>(first.earlier);
        earlier.second.put<half>(second.earlier);
        later.first.put<half>(first.later);
        later.second.put<half>(second.later);
        hits.label(record, first.earlier, second.earlier);
        return hits.count;
    }

    struct Sample {
        Sample() = default;
        Sample(const GasCompressedTree& tree, unsigned sample)
            : records(tree.get_motion_blur_records(sample)), root(&tree.get_blurred_bbox(sample)) {
            const GasLaneBox box = GasLaneBox::load(*root);
            finite = gas_find_finite_lanes(box.min, box.max);
        }

        const unsigned char* get_record(unsigned node) const {
            return records + node * sizeof(GasQuantizedPair);
        }

        const unsigned char* records;
        const GMathBbox3<float>* root;
        SimdF finite;
    };

    GasSampleBlend m_blend;
    const GasCompressedNode* m_nodes;
    Sample m_earlier;
    Sample m_later;
};

template <> struct GasStreamSources<GasCompressedTree, GasItemLeaves> {
    using Static = GasCompressedStreamNodes;
    using Motion = GasCompressedMotionStreamNodes;

    static constexpr bool exist = true;
    /// Whether there is a reference for each leaf.
    static bool have(const GasCompressedTree& tree) {
        return tree.get_leaf_count() < GasStreamReference::leaf_flag;
    }
};

} // namespace gas_abi1
