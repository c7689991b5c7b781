// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

#include <gas/core/gas_compiler.h>
#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_wide_look_ahead.h>

inline namespace gas_abi1 {

/// The walk of wide nodes for one ray: it calls the leaves that the walk of the binary tree calls,
/// in that order.
///
/// A ray is tested against the children of two siblings at once. Where it enters the siblings
/// themselves decides which comes first, and a sibling is hit where a child of it is. Children are
/// tested earlier than the binary walk would, which is the same as long as a bound stays or comes
/// nearer: this walk looks at it again before it goes on. A ray whose callback does otherwise is
/// handed to the binary walk.

/// A ray's pending nodes and the node that it is at.
struct GasWideStack {
    GasWideEntry* entries;
    unsigned size;
    unsigned reference;

    bool is_at_leaf() const { return (reference & GasWideNode::leaf_flag) != 0; }

    /// Pushes the children of a half that are `reached` (bits 0 and 1, not none), the nearer one on
    /// top, or the second where both are entered at the same distance.
    template <unsigned half, unsigned reached>
    GAS_FORCE_INLINE void push_half(const unsigned* references, const float* distances) {
        constexpr unsigned first = 2 * half;
        constexpr unsigned second = first + 1;
        if constexpr (reached == 3) {
            if (distances[second] > distances[first]) {
                push<second>(references, distances);
                push<first>(references, distances);
            } else {
                push<first>(references, distances);
                push<second>(references, distances);
            }
        } else {
            push<first + reached / 2>(references, distances);
        }
    }

    /// Moves to the one that would be on top; pushes the other.
    template <unsigned half, unsigned reached>
    GAS_FORCE_INLINE void take_half(const unsigned* references, const float* distances) {
        constexpr unsigned first = 2 * half;
        constexpr unsigned second = first + 1;
        if constexpr (reached == 3) {
            if (distances[second] > distances[first]) {
                push<second>(references, distances);
                reference = references[first];
            } else {
                push<first>(references, distances);
                reference = references[second];
            }
        } else {
            reference = references[first + reached / 2];
        }
    }

    /// Moves to the first of the lanes that are `reached`, not none; pushes the others. The half
    /// that is entered first comes first, or the second where both are at the same distance. True:
    /// it did.
    template <unsigned reached, typename IsSecondLater>
    GAS_FORCE_INLINE bool take(const unsigned* references, const float* distances,
                               const IsSecondLater& is_second_later) {
        constexpr unsigned first = reached & 3;
        constexpr unsigned second = reached >> 2;
        if constexpr (second == 0) {
            take_half<0, first>(references, distances);
        } else if constexpr (first == 0) {
            take_half<1, second>(references, distances);
        } else if (is_second_later()) {
            push_half<1, second>(references, distances);
            take_half<0, first>(references, distances);
        } else {
            push_half<0, first>(references, distances);
            take_half<1, second>(references, distances);
        }
        return true;
    }

    /// Moves to the topmost entry within the limit and drops those above; false when there is none.
    GAS_FORCE_INLINE bool pop(float limit) {
        while (size) {
            const GasWideEntry& top = entries[--size];
            reference = top.reference;
            if (top.entry_distance <= limit)
                return true;
        }
        return false;
    }

    /// Puts what it is at back on top; where a ray enters that does not matter any more.
    void push_current() { entries[size++] = {reference, 0.0f}; }

  private:
    template <unsigned lane>
    GAS_FORCE_INLINE void push(const unsigned* references, const float* distances) {
        entries[size++] = {references[lane], distances[lane]};
    }
};

/// The walk goes on with what it `reached`, a bit for each lane; false: with nothing of it.
template <typename IsSecondLater>
GAS_FORCE_INLINE bool gas_take_reached(unsigned reached, GasWideStack& stack,
                                       const unsigned* references, const float* distances,
                                       const IsSecondLater& is_second_later) {
    static_assert(GasWideNode::width == 4, "sixteen cases");
    // Branches, not selected addresses: a predicted one lets the next node load before the test of
    // this one is done. One jump for all lanes is guessed better than one branch after the other.
    switch (reached) {
    case 1:
        return stack.take<1>(references, distances, is_second_later);
    case 2:
        return stack.take<2>(references, distances, is_second_later);
    case 3:
        return stack.take<3>(references, distances, is_second_later);
    case 4:
        return stack.take<4>(references, distances, is_second_later);
    case 5:
        return stack.take<5>(references, distances, is_second_later);
    case 6:
        return stack.take<6>(references, distances, is_second_later);
    case 7:
        return stack.take<7>(references, distances, is_second_later);
    case 8:
        return stack.take<8>(references, distances, is_second_later);
    case 9:
        return stack.take<9>(references, distances, is_second_later);
    case 10:
        return stack.take<10>(references, distances, is_second_later);
    case 11:
        return stack.take<11>(references, distances, is_second_later);
    case 12:
        return stack.take<12>(references, distances, is_second_later);
    case 13:
        return stack.take<13>(references, distances, is_second_later);
    case 14:
        return stack.take<14>(references, distances, is_second_later);
    case 15:
        return stack.take<15>(references, distances, is_second_later);
    default:
        return false;
    }
}

/// Tests what a wide node holds and moves to what the ray reaches first; the rest is pushed. False:
/// it reaches nothing of it.
template <typename Boxes>
GAS_FORCE_INLINE bool gas_descend_wide(const Boxes& boxes, const GasWideRay& ray,
                                       const SimdF& limit, GasWideStack& stack) {
    const typename Boxes::Record record = boxes.get_record(stack.reference);
    const unsigned* const references = boxes.get_references(record);
    const GasWideHits hits = boxes.test(ray, limit, record);
    alignas(16) float distances[GasWideNode::width];
    hits.entries.store(distances);
    const auto compare_halves = [&]() GAS_FORCE_INLINE_LAMBDA {
        const SimdF halves = boxes.get_half_entries(ray, record, hits);
        return halves.broadcast<2>().get_first() > halves.get_first();
    };
    // Blended halves take long to compare: once for all cases, where both are reached.
    bool is_later = false;
    if constexpr (Boxes::is_motion) {
        if ((hits.reached & 3) != 0 && hits.reached > 3)
            is_later = compare_halves();
    }
    const auto is_second_later = [&]() GAS_FORCE_INLINE_LAMBDA {
        if constexpr (Boxes::is_motion)
            return is_later;
        else
            return compare_halves();
    };
    return gas_take_reached(hits.reached, stack, references, distances, is_second_later);
}

/// How many leaves an any-hit ray visits before its walk looks ahead. A ray that is stopped meets
/// fewer, and would have tested most of what lies ahead for nothing.
inline constexpr unsigned gas_leaves_before_look_ahead = 8;

/// Walks a tree's wide nodes for one ray, as gas_walk_nodes does the binary ones; `call_leaf` calls
/// one. Where a callback changes the bound in a way that this walk does not follow, it ends with
/// `resume(resumed query)`.
template <typename Boxes, typename Query, typename Tree, typename CallLeaf, typename Resume,
          typename Probe>
GAS_FORCE_INLINE void gas_walk_wide_nodes(const Boxes& tree_boxes, const GasLaneRay& lane_ray,
                                          const Tree& tree, GasTreeCtx& ctx, Query& query,
                                          const CallLeaf& call_leaf, const Resume& resume,
                                          Probe probe) {
    // The address of the nodes in a register; what motion needs does not fit there.
    const std::conditional_t<Boxes::is_motion, const Boxes&, Boxes> boxes = tree_boxes;
    const GasWideRay ray(lane_ray);
    GasWideStack stack = {gas_view_stack<GasWideEntry>(ctx), 0, 0};
    const double first_bound = query.get_bound();
    GasBoundHistory<Query> history(first_bound);
    SimdF limit(Query::get_limit(first_bound));
    unsigned last_reference = 0;
    const auto look_ahead = [&] {
        if constexpr (!Query::follows_bound)
            gas_look_ahead(boxes, ray, limit, stack.entries, stack.size, tree, query, history,
                           call_leaf, resume, probe);
    };
    unsigned leaves_by_stack = gas_leaves_before_look_ahead;
    if constexpr (!Query::follows_bound) {
        if (query.is_stopped_rarely()) {
            probe.visit_node();
            if (!gas_descend_wide(boxes, ray, limit, stack))
                return query.finish();
            stack.push_current();
            return look_ahead();
        }
    }
    const auto shorten = [&](double bound) { limit = SimdF(Query::get_limit(bound)); };
    bool walking = !Query::is_beyond(ray.near_distance.get_first(), first_bound);
    while (walking) {
        bool is_reached = true;
        while (is_reached && !stack.is_at_leaf()) {
            probe.visit_node();
            is_reached = gas_descend_wide(boxes, ray, limit, stack);
        }
        last_reference = stack.reference;
        if (is_reached) {
            const unsigned leaf = stack.reference & ~GasWideNode::leaf_flag;
            if (query.visit_leaf(tree, leaf, call_leaf) ||
                !gas_follow_or_resume(query, history, shorten, resume))
                return query.end_ray(&tree, last_reference);
            if constexpr (!Query::follows_bound) {
                if (--leaves_by_stack == 0) {
                    query.end_ray(&tree, last_reference);
                    return look_ahead();
                }
            }
        }
        walking = stack.pop(limit.get_first());
    }
    query.end_ray(&tree, last_reference);
    query.finish();
}

} // namespace gas_abi1
