#pragma once

#include <cstddef>

#include <gas/traversal/gas_box_tests.h>
#include <gas/traversal/gas_ray_nodes.h>
#include <gas/traversal/gas_ray_query.h>

/// Counts nothing: the probe of the shipped engines.
struct GasNoProbe {
    static void visit_node() {}
    static void call_leaf() {}
};

/// Where a walk stands: the node to look at next, the distance at which the ray enters it, and the
/// nodes that wait on the frame's stack.
struct GasWalkPosition {
    GasStackEntry* stack;
    unsigned stack_size;
    unsigned node;
    float entry_distance;

    void push(unsigned waiting, float waiting_entry) {
        stack[stack_size].node = waiting;
        stack[stack_size].entry_distance = waiting_entry;
        ++stack_size;
    }

    /// False when nothing waits.
    bool pop() {
        if (stack_size == 0)
            return false;
        --stack_size;
        node = stack[stack_size].node;
        entry_distance = stack[stack_size].entry_distance;
        return true;
    }

    void move_to(unsigned child, float child_entry) {
        node = child;
        entry_distance = child_entry;
    }
};

/// Tests the children of an inner node and moves to the nearer one that the ray enters, or to the
/// second where it enters both at the same distance; the other waits. False: it enters neither.
template <template <typename> typename Nodes, GasTraversable Tree>
bool gas_descend(const Tree& tree, GasTreeCtx& ctx, const Nodes<Tree>& nodes, const GasLaneRay& ray,
                 const SimdF& far_distance, GasWalkPosition& at) {
    unsigned first;
    unsigned second;
    GasTraversalAccess::get_node_children(tree, ctx, at.node, first, second);
    SimdF first_min, first_max, second_min, second_max, entries;
    nodes.get_bbox(first, first_min, first_max);
    nodes.get_bbox(second, second_min, second_max);
    const int hits =
        gas_test_box_pair(ray, far_distance, first_min, first_max, second_min, second_max, entries);
    if (hits == 0)
        return false;
    // Branches, not selected addresses: a predicted one lets the next node load before the test of
    // this one is done.
    const float first_entry = entries.get_first();
    const float second_entry = entries.broadcast<1>().get_first();
    if (hits == 1 || (hits == 3 && second_entry > first_entry)) {
        if (hits == 3)
            at.push(second, second_entry);
        at.move_to(first, first_entry);
    } else {
        if (hits == 3)
            at.push(first, first_entry);
        at.move_to(second, second_entry);
    }
    return true;
}

/// Walks the tree for one ray, the nearer child first. `Nodes` says where boxes come from, `Query`
/// what a hit means; `probe` hears of every expanded node and every leaf callback. The shader has
/// frames and the tree a root.
template <template <typename> typename Nodes, typename Query, GasTraversable Tree, typename Probe>
void gas_walk_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                  GeometryRaytraceCtx& rays, unsigned ray, Probe& probe) {
    GeometryRaytraceData& data = gas_host::get_data(rays);
    const GasTreeCtxLease lease(shader, 2 * std::size_t{tree.get_depth()});
    GasTreeCtx& ctx = lease.get();
    const double near_distance = rays.get_tnear(ray);
    const GasLaneRay lane_ray(gas_host::get_line(data, ray), near_distance);
    const float time = gas_host::get_time(data, ray);
    Query query(ctx, data, ray);
    const auto call_leaf = [&](unsigned leaf) {
        probe.call_leaf();
        Query::template call_leaf<Nodes<Tree>::is_motion>(tree, ctx, leaf, eval, shader, rays);
    };

    if (query.try_cached_leaf(tree, ctx, call_leaf))
        return;
    const Nodes<Tree> nodes(tree, ctx, shader, time);
    GasTraversalAccess::init_traversal(tree, ctx);

    GasWalkPosition at = {ctx.stack, 0, 0, static_cast<float>(near_distance)};
    double bound = query.get_bound();
    SimdF far_distance(static_cast<float>(bound));
    bool walking = nodes.is_ready();
    while (walking) {
        // Down from the current node, until a leaf or nothing is left below.
        while (!Query::is_beyond(at.entry_distance, bound)) {
            if (GasTraversalAccess::is_node_a_leaf(tree, ctx, at.node)) {
                const unsigned leaf = GasTraversalAccess::get_leaf_value(tree, ctx, at.node);
                if (query.visit_leaf(tree, leaf, call_leaf)) {
                    GasTraversalAccess::deinit_traversal(tree, ctx);
                    return;
                }
                bound = query.get_bound();
                far_distance = SimdF(static_cast<float>(bound));
                break;
            }
            probe.visit_node();
            if (!gas_descend(tree, ctx, nodes, lane_ray, far_distance, at))
                break;
        }
        walking = at.pop();
    }
    query.finish();
    GasTraversalAccess::deinit_traversal(tree, ctx);
}
