#pragma once

#include <gas/traversal/gas_inline.h>
#include <gas/traversal/gas_ray_query.h>
#include <gas/traversal/gas_wide_boxes.h>

/// The walk of wide nodes for one ray: it calls the leaves that the walk of the binary tree calls,
/// in that order, whatever callbacks do to the ray.
///
/// A ray is tested against the children of two siblings at once. Where it enters the siblings
/// themselves decides which comes first, and a sibling is hit where a child of it is.

/// One lane of a tested node: what it refers to and where the ray enters it; a NaN where it misses.
struct GasWideLane {
    unsigned reference;
    float entry_distance;
};

/// What waits on the stack. Either the children of a half that the walk has not come to, to be
/// tested against the ray's bound when their turn comes; or, where the second reference is none,
/// one node that the ray has been found to reach.
struct GasWideEntry {
    GasWideLane lanes[2];

    bool is_single() const { return lanes[1].reference == GasWideNode::no_reference; }
};

static_assert(sizeof(GasWideEntry) <= sizeof(GasStackEntry), "a frame's stack holds them");

/// A frame's stack as one of such entries.
inline GasWideEntry* gas_get_wide_entries(const GasTreeCtx& ctx) {
    return static_cast<GasWideEntry*>(static_cast<void*>(ctx.stack));
}

/// A ray's pending entries and the node that it is at.
struct GasWideStack {
    GasWideEntry* entries;
    unsigned size;
    unsigned reference;
    float entry_distance;

    void push(unsigned node, float distance) {
        GasWideEntry& entry = entries[size++];
        entry.lanes[0] = {node, distance};
        entry.lanes[1].reference = GasWideNode::no_reference;
    }
    template <unsigned half> void push_half(const unsigned* references, const float* distances) {
        constexpr unsigned lane = 2 * half;
        entries[size++] = {
            {{references[lane], distances[lane]}, {references[lane + 1], distances[lane + 1]}}};
    }
    template <unsigned lane> void move_to(const unsigned* references, const float* distances) {
        reference = references[lane];
        entry_distance = distances[lane];
    }

    /// Moves to the nearer of the lanes of a half that were reached (bits 0 and 1 of `reached`), or
    /// to the second where both are entered at the same distance; the other waits.
    template <unsigned half>
    void take_half(const unsigned* references, const float* distances, int reached) {
        constexpr unsigned first = 2 * half;
        constexpr unsigned second = first + 1;
        if (reached == 3) {
            if (distances[second] > distances[first]) {
                push(references[second], distances[second]);
                move_to<first>(references, distances);
            } else {
                push(references[first], distances[first]);
                move_to<second>(references, distances);
            }
        } else if (reached == 1) {
            move_to<first>(references, distances);
        } else {
            move_to<second>(references, distances);
        }
    }

    void move_to(const GasWideLane& lane) {
        reference = lane.reference;
        entry_distance = lane.entry_distance;
    }

    /// Moves to the nearer node of an entry; the other stays and waits alone.
    void take_nearer(GasWideEntry& entry) {
        GasWideLane& first = entry.lanes[0];
        GasWideLane& second = entry.lanes[1];
        if (second.entry_distance > first.entry_distance) {
            move_to(first);
            first = second;
        } else {
            move_to(second);
        }
        second.reference = GasWideNode::no_reference;
    }

    /// Goes on with the next node that is in front of the bound; false when none is left.
    template <typename Query> bool pop(double bound, float far_distance) {
        while (size) {
            GasWideEntry& top = entries[size - 1];
            if (top.is_single()) {
                --size;
                if (Query::is_beyond(top.lanes[0].entry_distance, bound))
                    continue;
                reference = top.lanes[0].reference;
                return true;
            }
            const bool first = top.lanes[0].entry_distance <= far_distance;
            const bool second = top.lanes[1].entry_distance <= far_distance;
            if (first && second) {
                take_nearer(top);
            } else {
                --size;
                if (!first && !second)
                    continue;
                move_to(top.lanes[first ? 0 : 1]);
            }
            if (!Query::is_beyond(entry_distance, bound))
                return true;
        }
        return false;
    }
};

/// Tests what a wide node holds and moves to what the ray reaches first; the rest waits. False: it
/// reaches nothing of it.
template <typename Boxes>
GAS_FORCE_INLINE bool gas_descend_wide(const Boxes& boxes, const GasWideRay& ray,
                                       const SimdF& far_distance, GasWideStack& stack) {
    const unsigned node = stack.reference;
    const unsigned* const references = boxes.get_references(node);
    const GasWideHits hits = boxes.test(ray, node);
    const int reached = (hits.entries <= far_distance).get_mask();
    const int first = reached & 3;
    const int second = reached >> 2;
    if (!first && !second)
        return false;

    alignas(16) float distances[4];
    hits.entries.store(distances);
    // Branches, not selected addresses: a predicted one lets the next node load before the test of
    // this one is done.
    if (first && second) {
        const SimdF halves = boxes.get_half_entries(ray, node, hits);
        if (halves.broadcast<2>().get_first() > halves.get_first()) {
            stack.push_half<1>(references, distances);
            stack.take_half<0>(references, distances, first);
        } else {
            stack.push_half<0>(references, distances);
            stack.take_half<1>(references, distances, second);
        }
        return true;
    }

    // A half whose turn comes later waits, too, where only its children lie beyond the bound:
    // callbacks may move that before.
    const int crossed = (hits.entries <= hits.entries).get_mask();
    if (crossed & (first ? 12 : 3)) {
        const SimdF halves = boxes.get_half_entries(ray, node, hits);
        const int within = (halves <= far_distance).get_mask();
        const bool first_is_nearer = halves.broadcast<2>().get_first() > halves.get_first();
        if (first && first_is_nearer && (within & 4))
            stack.push_half<1>(references, distances);
        else if (second && !first_is_nearer && (within & 1))
            stack.push_half<0>(references, distances);
    }
    if (first)
        stack.take_half<0>(references, distances, first);
    else
        stack.take_half<1>(references, distances, second);
    return true;
}

/// Walks a tree's wide nodes for one ray, as gas_walk_ray walks its own; `call_leaf` calls one.
template <typename Boxes, typename Query, typename Tree, typename CallLeaf>
void gas_walk_wide_nodes(const Boxes& boxes, const GasLaneRay& lane_ray, const Tree& tree,
                         GasTreeCtx& ctx, Query& query, const CallLeaf& call_leaf) {
    const GasWideRay ray(lane_ray);
    GasWideStack stack = {gas_get_wide_entries(ctx), 0, 0, ray.near_distance.get_first()};
    double bound = query.get_bound();
    SimdF far_distance(static_cast<float>(bound));
    bool walking = !Query::is_beyond(stack.entry_distance, bound);
    while (walking) {
        bool is_reached = true;
        while (is_reached && !(stack.reference & GasWideNode::leaf_flag))
            is_reached = gas_descend_wide(boxes, ray, far_distance, stack) &&
                         !Query::is_beyond(stack.entry_distance, bound);
        if (is_reached) {
            if (query.visit_leaf(tree, stack.reference & ~GasWideNode::leaf_flag, call_leaf))
                return;
            bound = query.get_bound();
            far_distance = SimdF(static_cast<float>(bound));
        }
        walking = stack.pop<Query>(bound, far_distance.get_first());
    }
    query.finish();
}
