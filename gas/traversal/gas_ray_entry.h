#pragma once

#include <cassert>
#include <cstddef>
#include <type_traits>

#include <gas/traversal/frame/gas_raytrace_frame.h>
#include <gas/traversal/packet/gas_packet_walk.h>
#include <gas/traversal/single/gas_ray_walk.h>
#include <gas/traversal/wide/gas_wide_walk.h>

inline namespace gas_abi1 {

/// Before the walk: the shortcut for one leaf, missing frames, one ray or a batch.

/// Traces one ray, as the query says; `probe` hears of every leaf callback, too. The shader has
/// frames and the tree a root.
template <typename Nodes, typename Query, GasTraversable Tree, typename Probe>
void gas_walk_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                  GeometryRaytraceCtx& rays, unsigned ray, Probe& probe) {
    GeometryRaytraceData& data = gas_host::get_data(rays);
    const GasTreeCtxLease lease(shader, 2 * std::size_t{tree.get_depth()});
    GasTreeCtx& ctx = lease.get();
    const GasLaneRay lane_ray(gas_host::get_line(data, ray), rays.get_tnear(ray));
    const float time = gas_host::get_time(data, ray);
    Query query(ctx, data, ray);
    const auto call_leaf = [&](unsigned leaf) {
        probe.call_leaf();
        Query::template call_leaf<Nodes::is_motion>(tree, ctx, leaf, eval, shader, rays);
    };

    if (query.template try_cached_leaf<Nodes::checks_cached_leaf>(tree, ctx, call_leaf))
        return;
    if constexpr (GasWideTraversable<Tree> && std::is_same_v<Probe, GasNoProbe>) {
        using Boxes = std::conditional_t<Nodes::is_motion, GasWideMotionBoxes, GasWideStaticBoxes>;
        if (GasTraversalAccess::get_wide_nodes(tree) && GasWideRay::can_trace(lane_ray)) {
            const Boxes boxes(tree, shader, time);
            if (boxes.is_ready()) {
                GasBoundHistory<Query> history(query.get_bound());
                if (!gas_walk_wide_nodes(boxes, lane_ray, tree, ctx, query, call_leaf, history))
                    gas_resume_walk<Nodes>(lane_ray, time, tree, ctx, eval, shader, rays, query,
                                           history);
                return;
            }
        }
    }
    Nodes nodes(tree, ctx, shader, time);
    gas_walk_nodes(nodes, lane_ray, tree, ctx, query, call_leaf, probe);
}

/// Whether there is a tree, frames, and a ray in range; asserts what the contract demands of them.
template <typename Query, GasTraversable Tree>
bool gas_has_work(const Tree& tree, CtxShader& shader, const GeometryRaytraceData& data) {
    if (tree.get_node_count() == 0 || !gas_host::get_tree_ctx_slot(shader) ||
        !gas_host::get_ray_frame_slot(shader))
        return false;
    const int first = gas_host::get_first_ray(data);
    const int last = gas_host::get_last_ray(data);
    if (first > last)
        return false;
    const bool valid = first >= 0 && static_cast<unsigned>(last) < gas_host::get_ray_count(data);
    assert(valid && "a batch's range lies within its rays");
    const bool traceable = Query::can_trace(data);
    assert(traceable && "a nearest-hit query needs an intersection map with a path for each ray");
    return valid && traceable;
}

/// Walks the tree for the rays of the range. Several rays of a static nearest-hit query go together
/// as packets; otherwise they go one by one, in ascending order, and a callback sees a context
/// whose range is the one ray being traced: the caller's own where that is a single ray, else one
/// over a private copy of the batch's view.
template <typename Nodes, typename Query, GasTraversable Tree, typename Probe>
void gas_walk_batch(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& rays, Probe& probe) {
    const GeometryRaytraceData& data = gas_host::get_data(rays);
    if (!gas_has_work<Query>(tree, shader, data))
        return;
    const int first = gas_host::get_first_ray(data);
    const int last = gas_host::get_last_ray(data);
    if (first == last) {
        gas_walk_ray<Nodes, Query>(tree, eval, shader, rays, static_cast<unsigned>(first), probe);
        return;
    }
    if constexpr (Query::goes_in_packets && !Nodes::is_motion) {
        gas_walk_packets(tree, eval, shader, rays, probe);
    } else {
        const GasRaytraceFrameLease lease(shader);
        GeometryRaytraceData& view = lease.get().data;
        view = data;
        for (int ray = first; ray <= last; ++ray) {
            gas_host::set_range(view, ray, ray);
            gas_walk_ray<Nodes, Query>(tree, eval, shader, gas_host::get_ctx(view),
                                       static_cast<unsigned>(ray), probe);
        }
    }
}

/// Whether a tree's one leaf was called in place of a walk. The shortcut needs neither a box test
/// nor frames, and hands the callback the whole range.
template <bool is_motion, typename Query, GasTraversable Tree, typename Probe>
bool gas_call_single_leaf(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                          GeometryRaytraceCtx& rays, bool single_leaf_shortcut, Probe& probe) {
    if (!single_leaf_shortcut || tree.get_leaf_count() != 1)
        return false;
    probe.call_leaf();
    // The leaf dispatch ignores its frame, and a shader without frames has none to lend.
    GasTreeCtx no_frame;
    Query::template call_leaf<is_motion>(tree, no_frame, 0u, eval, shader, rays);
    return true;
}

/// A static query: all hits or nearest, as `Query` says.
template <typename Query, GasTraversable Tree, typename Probe>
void gas_trace_static(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& rays, bool single_leaf_shortcut, Probe& probe) {
    if (!gas_call_single_leaf<false, Query>(tree, eval, shader, rays, single_leaf_shortcut, probe))
        gas_walk_batch<typename GasNodeSources<Tree>::Static, Query>(tree, eval, shader, rays,
                                                                     probe);
}

/// A motion query. A tree with fewer than two samples is traced as a static one, callback included.
template <typename Query, GasTraversable Tree, typename Probe>
void gas_trace_motion(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& rays, bool single_leaf_shortcut, Probe& probe) {
    if (gas_call_single_leaf<true, Query>(tree, eval, shader, rays, single_leaf_shortcut, probe))
        return;
    if (tree.get_motion_blur_sample_count() >= 2)
        gas_walk_batch<typename GasNodeSources<Tree>::Motion, Query>(tree, eval, shader, rays,
                                                                     probe);
    else
        gas_walk_batch<typename GasNodeSources<Tree>::Static, Query>(tree, eval, shader, rays,
                                                                     probe);
}

} // namespace gas_abi1
