#pragma once

#include <cassert>

#include <gas/traversal/gas_packet_walk.h>
#include <gas/traversal/gas_ray_walk.h>
#include <gas/traversal/gas_raytrace_frame.h>

/// Before the walk: the shortcut for one leaf, missing frames, one ray or a batch.

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
