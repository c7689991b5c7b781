#pragma once

#include <gas/core/gas_compiler.h>
#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_wide_push.h>

inline namespace gas_abi1 {

/// The walk of wide nodes for one ray and its closest hit: it calls the leaves that the walk of the
/// binary tree calls, in that order.
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

    /// Pushes the children that were reached (bits 0 and 1 of `reached`, not none), the nearer one
    /// on top, or the second where both are entered at the same distance.
    template <unsigned half>
    void push_half(const unsigned* references, const float* distances, unsigned reached) {
        constexpr unsigned first = 2 * half;
        constexpr unsigned second = first + 1;
        if (reached != 1 && (reached == 2 || !(distances[second] > distances[first]))) {
            if (reached == 3)
                push<first>(references, distances);
            push<second>(references, distances);
        } else {
            if (reached == 3)
                push<second>(references, distances);
            push<first>(references, distances);
        }
    }

    /// Moves to the one that would be on top; pushes the other.
    template <unsigned half>
    void take_half(const unsigned* references, const float* distances, unsigned reached) {
        constexpr unsigned first = 2 * half;
        constexpr unsigned second = first + 1;
        if (reached == 3) {
            if (distances[second] > distances[first]) {
                push<second>(references, distances);
                reference = references[first];
            } else {
                push<first>(references, distances);
                reference = references[second];
            }
        } else if (reached == 1) {
            reference = references[first];
        } else {
            reference = references[second];
        }
    }

    /// Moves to the topmost entry within the limit and drops those above; false when there is none.
    bool pop(float limit) {
        while (size) {
            const GasWideEntry& top = entries[--size];
            reference = top.reference;
            if (top.entry_distance <= limit)
                return true;
        }
        return false;
    }

  private:
    template <unsigned lane> void push(const unsigned* references, const float* distances) {
        entries[size++] = {references[lane], distances[lane]};
    }
};

/// Tests what a wide node holds and moves to what the ray reaches first; the rest is pushed. False:
/// it reaches nothing of it.
template <typename Boxes>
GAS_FORCE_INLINE bool gas_descend_wide(const Boxes& boxes, const GasWideRay& ray,
                                       const SimdF& limit, GasWideStack& stack) {
    const unsigned node = stack.reference;
    const unsigned* const references = boxes.get_references(node);
    const GasWideHits hits = boxes.test(ray, limit, node);
    if (hits.reached == 0)
        return false;

    static_assert(GasWideNode::width == 4, "a half has two lanes");
    alignas(16) float distances[GasWideNode::width];
    hits.entries.store(distances);
    const unsigned first = hits.reached & 3;
    const unsigned second = hits.reached >> 2;
    // Branches, not selected addresses: a predicted one lets the next node load before the test of
    // this one is done.
    if (first && second) {
        const SimdF halves = boxes.get_half_entries(ray, node, hits);
        if (halves.broadcast<2>().get_first() > halves.get_first()) {
            stack.push_half<1>(references, distances, second);
            stack.take_half<0>(references, distances, first);
        } else {
            stack.push_half<0>(references, distances, first);
            stack.take_half<1>(references, distances, second);
        }
    } else if (first) {
        stack.take_half<0>(references, distances, first);
    } else {
        stack.take_half<1>(references, distances, second);
    }
    return true;
}

/// Walks a tree's wide nodes for one ray, as gas_walk_nodes does the binary ones; `call_leaf` calls
/// one. Where a callback changes the bound in a way that this walk does not follow, it ends with
/// `resume(resumed query)`.
template <typename Boxes, typename Query, typename Tree, typename CallLeaf, typename Resume,
          typename Probe>
GAS_NO_INLINE void gas_walk_wide_nodes(const Boxes& boxes, const GasLaneRay& lane_ray,
                                       const Tree& tree, GasTreeCtx& ctx, Query& query,
                                       const CallLeaf& call_leaf, const Resume& resume,
                                       Probe& probe) {
    static_assert(Query::follows_bound, "a query whose bound stays is faster with a look ahead");
    const GasWideRay ray(lane_ray);
    GasWideStack stack = {gas_view_stack<GasWideEntry>(ctx), 0, 0};
    const double first_bound = query.get_bound();
    GasBoundHistory<Query> history(first_bound);
    SimdF limit(Query::get_limit(first_bound));
    const auto shorten = [&](double bound) { limit = SimdF(Query::get_limit(bound)); };
    bool walking = !Query::is_beyond(ray.near_distance.get_first(), first_bound);
    while (walking) {
        bool is_reached = true;
        while (is_reached && !stack.is_at_leaf()) {
            probe.visit_node();
            is_reached = gas_descend_wide(boxes, ray, limit, stack);
        }
        if (is_reached) {
            const unsigned leaf = stack.reference & ~GasWideNode::leaf_flag;
            if (query.visit_leaf(tree, leaf, call_leaf) ||
                !gas_follow_or_resume(query, history, shorten, resume))
                return;
        }
        walking = stack.pop(limit.get_first());
    }
    query.finish();
}

} // namespace gas_abi1
