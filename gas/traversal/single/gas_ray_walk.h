// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/core/gas_box_tests.h>
#include <gas/core/gas_compiler.h>
#include <gas/core/gas_reporting.h>
#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/single/gas_ray_nodes.h>

inline namespace gas_abi1 {

/// The pending nodes on a frame's stack.
struct GasWalkStack {
    GasStackEntry* entries;
    unsigned size;

    template <unsigned child, typename Nodes> void push(const Nodes& nodes, float entry_distance) {
        nodes.template push_child<child>(entries[size], size);
        entries[size].entry_distance = entry_distance;
        ++size;
    }

    /// Makes the node on top of the stack the current one; false when the stack is empty.
    template <typename Nodes> bool pop(Nodes& nodes, float& entry_distance) {
        if (size == 0)
            return false;
        --size;
        nodes.pop(entries[size], size);
        entry_distance = entries[size].entry_distance;
        return true;
    }
};

/// Tests the children of an inner node and moves to the nearer one that the ray enters, or to the
/// second where it enters both at the same distance; the other is pushed. False: it enters neither.
template <typename Nodes>
GAS_FORCE_INLINE bool gas_descend(Nodes& nodes, const GasLaneRay& ray, const SimdF& far_distance,
                                  GasWalkStack& stack, float& entry_distance) {
    GasBoxPair boxes;
    SimdF entries;
    nodes.expand(boxes);
    const int hits = gas_test_box_pair(ray, far_distance, boxes, entries);
    if (hits == 0) {
        nodes.template drop_child<0>();
        nodes.template drop_child<1>();
        return false;
    }
    // Branches, not selected addresses: a predicted one lets the next node load before the test of
    // this one is done.
    const float first_entry = entries.get_first();
    const float second_entry = entries.broadcast<1>().get_first();
    if (hits == 1 || (hits == 3 && second_entry > first_entry)) {
        if (hits == 3)
            stack.push<1>(nodes, second_entry);
        else
            nodes.template drop_child<1>();
        nodes.template move_to_child<0>();
        entry_distance = first_entry;
    } else {
        if (hits == 3)
            stack.push<0>(nodes, first_entry);
        else
            nodes.template drop_child<0>();
        nodes.template move_to_child<1>();
        entry_distance = second_entry;
    }
    return true;
}

/// Walks a tree for one ray, the nearer child first. `nodes` says where boxes come from, `query`
/// what a hit means, `call_leaf` calls a leaf; `probe` hears of every expanded node.
template <typename Nodes, typename Query, GasTraversable Tree, typename CallLeaf, typename Probe>
void gas_walk_nodes(Nodes& nodes, const GasLaneRay& lane_ray, const Tree& tree, GasTreeCtx& ctx,
                    Query& query, const CallLeaf& call_leaf, Probe probe) {
    GasWalkStack stack = {gas_view_stack<GasStackEntry>(ctx), 0};
    float entry_distance = lane_ray.near_distance.get_first();
    double bound = query.get_bound();
    SimdF far_distance(static_cast<float>(bound));
    bool walking = nodes.is_ready();
    if (!walking) [[unlikely]]
        gas_report(GasReportTopic::unfilled_sample, &tree);
    assert(walking && "a motion-blur sample was never filled");
    while (walking) {
        // Down from the current node, until a leaf or nothing is left below.
        for (;;) {
            if (Query::is_beyond(entry_distance, bound)) {
                nodes.drop();
                break;
            }
            if (nodes.is_leaf()) {
                const unsigned leaf = nodes.get_leaf();
                nodes.drop();
                if (query.visit_leaf(tree, leaf, call_leaf))
                    return;
                bound = query.get_bound();
                far_distance = SimdF(static_cast<float>(bound));
                break;
            }
            probe.visit_node();
            if (!gas_descend(nodes, lane_ray, far_distance, stack, entry_distance))
                break;
        }
        walking = stack.pop(nodes, entry_distance);
    }
    query.finish();
}

/// The walk of a ray of the rays that `call_leaf` is for, where wide nodes cannot serve it or a
/// walk of them gave up; no other walk uses the frame any more. By value and out of line: what a
/// caller keeps in registers is not looked at from elsewhere.
template <typename Nodes, typename Query, typename CallLeaf>
GAS_NO_INLINE void gas_walk_binary_nodes(GasTreeCtx& ctx, unsigned ray, Query query,
                                         CallLeaf call_leaf) {
    const float time = gas_host::get_time(gas_host::get_data(call_leaf.rays), ray);
    Nodes nodes(call_leaf.tree, ctx, call_leaf.shader, time);
    gas_walk_nodes(nodes, gas_get_lane_ray(call_leaf.rays, ray), call_leaf.tree, ctx, query,
                   call_leaf, call_leaf.probe);
}

} // namespace gas_abi1
