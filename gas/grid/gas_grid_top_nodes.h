// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/compressed/gas_decoded_twins.h>
#include <gas/core/gas_lane_box.h>
#include <gas/traversal/single/gas_ray_nodes.h>
#include <gas/traversal/wide/gas_wide_stream_nodes.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// The nodes of a grid's top tree as streams take them: binary ones, with GasStaticBoxes or
/// GasMotionBoxes.
template <typename Boxes> class GasGridTopNodes {
  public:
    using Entry = GasWideEntry;
    using Ray = GasLaneRay;
    using Place = GasStreamPlace<GasGridTopNodes>;
    static constexpr Entry stack_end = gas_wide_stack_end;
    static constexpr bool go_by_twos = true;
    static constexpr GasStreamShare most_differing = {2, 3};
    /// A cell is no leaf to a ray: any share.
    static constexpr GasStreamShare most_leaves = {1, 1};
    static constexpr unsigned least_together = 12;

    static unsigned get_reference(const Entry& entry) { return entry.reference; }
    /// One entry for each level, the end below them, and one that may be written but does not
    /// count.
    static std::size_t get_stack_size(unsigned depth) { return std::size_t{depth} + 2; }

    GasGridTopNodes() = default;
    GasGridTopNodes(const GasTree& tree, GasTreeCtx& ctx, const CtxShader& shader, float time)
        : m_tree(&tree), m_ctx(&ctx), m_boxes(tree, shader, time) {}

    bool can_trace(const GasLaneRay&) const { return m_boxes.is_ready(*m_tree); }
    static void put_root(Entry& entry) { entry.reference = 0; }
    GAS_FORCE_INLINE void prefetch(unsigned node) const {
        GasTraversalAccess::prefetch_children(*m_tree, node);
    }

    /// Puts what two rays reach of their nodes in place of these; how many entries that are.
    GAS_FORCE_INLINE static GasStreamSteps push(const Place& a, const Place& b) {
        const Children of_a(a);
        const Children of_b(b);
        const GasTwinBoxPair boxes = {GasTwinBox(of_a.boxes.first, of_b.boxes.first),
                                      GasTwinBox(of_a.boxes.second, of_b.boxes.second)};
        const GasTwinHits hits(a, b, boxes);
        return {put<0>(hits, of_a, a), put<1>(hits, of_b, b)};
    }

  private:
    /// The children of a ray's node.
    struct Children {
        GAS_FORCE_INLINE explicit Children(const Place& place) {
            const GasGridTopNodes& nodes = place.nodes;
            GasTraversalAccess::get_node_children(*nodes.m_tree, *nodes.m_ctx, place.top->reference,
                                                  first, second);
            nodes.m_boxes.get(*nodes.m_tree, *nodes.m_ctx, first, boxes.first.min, boxes.first.max);
            nodes.m_boxes.get(*nodes.m_tree, *nodes.m_ctx, second, boxes.second.min,
                              boxes.second.max);
        }

        unsigned first = 0;
        unsigned second = 0;
        GasBoxPair boxes;
    };

    template <unsigned half>
    GAS_FORCE_INLINE static unsigned put(const GasTwinHits& twin_hits, const Children& children,
                                         const Place& place) {
        const GasTwinHits::OfRay hits = twin_hits.get_half<half>();
        const GasGridTopNodes& nodes = place.nodes;
        place.top[hits.first_place] = {nodes.refer(children.first), hits.first_entry};
        place.top[hits.first_place ^ 1] = {nodes.refer(children.second), hits.second_entry};
        return hits.count;
    }

    unsigned refer(unsigned node) const {
        const unsigned is_leaf = GasTraversalAccess::is_node_a_leaf(*m_tree, *m_ctx, node);
        return is_leaf != 0 ? GasTraversalAccess::get_leaf_value(*m_tree, *m_ctx, node) |
                                  GasStreamReference::leaf_flag
                            : node;
    }

    const GasTree* m_tree;
    GasTreeCtx* m_ctx;
    Boxes m_boxes;
};

} // namespace gas_abi1
