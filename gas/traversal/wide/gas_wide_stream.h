#pragma once

#include <bit>
#include <cstdint>

#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_wide_push.h>

inline namespace gas_abi1 {

/// The stream over a tree's wide nodes: many rays in flight.
///
/// A lone ray waits: for each node's boxes to arrive, and for branches that no predictor guesses.
/// Here rays take turns, a step each; the next node of each is on its way meanwhile, and within a
/// step nothing branches on what the boxes are. Each ray visits what its own walk visits, in that
/// order.

/// What a ray does next. Rays that do the same are served in one run, so that no branch has to be
/// guessed from ray to ray.
struct GasStreamStep {
    enum Value : unsigned { expand_node, visit_leaf, take_next_ray = 3 };
};

/// The rays of a stream that are in flight, as sets by what they do next.
class GasStreamLists {
  public:
    /// Rays in flight. Enough to hide the wait for memory; few enough for their state to stay in
    /// the nearest cache, and for a set of them to be a word.
    static constexpr unsigned slot_count = 32;

    /// All slots are at `take_next_ray`.
    GasStreamLists() : m_nodes(0), m_leaves(0), m_new_rays(~std::uint32_t{0}) {}

    bool is_empty() const { return (m_nodes | m_leaves | m_new_rays) == 0; }

    /// Calls `run(slot)` for the slots at `step`; it returns the step of each that follows. The
    /// sets are computed from the two bits of a step: where a ray went to decides over no address
    /// that the next ray's run depends on.
    template <GasStreamStep::Value step, typename Run> void advance(const Run& run) {
        std::uint32_t& set = get_set<step>();
        const std::uint32_t served = set;
        std::uint32_t low_bits = 0;
        std::uint32_t high_bits = 0;
        for (std::uint32_t rest = served; rest != 0; rest &= rest - 1) {
            const auto slot = static_cast<unsigned>(std::countr_zero(rest));
            const unsigned next = run(slot);
            low_bits |= (next & 1) << slot;
            high_bits |= (next >> 1) << slot;
        }
        set = 0;
        m_nodes |= served & ~low_bits;
        m_leaves |= low_bits & ~high_bits;
        m_new_rays |= high_bits;
    }

    /// The slots at `take_next_ray` are no longer needed.
    void dismiss() { m_new_rays = 0; }

  private:
    template <GasStreamStep::Value step> std::uint32_t& get_set() {
        if constexpr (step == GasStreamStep::expand_node)
            return m_nodes;
        else if constexpr (step == GasStreamStep::visit_leaf)
            return m_leaves;
        else
            return m_new_rays;
    }

    std::uint32_t m_nodes;
    std::uint32_t m_leaves;
    std::uint32_t m_new_rays;
};

static_assert(GasStreamStep::expand_node == 0 && GasStreamStep::visit_leaf == 1 &&
                  GasStreamStep::take_next_ray == 3,
              "a step is computed, and taken apart again, by its bits");

/// Entries of the stack of each ray in flight: up to three for each level, one below them that says
/// that nothing is pending any more, and four that may be written but do not count. Stacks lie an
/// odd number of cache lines apart, or they would compete for a few sets of the cache.
inline std::size_t gas_get_stream_stack_size(unsigned depth) {
    constexpr std::size_t entries_per_line = 64 / sizeof(GasWideEntry);
    constexpr std::size_t width = GasWideNode::width;
    const std::size_t lines = ((width - 1) * depth + 1 + width) / entries_per_line + 1;
    return (lines | 1) * entries_per_line;
}

/// A ray in flight.
template <typename Boxes, typename Query> class GasStreamRay {
  public:
    /// Room for the entries of its walk.
    void set_stack(GasWideEntry* entries) {
        m_entries = entries;
        m_entries[0] = gas_wide_stack_end;
    }

    /// Starts at the root; the step that follows.
    unsigned start(const Boxes& boxes, const GasLaneRay& ray, const Query& query,
                   unsigned ray_index) {
        m_boxes = boxes;
        m_ray = GasWideRay(ray);
        m_query = query;
        m_ray_index = ray_index;
        m_size = 0;
        m_reference = 0;
        const double bound = query.get_bound();
        m_history = GasBoundHistory<Query>(bound);
        m_limit = SimdF(Query::get_limit(bound));
        return Query::is_beyond(m_ray.near_distance.get_first(), bound)
                   ? GasStreamStep::take_next_ray
                   : GasStreamStep::expand_node;
    }

    /// Tests the boxes of the node that it is at, puts those that it reaches on its stack and moves
    /// to what is on top of that.
    template <typename VisitNode> unsigned expand(const VisitNode& visit_node) {
        visit_node(m_reference, m_ray_index);
        m_size += gas_push_wide(m_boxes, m_ray, m_limit, m_reference, m_entries + m_size + 1);
        return pop();
    }

    /// Visits the leaf that it is at. `resume(query)` goes on with it where this walk cannot.
    template <typename Tree, typename CallLeaf, typename Resume>
    unsigned visit(const Tree& tree, const CallLeaf& call_leaf, const Resume& resume) {
        if (m_query.visit_leaf(tree, m_reference & ~GasWideNode::leaf_flag, call_leaf))
            return GasStreamStep::take_next_ray;
        const auto shorten = [&](double bound) {
            m_limit = SimdF(Query::get_limit(bound));
            m_size = gas_drop_far_entries(m_entries, m_size, m_limit.get_first());
        };
        return gas_follow_or_resume(m_query, m_history, shorten, resume)
                   ? pop()
                   : GasStreamStep::take_next_ray;
    }

    /// Its ray, or the last one it had; 0 before the first.
    unsigned get_ray_index() const { return m_ray_index; }

  private:
    /// Moves to the top of the stack. Below the last entry is one that stands for the next ray: a
    /// size that wraps there is never used.
    unsigned pop() {
        m_reference = m_entries[m_size--].reference;
        const unsigned is_leaf = m_reference / GasWideNode::leaf_flag;
        m_boxes.prefetch(m_reference & (is_leaf - 1));
        return is_leaf | (m_reference == GasWideNode::no_reference ? 2u : 0u);
    }

    GasWideRay m_ray;
    SimdF m_limit;
    Boxes m_boxes;
    GasWideEntry* m_entries;
    unsigned m_size;
    unsigned m_reference;
    unsigned m_ray_index = 0;
    Query m_query;
    GasBoundHistory<Query> m_history;
};

/// Traces rays, each as gas_walk_wide_nodes does but turn by turn. `start_next(slot)` starts the
/// next one there is and returns its step, `take_next_ray` when there is none; `visit_node(node,
/// ray)` hears of every expanded node; `call_leaf(leaf, ray)` calls a leaf; `resume(ray, query)`
/// takes over a ray whose bound was lost. `stacks` has room for `stack_size` entries for each slot.
template <typename Boxes, typename Query, typename Tree, typename StartNext, typename VisitNode,
          typename CallLeaf, typename Resume>
void gas_stream_wide_nodes(const Tree& tree, GasWideEntry* stacks, std::size_t stack_size,
                           const StartNext& start_next, const VisitNode& visit_node,
                           const CallLeaf& call_leaf, const Resume& resume) {
    GasStreamRay<Boxes, Query> rays[GasStreamLists::slot_count];
    for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot)
        rays[slot].set_stack(stacks + slot * stack_size);
    GasStreamLists lists;
    while (!lists.is_empty()) {
        lists.advance<GasStreamStep::take_next_ray>(
            [&](unsigned slot) { return start_next(rays[slot]); });
        lists.dismiss();
        lists.advance<GasStreamStep::expand_node>(
            [&](unsigned slot) { return rays[slot].expand(visit_node); });
        lists.advance<GasStreamStep::visit_leaf>([&](unsigned slot) {
            const unsigned ray = rays[slot].get_ray_index();
            return rays[slot].visit(
                tree, [&](unsigned leaf) { call_leaf(leaf, ray); },
                [&](const auto& query) { resume(ray, query); });
        });
    }
}

} // namespace gas_abi1
