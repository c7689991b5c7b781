#pragma once

#include <chrono>

#include <gas/traversal/gas_ray_entry.h>
#include <gas/traversal/query/gas_stream_query.h>
#include <gas/traversal/wide/gas_wide_stream.h>

inline namespace gas_abi1 {

/// Streams: batches of rays with no order between them, each answered as a single-ray query that
/// knows no cached leaf.

/// How long `run` takes for each of `count` rays.
template <typename Run> double gas_get_time_per_ray(unsigned count, const Run& run) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    run();
    return std::chrono::duration<double>(Clock::now() - start).count() / count;
}

/// One query over the rays of a batch: in flight together, or one by one where that is faster or
/// the tree has no wide nodes.
///
/// In flight, nobody waits for memory or for a mispredicted branch. Rays that do what the ray
/// before them did, in a tree that the cache holds, wait for neither when they go alone, with half
/// of the instructions. Nothing about rays or tree tells beforehand what holds, so that a few rays
/// of every couple of thousands go each way, by the clock: up to three times as fast for rays from
/// a camera in a small scene, for 2 or 3 % of the time of others.
template <typename Query, typename Nodes, typename Boxes, GasTraversable Tree> class GasRayStream {
  public:
    GasRayStream(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                 GeometryRaytraceData& view)
        : m_tree(tree), m_eval(eval), m_shader(shader), m_view(view),
          m_next_ray(static_cast<unsigned>(gas_host::get_first_ray(view))),
          m_end(static_cast<unsigned>(gas_host::get_last_ray(view)) + 1) {}

    void trace() {
        if constexpr (GasWideTraversable<Tree>) {
            if (GasTraversalAccess::get_wide_nodes(m_tree)) {
                while (m_end - m_next_ray >= least_for_trial)
                    trace_faster();
                return trace_together(m_end);
            }
        }
        trace_one_by_one(m_end);
    }

  private:
    static constexpr unsigned rays_alone = 32;
    static constexpr unsigned rays_together = 128;
    static constexpr unsigned least_for_trial = 256;
    static constexpr unsigned rays_between_trials = 2048;

    /// Finds out which way is faster and sends some rays that way.
    void trace_faster() {
        const double alone =
            gas_get_time_per_ray(rays_alone, [&] { trace_one_by_one(m_next_ray + rays_alone); });
        const double together = gas_get_time_per_ray(
            rays_together, [&] { trace_together(m_next_ray + rays_together); });
        const unsigned left = m_end - m_next_ray;
        const unsigned end = m_next_ray + (left < rays_between_trials ? left : rays_between_trials);
        // The rays that are left at the end of a trial are too few to fill the flight.
        if (alone < 0.9 * together)
            trace_one_by_one(end);
        else
            trace_together(end);
    }

    void trace_one_by_one(unsigned end) {
        while (m_next_ray < end)
            trace_alone(m_next_ray++);
    }

    void trace_together(unsigned end) {
        const std::size_t stack_size = gas_get_stream_stack_size(m_tree.get_depth());
        constexpr std::size_t bytes_per_entry = sizeof(GasWideEntry);
        const GasTreeCtxLease lease(
            m_shader,
            GasStreamLists::slot_count * stack_size * bytes_per_entry / sizeof(GasStackEntry) + 1);
        GasTreeCtx& ctx = lease.get();
        const auto start_next = [&](auto& slot) {
            unsigned step = take_next_ray;
            while (step == take_next_ray && m_next_ray < end)
                step = start_ray(slot, ctx);
            return step;
        };
        const auto call_leaf = [&](unsigned leaf, unsigned ray) {
            select(ray);
            Query::template call_leaf<Boxes::is_motion>(m_tree, ctx, leaf, m_eval, m_shader,
                                                        gas_host::get_ctx(m_view));
        };
        const auto resume = [&](unsigned ray, Query& query, const auto& history) {
            const GasTreeCtxLease next(m_shader, 2 * std::size_t{m_tree.get_depth()});
            gas_resume_walk<Nodes>(get_lane_ray(ray), gas_host::get_time(m_view, ray), m_tree,
                                   next.get(), m_eval, m_shader, gas_host::get_ctx(m_view), query,
                                   history);
        };
        gas_stream_wide_nodes<Boxes, Query>(m_tree, gas_get_wide_entries(ctx), stack_size,
                                            start_next, call_leaf, resume);
    }

    /// Gives the next ray to `slot`; a ray that wide nodes cannot serve is traced here and now.
    template <typename Slot> unsigned start_ray(Slot& slot, GasTreeCtx& ctx) {
        const unsigned ray = m_next_ray++;
        const GasLaneRay lane_ray = get_lane_ray(ray);
        const Boxes boxes(m_tree, m_shader, gas_host::get_time(m_view, ray));
        if (boxes.is_ready() && GasWideRay::can_trace(lane_ray))
            return slot.start(boxes, lane_ray, Query(ctx, m_view, ray), ray);
        trace_alone(ray);
        return take_next_ray;
    }

    GasLaneRay get_lane_ray(unsigned ray) const {
        return GasLaneRay(gas_host::get_line(m_view, ray),
                          gas_host::get_ctx(m_view).get_tnear(ray));
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
    unsigned m_next_ray;
    const unsigned m_end;
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

} // namespace gas_abi1
