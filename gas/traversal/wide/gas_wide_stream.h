// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_stream_lists.h>
#include <gas/traversal/wide/gas_wide_push.h>

inline namespace gas_abi1 {

/// The stream over a tree's nodes: many rays in flight. `Nodes` says what nodes there are and how a
/// step goes through one or two of them.
///
/// A lone ray waits: for each node's boxes to arrive, and for branches that no predictor guesses.
/// Here rays take turns, a step each; the next node of each is on its way meanwhile, and within a
/// step nothing branches on what the boxes are. Each ray visits what its own walk visits, in that
/// order.

/// What refers to a node, a leaf, or neither: below the last pending node.
struct GasStreamReference {
    static constexpr unsigned leaf_flag = GasWideNode::leaf_flag;
    static constexpr unsigned none = GasWideNode::no_reference;
};

/// A ray in flight at a node, which is on top of its stack.
template <typename Nodes> struct GasStreamPlace {
    const Nodes& nodes;
    const typename Nodes::Ray& ray;
    /// How far what it reaches may begin, in all lanes.
    const SimdF& limit;
    typename Nodes::Entry* top;
};

/// A part of a whole.
struct GasStreamShare {
    unsigned part;
    unsigned whole;
};

/// The place of a node's first child on the stack, 0 or 1; the second has the other. The nearer
/// goes above the other, and one that is not reached above one that is.
inline unsigned gas_get_first_place(unsigned reached, unsigned second_is_later) {
    return reached >> 1 & (second_is_later | ~reached) & 1;
}

/// A ray in flight.
template <typename Nodes, typename Query> class GasStreamRay {
  public:
    using Entry = typename Nodes::Entry;

    /// Room for the entries of its walk.
    void set_stack(Entry* entries) {
        m_entries = entries;
        m_entries[0] = Nodes::stack_end;
    }

    /// Starts at the root; the step that follows.
    unsigned start(const Nodes& nodes, const GasLaneRay& ray, const Query& query,
                   unsigned ray_index) {
        m_nodes = nodes;
        m_ray = typename Nodes::Ray(ray);
        m_query = query;
        m_ray_index = ray_index;
        m_top = m_entries + 1;
        m_nodes.put_root(*m_top);
        const double bound = query.get_bound();
        m_history = GasBoundHistory<Query>(bound);
        m_limit = SimdF(Query::get_limit(bound));
        return Query::is_beyond(m_ray.near_distance.get_first(), bound)
                   ? GasStreamStep::take_next_ray
                   : GasStreamStep::expand_node;
    }

    /// Tests the boxes of the node that it is at, puts those that it reaches on its stack in place
    /// of the node and moves to what is on top then.
    template <typename VisitNode> unsigned expand(const VisitNode& visit_node) {
        visit_node(get_reference(), m_ray_index);
        return move_to(m_top - 1 + Nodes::push(get_place()));
    }
    /// The same for two rays, or for one that is both.
    template <typename VisitNode>
    static GasStreamSteps expand(GasStreamRay& a, GasStreamRay& b, const VisitNode& visit_node) {
        visit_node(a.get_reference(), a.m_ray_index);
        if (&a != &b)
            visit_node(b.get_reference(), b.m_ray_index);
        typename Nodes::Entry* const top_a = a.m_top - 1;
        typename Nodes::Entry* const top_b = b.m_top - 1;
        const auto counts = Nodes::push(a.get_place(), b.get_place());
        const unsigned step_a = a.move_to(top_a + counts.first);
        return {step_a, b.move_to(top_b + counts.second)};
    }

    /// Visits the leaf that it is at. `resume(query)` goes on with it where this walk cannot.
    template <typename Tree, typename CallLeaf, typename Resume>
    unsigned visit(const Tree& tree, const CallLeaf& call_leaf, const Resume& resume) {
        if (m_query.visit_leaf(tree, get_leaf(), call_leaf))
            return GasStreamStep::take_next_ray;
        const auto shorten = [&](double bound) {
            m_limit = SimdF(Query::get_limit(bound));
            const auto size = static_cast<unsigned>(m_top - m_entries) - 1;
            m_top = m_entries + 1 + gas_drop_far_entries(m_entries, size, m_limit.get_first());
        };
        return gas_follow_or_resume(m_query, m_history, shorten, resume)
                   ? move_to(m_top - 1)
                   : GasStreamStep::take_next_ray;
    }

    /// The leaf that it is at.
    unsigned get_leaf() const { return get_reference() & ~GasStreamReference::leaf_flag; }
    /// Its ray, or the last one it had; 0 before the first.
    unsigned get_ray_index() const { return m_ray_index; }

  private:
    unsigned get_reference() const { return Nodes::get_reference(*m_top); }
    GasStreamPlace<Nodes> get_place() const { return {m_nodes, m_ray, m_limit, m_top}; }

    /// Moves to what is on top of the stack now; the step that follows. Below the last entry is one
    /// that stands for the next ray.
    unsigned move_to(Entry* top) {
        m_top = top;
        const unsigned reference = get_reference();
        const unsigned is_leaf = reference / GasStreamReference::leaf_flag;
        m_nodes.prefetch(reference & (is_leaf - 1));
        return is_leaf | (reference == GasStreamReference::none ? 2u : 0u);
    }

    typename Nodes::Ray m_ray;
    SimdF m_limit;
    Nodes m_nodes;
    Entry* m_entries;
    /// The entry that it is at; those below it are pending.
    Entry* m_top;
    unsigned m_ray_index = 0;
    Query m_query;
    GasBoundHistory<Query> m_history;
};

/// Leaves that are items: a visit is a call. `call_leaf(leaf, ray)` calls one.
template <typename CallLeaf> class GasStreamItems {
  public:
    explicit GasStreamItems(const CallLeaf& call_leaf) : m_call_leaf(call_leaf) {}

    /// Whether rays of the stream wait for what goes on below its leaves.
    static bool are_busy() { return false; }

    /// Serves the rays at a leaf. `resume(ray, query)` takes over a ray whose bound was lost.
    template <typename Ray, typename Tree, typename VisitNode, typename Resume>
    void serve(GasStreamLists& lists, Ray* rays, const Tree& tree, const VisitNode&,
               const Resume& resume) {
        lists.advance<GasStreamStep::visit_leaf>([&](unsigned slot) {
            const unsigned ray = rays[slot].get_ray_index();
            return rays[slot].visit(
                tree, [&](unsigned leaf) { m_call_leaf(leaf, ray); },
                [&](const auto& query) { resume(ray, query); });
        });
    }

  private:
    const CallLeaf& m_call_leaf;
};

/// The stacks of all rays in flight, in a frame of a shader's.
template <typename Nodes> class GasStreamStacks {
  public:
    /// For trees of up to `depth` levels.
    GasStreamStacks(CtxShader& shader, unsigned depth)
        : m_size(get_size(depth)), m_lease(shader, get_frame_size(m_size)),
          m_entries(gas_view_stack<Entry>(m_lease.get(), cache_line)) {}

    GasTreeCtx& get_ctx() const { return m_lease.get(); }

    template <typename Query> void give_to(GasStreamRay<Nodes, Query>* rays) const {
        for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot)
            rays[slot].set_stack(m_entries + slot * m_size);
    }

  private:
    using Entry = typename Nodes::Entry;
    static constexpr std::size_t cache_line = 64;
    static_assert(cache_line % sizeof(Entry) == 0);

    /// Stacks lie an odd number of cache lines apart, or they would compete for a few sets of the
    /// cache.
    static std::size_t get_size(unsigned depth) {
        const std::size_t bytes = Nodes::get_stack_size(depth) * sizeof(Entry);
        const std::size_t lines = (bytes + cache_line - 1) / cache_line;
        return (lines | 1) * (cache_line / sizeof(Entry));
    }
    static std::size_t get_frame_size(std::size_t size) {
        const std::size_t bytes = GasStreamLists::slot_count * size * sizeof(Entry);
        return (bytes + cache_line) / sizeof(GasStackEntry) + 1;
    }

    std::size_t m_size;
    const GasTreeCtxLease m_lease;
    Entry* m_entries;
};

/// Traces rays, each as a single-ray query walks, but turn by turn. `start_next(slot)` starts the
/// next one there is and returns its step, `take_next_ray` when there is none; `visit_node(node,
/// ray)` hears of every expanded node; `leaves` are as GasStreamItems; `resume(ray, query)` takes
/// over a ray whose bound was lost. `rays` are `GasStreamLists::slot_count`, with their stacks; the
/// caller's, so that one register finds all of a ray.
template <typename Nodes, typename Query, typename Tree, typename StartNext, typename VisitNode,
          typename Leaves, typename Resume>
GAS_NO_INLINE void gas_stream_nodes(GasStreamRay<Nodes, Query>* rays, const Tree& tree,
                                    const StartNext& start_next, const VisitNode& visit_node,
                                    Leaves& leaves, const Resume& resume) {
    GasStreamLists lists;
    while (!lists.is_empty() || leaves.are_busy()) {
        lists.advance<GasStreamStep::take_next_ray>(
            [&](unsigned slot) { return start_next(rays[slot]); });
        lists.dismiss();
        if constexpr (Nodes::go_by_twos)
            lists.advance_by_twos<GasStreamStep::expand_node>([&](unsigned a, unsigned b) {
                return GasStreamRay<Nodes, Query>::expand(rays[a], rays[b], visit_node);
            });
        else
            lists.advance<GasStreamStep::expand_node>(
                [&](unsigned slot) { return rays[slot].expand(visit_node); });
        leaves.serve(lists, rays, tree, visit_node, resume);
    }
}

} // namespace gas_abi1
