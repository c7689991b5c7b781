#pragma once

#include <algorithm>

#include <gas/traversal/gas_ray_entry.h>
#include <gas/traversal/gas_stream_query.h>
#include <gas/traversal/gas_wide_stream.h>

/// Streams: batches of rays with no order between them, each answered as a single-ray query that
/// knows no cached leaf.

/// One query over the rays of a batch, in flight together where the tree has wide nodes.
template <typename Query, typename Nodes, typename Boxes, GasTraversable Tree> class GasRayStream {
  public:
    GasRayStream(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                 GeometryRaytraceData& view)
        : m_tree(tree), m_eval(eval), m_shader(shader), m_view(view),
          m_next_ray(gas_host::get_first_ray(view)), m_last_ray(gas_host::get_last_ray(view)) {}

    void trace() {
        if constexpr (GasWideTraversable<Tree>) {
            if (GasTraversalAccess::get_wide_nodes(m_tree))
                return trace_together();
        }
        while (m_next_ray <= m_last_ray)
            trace_alone(static_cast<unsigned>(m_next_ray++));
    }

  private:
    void trace_together() {
        const std::size_t stack_size = 2 * std::size_t{m_tree.get_depth()};
        const GasTreeCtxLease lease(m_shader, GasStreamLists::slot_count * stack_size);
        GasTreeCtx& ctx = lease.get();
        const auto start_next = [&](auto& slot) {
            unsigned step = take_next_ray;
            while (step == take_next_ray)
                step = start_ray(slot, ctx);
            return step;
        };
        const auto call_leaf = [&](unsigned leaf, unsigned ray) {
            select(ray);
            Query::template call_leaf<Boxes::is_motion>(m_tree, ctx, leaf, m_eval, m_shader,
                                                        gas_host::get_ctx(m_view));
        };
        gas_stream_wide_nodes<Boxes, Query>(m_tree, gas_get_wide_entries(ctx), stack_size,
                                            start_next, call_leaf);
    }

    /// Gives the next ray to `slot`; a ray that wide nodes cannot serve is traced here and now.
    template <typename Slot> unsigned start_ray(Slot& slot, GasTreeCtx& ctx) {
        if (m_next_ray > m_last_ray)
            return GasStreamLists::none;
        const auto ray = static_cast<unsigned>(m_next_ray++);
        const GasLaneRay lane_ray(gas_host::get_line(m_view, ray),
                                  gas_host::get_ctx(m_view).get_tnear(ray));
        const Boxes boxes(m_tree, m_shader, gas_host::get_time(m_view, ray));
        if (boxes.is_ready() && GasWideRay::can_trace(lane_ray))
            return slot.start(boxes, lane_ray, Query(ctx, m_view, ray), ray);
        trace_alone(ray);
        return take_next_ray;
    }

    void trace_alone(unsigned ray) {
        GasNoProbe probe;
        select(ray);
        gas_walk_ray<Nodes, Query>(m_tree, m_eval, m_shader, gas_host::get_ctx(m_view), ray, probe);
    }

    void select(unsigned ray) {
        gas_host::set_range(m_view, static_cast<int>(ray), static_cast<int>(ray));
    }

    const Tree& m_tree;
    const CtxEval& m_eval;
    CtxShader& m_shader;
    GeometryRaytraceData& m_view;
    int m_next_ray;
    const int m_last_ray;
};

template <typename Query, typename Nodes, typename Boxes, GasTraversable Tree>
void gas_stream_rays(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& rays) {
    const GeometryRaytraceData& data = gas_host::get_data(rays);
    if (!gas_has_work<Query>(tree, shader, data))
        return;
    const GasRaytraceFrameLease lease(shader);
    GeometryRaytraceData& view = lease.get().data;
    view = data;
    GasRayStream<Query, Nodes, Boxes, Tree>(tree, eval, shader, view).trace();
}

/// A static stream: all hits or nearest, as `Query` says.
template <typename Query, GasTraversable Tree>
void gas_stream_static(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& rays, bool single_leaf_shortcut) {
    using Nodes = typename GasNodeSources<Tree>::Static;
    GasNoProbe probe;
    if (!gas_call_single_leaf<false, Query>(tree, eval, shader, rays, single_leaf_shortcut, probe))
        gas_stream_rays<Query, Nodes, GasWideStaticBoxes>(tree, eval, shader, rays);
}

/// A motion stream. A tree with fewer than two samples is traced as a static one, callback
/// included.
template <typename Query, GasTraversable Tree>
void gas_stream_motion(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& rays, bool single_leaf_shortcut) {
    using StaticNodes = typename GasNodeSources<Tree>::Static;
    using MotionNodes = typename GasNodeSources<Tree>::Motion;
    GasNoProbe probe;
    if (gas_call_single_leaf<true, Query>(tree, eval, shader, rays, single_leaf_shortcut, probe))
        return;
    if (tree.get_motion_blur_sample_count() >= 2)
        gas_stream_rays<Query, MotionNodes, GasWideMotionBoxes>(tree, eval, shader, rays);
    else
        gas_stream_rays<Query, StaticNodes, GasWideStaticBoxes>(tree, eval, shader, rays);
}
