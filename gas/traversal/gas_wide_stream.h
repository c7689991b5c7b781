#pragma once

#include <limits>

#include <gas/traversal/gas_stream_choices.h>
#include <gas/traversal/gas_stream_lists.h>
#include <gas/traversal/gas_wide_walk.h>

/// The stream over a tree's wide nodes: many rays in flight.
///
/// A lone ray waits: for each node's boxes to arrive, and for branches that no predictor guesses.
/// Here rays take turns, a step each; the next node of each is on its way meanwhile, and within a
/// step nothing branches on what the boxes are. Each ray visits what its own walk visits, in that
/// order.

/// The second half of an entry for one node.
inline constexpr GasWideLane gas_no_lane = {GasWideNode::no_reference,
                                            std::numeric_limits<float>::quiet_NaN()};

/// Entries of the stack of each ray in flight: one for each level, and two that may be written but
/// do not count. Stacks lie an odd number of cache lines apart, or they would compete for a few
/// sets of the cache.
inline std::size_t gas_get_stream_stack_size(unsigned depth) {
    constexpr std::size_t entries_per_line = 64 / sizeof(GasWideEntry);
    const std::size_t lines = (std::size_t{depth} + 2 + entries_per_line - 1) / entries_per_line;
    return (lines | 1) * entries_per_line;
}

/// A ray in flight.
template <typename Boxes, typename Query> class GasStreamRay {
  public:
    /// Room for the entries of its walk, one of them set.
    void set_stack(GasWideEntry* entries) {
        m_entries = entries;
        m_entries[0] = {};
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
        update_bound();
        return Query::is_beyond(m_ray.near_distance.get_first(), m_bound) ? take_next_ray
                                                                          : expand_node;
    }

    /// Tests the boxes of the node that it is at, moves to what it reaches first and puts the rest
    /// on its stack.
    unsigned expand() {
        const GasWideHits hits = m_boxes.test(m_ray, m_reference);
        const SimdF halves = m_boxes.get_half_entries(m_ray, m_reference, hits);
        const SimdF entries = hits.entries;
        const SimdF following = entries.move_down();
        const SimdF crossed = (entries <= entries) | (following <= following);
        const int reached = (entries <= m_far_distance).get_mask();
        const GasStreamChoice choice = gas_stream_choices[GasStreamChoices::get_index(
            reached, (following > entries).get_mask(), (halves.swap_halves() > halves).get_mask(),
            (crossed & (halves <= m_far_distance)).get_mask())];

        const SimdF references = SimdF::load(as_floats(m_boxes.get_references(m_reference)));
        alignas(16) GasWideLane lanes[4];
        SimdF::interleave_low(references, entries).store(as_floats(lanes));
        SimdF::interleave_high(references, entries).store(as_floats(lanes + 2));
        GasWideEntry* const top = m_entries + m_size;
        SimdF::load(as_floats(lanes + choice.other_half)).store(as_floats(top));
        GasWideLane* const sibling = top[choice.half_waits].lanes;
        sibling[0] = lanes[choice.sibling_lane];
        sibling[1] = gas_no_lane;
        m_size += choice.pushed;
        return move_to(lanes[choice.next_lane], reached == 0, false);
    }

    /// Moves to what has waited least, if that is still within reach.
    unsigned pop() {
        const unsigned is_done = m_size == 0;
        GasWideEntry* const top = m_entries + (m_size - 1 + is_done);
        const float far_distance = m_far_distance.get_first();
        GasWideLane* const lanes = top->lanes;
        const float first_entry = lanes[0].entry_distance;
        const float second_entry = lanes[1].entry_distance;
        const unsigned is_single = top->is_single();
        const unsigned first = (is_single & !Query::is_beyond(first_entry, m_bound)) |
                               ((is_single ^ 1) & (first_entry <= far_distance));
        const unsigned second = second_entry <= far_distance;
        const unsigned takes_second = second & ~(first & (second_entry > first_entry));

        const GasWideLane next = lanes[takes_second];
        lanes[0] = lanes[takes_second ^ 1];
        lanes[1] = gas_no_lane;
        m_size -= ((first & second) ^ 1) & (is_done ^ 1);
        return move_to(next, (first | second) ^ 1, is_done);
    }

    /// Visits the leaf that it is at.
    template <typename Tree, typename CallLeaf>
    unsigned visit(const Tree& tree, const CallLeaf& call_leaf) {
        if (m_query.visit_leaf(tree, m_reference & ~GasWideNode::leaf_flag, call_leaf))
            return take_next_ray;
        update_bound();
        return pop();
    }

    unsigned get_ray_index() const { return m_ray_index; }

  private:
    template <typename T> static const float* as_floats(const T* lanes) {
        return static_cast<const float*>(static_cast<const void*>(lanes));
    }
    template <typename T> static float* as_floats(T* lanes) {
        return static_cast<float*>(static_cast<void*>(lanes));
    }

    void update_bound() {
        m_bound = m_query.get_bound();
        m_far_distance = SimdF(static_cast<float>(m_bound));
    }

    unsigned move_to(const GasWideLane& lane, unsigned is_missed, unsigned is_done) {
        m_reference = lane.reference;
        const unsigned is_lost =
            is_missed | is_done | Query::is_beyond(lane.entry_distance, m_bound);
        const unsigned is_leaf = lane.reference / GasWideNode::leaf_flag;
        const unsigned step = (is_leaf & (is_lost ^ 1)) | is_lost << 1 | is_done;
        m_boxes.prefetch(m_reference & (0u - (step == expand_node)));
        return step;
    }

    GasWideRay m_ray;
    SimdF m_far_distance;
    double m_bound;
    Boxes m_boxes;
    GasWideEntry* m_entries;
    unsigned m_size;
    unsigned m_reference;
    unsigned m_ray_index;
    Query m_query;
};

/// Traces rays, each as gas_walk_wide_nodes does but turn by turn. `start_next(ray)` starts the
/// next one there is and returns its step, `take_next_ray` when there is none; `call_leaf(leaf,
/// ray)` calls a leaf. `stacks` has room for `stack_size` entries for each slot.
template <typename Boxes, typename Query, typename Tree, typename StartNext, typename CallLeaf>
void gas_stream_wide_nodes(const Tree& tree, GasWideEntry* stacks, std::size_t stack_size,
                           const StartNext& start_next, const CallLeaf& call_leaf) {
    GasStreamRay<Boxes, Query> rays[GasStreamLists::slot_count];
    for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot)
        rays[slot].set_stack(stacks + slot * stack_size);
    GasStreamLists lists;
    while (!lists.is_empty()) {
        lists.advance<take_next_ray>([&](unsigned slot) { return start_next(rays[slot]); });
        lists.dismiss();
        lists.advance<expand_node>([&](unsigned slot) { return rays[slot].expand(); });
        lists.advance<visit_leaf>([&](unsigned slot) {
            const unsigned ray = rays[slot].get_ray_index();
            return rays[slot].visit(tree, [&](unsigned leaf) { call_leaf(leaf, ray); });
        });
        lists.advance<pop_entry>([&](unsigned slot) { return rays[slot].pop(); });
    }
}
