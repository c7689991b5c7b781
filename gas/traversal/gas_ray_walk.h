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

/// Walks the tree for one ray, the nearer child first (the second where both are entered at the
/// same distance). `Nodes` says where boxes come from, `Query` what a hit means; `probe` hears of
/// every expanded node and every leaf callback. The shader has frames and the tree a root.
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

    GasStackEntry* const stack = ctx.stack;
    unsigned stack_size = 0;
    unsigned node = 0;
    float entry_distance = static_cast<float>(near_distance);
    double bound = query.get_bound();
    SimdF far_distance(static_cast<float>(bound));
    const auto push = [&](unsigned pending, float pending_entry) {
        stack[stack_size].node = pending;
        stack[stack_size].entry_distance = pending_entry;
        ++stack_size;
    };

    bool walking = nodes.is_ready();
    while (walking) {
        // Down from the current node, until a leaf or nothing is left below.
        while (!Query::is_beyond(entry_distance, bound)) {
            if (GasTraversalAccess::is_node_a_leaf(tree, ctx, node)) {
                const unsigned leaf = GasTraversalAccess::get_leaf_value(tree, ctx, node);
                if (query.visit_leaf(tree, leaf, call_leaf)) {
                    GasTraversalAccess::deinit_traversal(tree, ctx);
                    return;
                }
                bound = query.get_bound();
                far_distance = SimdF(static_cast<float>(bound));
                break;
            }
            probe.visit_node();
            unsigned first;
            unsigned second;
            GasTraversalAccess::get_node_children(tree, ctx, node, first, second);
            SimdF first_min, first_max, second_min, second_max, entries;
            nodes.get_bbox(first, first_min, first_max);
            nodes.get_bbox(second, second_min, second_max);
            const int hits = gas_test_box_pair(lane_ray, far_distance, first_min, first_max,
                                               second_min, second_max, entries);
            if (hits == 0)
                break;
            const float first_entry = entries.get_first();
            const float second_entry = entries.broadcast<1>().get_first();
            if (hits == 1 || (hits == 3 && second_entry > first_entry)) {
                if (hits == 3)
                    push(second, second_entry);
                node = first;
                entry_distance = first_entry;
            } else {
                if (hits == 3)
                    push(first, first_entry);
                node = second;
                entry_distance = second_entry;
            }
        }
        walking = stack_size > 0;
        if (walking) {
            --stack_size;
            node = stack[stack_size].node;
            entry_distance = stack[stack_size].entry_distance;
        }
    }
    query.finish();
    GasTraversalAccess::deinit_traversal(tree, ctx);
}
