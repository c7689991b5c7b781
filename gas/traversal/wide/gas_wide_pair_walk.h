// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_compiler.h>
#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_wide_push.h>

inline namespace gas_abi1 {

/// The walk of wide nodes for one ray of those that are not coherent. It calls the leaves that
/// gas_walk_wide_nodes calls, in that order, but two pending nodes are expanded at a time, and
/// nothing branches on boxes: no predictor would guess where such a ray goes, and neither node
/// waits for the other. The second node is one that the ray may turn out not to need; where rays
/// are coherent, branches are guessed and wait for nothing.

/// Expands the node on top of the stack, and the one below with it unless that is a leaf or there
/// is no room. Returns the new size.
///
/// The entries of a frame's stack, 5 for each of the tree's `depth` levels, suffice: two are
/// expanded only where the stack then holds at most 3 for each level, and one after the other they
/// leave behind at most 2 more for each.
template <typename Boxes, typename Probe>
GAS_FORCE_INLINE unsigned gas_expand_two(const Boxes& boxes, const GasWideRay& ray,
                                         const SimdF& limit, GasWideEntry* entries, unsigned size,
                                         std::size_t room, Probe probe) {
    const unsigned first = entries[size].reference;
    const GasWideEntry second = entries[size - 1];
    --size;
    probe.visit_node();
    if (!second.is_leaf() && size <= room) {
        boxes.prefetch(first);
        probe.visit_node();
        --size;
        size += gas_push_wide(boxes, ray, limit, second.reference, entries + size + 1);
    }
    return size + gas_push_wide(boxes, ray, limit, first, entries + size + 1);
}

/// The same parameters as gas_walk_wide_nodes.
template <typename Boxes, typename Query, typename Tree, typename CallLeaf, typename Resume,
          typename Probe>
GAS_FORCE_INLINE void gas_walk_wide_pairs(const Boxes& boxes, const GasLaneRay& lane_ray,
                                          const Tree& tree, GasTreeCtx& ctx, Query& query,
                                          const CallLeaf& call_leaf, const Resume& resume,
                                          Probe probe) {
    const GasWideRay ray(lane_ray);
    const double first_bound = query.get_bound();
    if (Query::is_beyond(ray.near_distance.get_first(), first_bound))
        return query.finish();
    GasBoundHistory<Query> history(first_bound);
    SimdF limit(Query::get_limit(first_bound));
    // The end, both nodes' entries, and those that are written but not counted.
    constexpr std::size_t spare = 1 + 3 * GasWideNode::width;
    const std::size_t levels = 3 * std::size_t{tree.get_depth()};
    const std::size_t room = levels > spare ? levels - spare : 0;
    GasWideEntry* const entries = gas_view_stack<GasWideEntry>(ctx);
    entries[0] = gas_wide_stack_end;
    entries[1] = {0, ray.near_distance.get_first()};
    unsigned size = 1;
    unsigned last_reference = 0;
    const auto shorten = [&](double bound) {
        limit = SimdF(Query::get_limit(bound));
        size = gas_drop_far_entries(entries, size, limit.get_first());
    };
    for (;;) {
        while (!entries[size].is_leaf()) {
            last_reference = entries[size].reference;
            size = gas_expand_two(boxes, ray, limit, entries, size, room, probe);
        }
        if (size == 0)
            break;
        last_reference = entries[size--].reference;
        const unsigned leaf = last_reference & ~GasWideNode::leaf_flag;
        if (query.visit_leaf(tree, leaf, call_leaf) ||
            !gas_follow_or_resume(query, history, shorten, resume))
            return query.end_ray(&tree, last_reference);
    }
    query.end_ray(&tree, last_reference);
    query.finish();
}

} // namespace gas_abi1
