// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <cstddef>
#include <type_traits>

#include <gas/core/gas_reporting.h>
#include <gas/traversal/frame/gas_raytrace_frame.h>
#include <gas/traversal/packet/gas_packet_walk.h>
#include <gas/traversal/query/gas_ray_query.h>
#include <gas/traversal/single/gas_ray_walk.h>
#include <gas/traversal/wide/gas_ray_stream.h>
#include <gas/traversal/wide/gas_wide_pair_walk.h>
#include <gas/traversal/wide/gas_wide_walk.h>

inline namespace gas_abi1 {

/// Where rays go. The first line that fits counts; a motion query of a tree with fewer than two
/// samples is the static one from the second line on.
///
///   one leaf, and the shortcut is asked for      its callback, once for the whole range
///   no node, no frames, no ray in range          nowhere
///   a stream, nodes that serve it                GasRayStream               wide/gas_ray_stream.h
///   a stream                                     one ray after the other, as below
///   several rays, closest hit, static            gas_walk_packets        packet/gas_packet_walk.h
///   several rays                                 one ray after the other, as below
///   one ray, its cached leaf stops it            nowhere
///   one ray, wide nodes, branches do not suit it gas_walk_wide_pairs    wide/gas_wide_pair_walk.h
///   one ray, with wide nodes                     gas_walk_wide_nodes         wide/gas_wide_walk.h
///   one ray                                      gas_walk_nodes            single/gas_ray_walk.h
///
/// Wide nodes serve a ray if its line is one that they can test and, in motion, the samples around
/// its time have them. Streams are served by wide nodes and by those of compressed trees
/// and grids (GasStreamSources). `Leaves` says what a leaf is: an item, or a cell of a grid.

template <typename Tree, bool is_motion>
using GasNodeSource = std::conditional_t<is_motion, typename GasNodeSources<Tree>::Motion,
                                         typename GasNodeSources<Tree>::Static>;
template <typename Tree, typename Leaves, bool is_motion>
using GasStreamSource =
    std::conditional_t<is_motion, typename GasStreamSources<Tree, Leaves>::Motion,
                       typename GasStreamSources<Tree, Leaves>::Static>;
template <bool is_motion>
using GasWideBoxes = std::conditional_t<is_motion, GasWideMotionBoxes, GasWideStaticBoxes>;

/// Traces one ray over wide nodes, `by_pairs` or by branches; `cache` is the ray's. The caller
/// holds a lease, for the frame that is taken here. A function without a cleanup of its own, which
/// takes no address of what the walk uses: GCC keeps nothing in registers beside a call that a
/// cleanup may follow.
template <GasRayCall call, GasRayWay way, typename Leaves, bool by_pairs, GasTraversable Tree,
          typename Probe>
GAS_NO_INLINE void gas_trace_wide_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                                      GeometryRaytraceCtx& rays, unsigned ray,
                                      typename GasRayQuery<call, way>::Cache cache, Probe probe) {
    using Query = GasRayQuery<call, way>;
    using Nodes = GasNodeSource<Tree, gas_is_motion(call)>;
    GasTreeCtx& ctx = GasTreeCtxLease::take(shader, 2 * std::size_t{tree.get_depth()});
    GeometryRaytraceData& data = gas_host::get_data(rays);
    using CallLeaf = typename Leaves::template Caller<call, Tree, Probe>;
    const CallLeaf call_leaf = {tree, eval, shader, rays, probe};
    Query query(ctx, data, ray, cache);
    if (query.template try_cached_leaf<Nodes::checks_cached_leaf>(tree, ctx, call_leaf))
        return;
    // Leaves of its own, for those of the walk are to have no address.
    const auto resume = [&](const auto& rest) GAS_FORCE_INLINE_LAMBDA {
        gas_walk_binary_nodes<Nodes>(ctx, ray, rest, CallLeaf{tree, eval, shader, rays, probe});
    };
    const GasLaneRay lane_ray = gas_get_lane_ray(rays, ray);
    if (!GasWideRay::can_trace(lane_ray)) [[unlikely]]
        return resume(query);
    const GasWideBoxes<gas_is_motion(call)> boxes(tree, shader, gas_host::get_time(data, ray));
    if (!boxes.is_ready()) [[unlikely]]
        return resume(query);
    if constexpr (by_pairs)
        gas_walk_wide_pairs(boxes, lane_ray, tree, ctx, query, call_leaf, resume, probe);
    else
        gas_walk_wide_nodes(boxes, lane_ray, tree, ctx, query, call_leaf, resume, probe);
}

/// The same over the tree's own nodes.
template <GasRayCall call, GasRayWay way, typename Leaves, GasTraversable Tree, typename Probe>
GAS_NO_INLINE void gas_trace_binary_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& rays, unsigned ray,
                                        typename GasRayQuery<call, way>::Cache cache, Probe probe) {
    using Query = GasRayQuery<call, way>;
    using Nodes = GasNodeSource<Tree, gas_is_motion(call)>;
    GasTreeCtx& ctx = GasTreeCtxLease::take(shader, 2 * std::size_t{tree.get_depth()});
    const typename Leaves::template Caller<call, Tree, Probe> call_leaf = {tree, eval, shader, rays,
                                                                           probe};
    Query query(ctx, gas_host::get_data(rays), ray, cache);
    if (!query.template try_cached_leaf<Nodes::checks_cached_leaf>(tree, ctx, call_leaf))
        gas_walk_binary_nodes<Nodes>(ctx, ray, query, call_leaf);
}

/// Traces one ray; `probe` hears of the nodes and leaves. The shader has frames, the tree a root.
template <GasRayCall call, GasRayWay way, typename Leaves, GasTraversable Tree, typename Probe>
GAS_FORCE_INLINE void gas_trace_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& rays, unsigned ray, Probe probe) {
    using Query = GasRayQuery<call, way>;
    const GasTreeCtxLease lease(shader);
    const auto cache = Query::get_cache(lease.get(), gas_host::get_data(rays), ray);
    if constexpr (GasWideTraversable<Tree>) {
        if (GasTraversalAccess::get_wide_nodes(tree)) {
            if (Query::suits_branches(cache))
                gas_trace_wide_ray<call, way, Leaves, false>(tree, eval, shader, rays, ray, cache,
                                                             probe);
            else
                gas_trace_wide_ray<call, way, Leaves, true>(tree, eval, shader, rays, ray, cache,
                                                            probe);
            return;
        }
    }
    gas_trace_binary_ray<call, way, Leaves>(tree, eval, shader, rays, ray, cache, probe);
}

/// Traces the rays of a range on their own, in ascending order or as a stream. A callback sees a
/// context over a private copy of the batch's view, whose range is the one ray being traced.
template <GasRayCall call, GasRayWay way, typename Leaves, GasTraversable Tree, typename Probe>
void gas_trace_each_ray(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                        const GeometryRaytraceData& data, Probe probe) {
    const GasRaytraceFrameLease lease(shader);
    GeometryRaytraceData& view = lease.get().data;
    view = data;
    const auto first = static_cast<unsigned>(gas_host::get_first_ray(view));
    const unsigned end = static_cast<unsigned>(gas_host::get_last_ray(view)) + 1;
    const auto trace_alone = [&](unsigned ray) {
        gas_host::set_range(view, static_cast<int>(ray), static_cast<int>(ray));
        gas_trace_ray<call, way, Leaves>(tree, eval, shader, gas_host::get_ctx(view), ray, probe);
    };
    if constexpr (way == GasRayWay::stream && GasStreamSources<Tree, Leaves>::exist) {
        if (GasStreamSources<Tree, Leaves>::have(tree)) {
            using Nodes = GasNodeSource<Tree, gas_is_motion(call)>;
            using StreamNodes = GasStreamSource<Tree, Leaves, gas_is_motion(call)>;
            const typename Leaves::template Caller<call, Tree, Probe> call_leaf = {
                tree, eval, shader, gas_host::get_ctx(view), probe};
            GasRayStream<GasRayQuery<call, way>, Nodes, StreamNodes, Tree, decltype(call_leaf),
                         decltype(trace_alone), Probe>(tree, shader, view, call_leaf, trace_alone,
                                                       probe)
                .trace(first, end);
            return;
        }
    }
    for (unsigned ray = first; ray < end; ++ray)
        trace_alone(ray);
}

constexpr GasReportTopic gas_get_missing_callback(GasRayCall call) {
    return static_cast<GasReportTopic>(static_cast<unsigned>(GasReportTopic::no_hit_static) +
                                       static_cast<unsigned>(call));
}
static_assert(gas_get_missing_callback(GasRayCall::nearest_motion) ==
              GasReportTopic::no_nearest_motion);

/// Reports a leaf callback that was never set.
template <GasRayCall call, typename Leaves, GasTraversable Tree>
GAS_FORCE_INLINE void gas_look_at_callback(const Tree& tree) {
    if (Leaves::template get_callback<call>(tree) == GasLeafCallbacks::ignore) [[unlikely]]
        gas_report(gas_get_missing_callback(call), Leaves::get_asked(tree));
}

/// Whether there is a tree, frames, and a ray in range; reports and asserts what the contract
/// demands of them.
template <typename Query, typename Leaves, GasTraversable Tree>
bool gas_has_work(const Tree& tree, CtxShader& shader, const GeometryRaytraceData& data) {
    if (tree.get_node_count() == 0)
        return false;
    if (!gas_host::get_tree_ctx_slot(shader) || !gas_host::get_ray_frame_slot(shader))
        [[unlikely]] {
        gas_report(GasReportTopic::no_frames, Leaves::get_asked(tree));
        return false;
    }
    const int first = gas_host::get_first_ray(data);
    const int last = gas_host::get_last_ray(data);
    if (first > last)
        return false;
    const bool valid = first >= 0 && static_cast<unsigned>(last) < gas_host::get_ray_count(data);
    if (!valid) [[unlikely]]
        gas_report(GasReportTopic::range_outside, Leaves::get_asked(tree));
    assert(valid && "a batch's range lies within its rays");
    const bool traceable = Query::can_trace(data);
    if (!traceable) [[unlikely]]
        gas_report(GasReportTopic::no_intersection_map, Leaves::get_asked(tree));
    assert(traceable && "a nearest-hit query needs an intersection map with a path for each ray");
    return valid && traceable;
}

/// The lines of the table between the shortcut and the single ray.
template <GasRayCall call, GasRayWay way, typename Leaves, GasTraversable Tree, typename Probe>
void gas_trace_range(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& rays, Probe probe) {
    const GeometryRaytraceData& data = gas_host::get_data(rays);
    if (!gas_has_work<GasRayQuery<call, way>, Leaves>(tree, shader, data))
        return;
    gas_look_at_callback<call, Leaves>(tree);
    const int first = gas_host::get_first_ray(data);
    if constexpr (way == GasRayWay::query) {
        if (first == gas_host::get_last_ray(data)) {
            gas_trace_ray<call, way, Leaves>(tree, eval, shader, rays, static_cast<unsigned>(first),
                                             probe);
            return;
        }
    }
    if constexpr (way == GasRayWay::query && call == GasRayCall::nearest_static)
        gas_walk_packets<Leaves>(tree, eval, shader, rays, probe);
    else
        gas_trace_each_ray<call, way, Leaves>(tree, eval, shader, data, probe);
}

/// A query or a stream of a tree, as the table says. `single_leaf_shortcut`: a lone leaf is called
/// in place of a walk, with neither a box test nor frames.
template <GasRayCall call, GasRayWay way, typename Leaves = GasItemLeaves, GasTraversable Tree,
          typename Probe = GasNoProbe>
void gas_dispatch_rays(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& rays, bool single_leaf_shortcut, Probe probe = {}) {
    if (single_leaf_shortcut && tree.get_leaf_count() == 1) {
        gas_look_at_callback<call, Leaves>(tree);
        const unsigned leaf = 0;
        typename Leaves::template Caller<call, Tree, Probe>{tree, eval, shader, rays, probe}(leaf);
        return;
    }
    if constexpr (gas_is_motion(call)) {
        if (tree.get_motion_blur_sample_count() < 2) {
            gas_trace_range<gas_without_motion(call), way, Leaves>(tree, eval, shader, rays, probe);
            return;
        }
    }
    gas_trace_range<call, way, Leaves>(tree, eval, shader, rays, probe);
}

} // namespace gas_abi1
