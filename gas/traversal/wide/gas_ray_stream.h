#pragma once

#include <chrono>

#include <gas/traversal/single/gas_ray_walk.h>
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

/// One query over the rays of a batch in a tree with wide nodes: in flight together, or one by one
/// where that is faster.
///
/// In flight, no ray waits for memory or for a mispredicted branch. Rays that do what the ray
/// before them did, in a tree that the cache holds, wait for neither when they go alone, with half
/// of the instructions. Nothing about rays or tree tells beforehand what holds, so that a few rays
/// of every couple of thousands go each way, by the clock: up to three times as fast for rays from
/// a camera in a small scene, for 2 or 3 % of the time of others.
///
/// `call_leaf` calls a leaf of the ray in the view's range; `trace_alone(ray)` traces one.
template <typename Query, typename Nodes, typename Boxes, GasTraversable Tree, typename CallLeaf,
          typename TraceAlone, typename Probe>
class GasRayStream {
  public:
    GasRayStream(const Tree& tree, CtxShader& shader, GeometryRaytraceData& view,
                 const CallLeaf& call_leaf, const TraceAlone& trace_alone, const Probe& probe)
        : m_tree(tree), m_shader(shader), m_view(view), m_call_leaf(call_leaf),
          m_trace_alone(trace_alone), m_probe(probe) {}

    void trace(unsigned first, unsigned end) {
        m_next_ray = first;
        while (end - m_next_ray >= least_for_trial)
            trace_faster(end);
        trace_together(end);
    }

  private:
    static constexpr unsigned rays_alone = 32;
    static constexpr unsigned rays_together = 128;
    static constexpr unsigned least_for_trial = 256;
    static constexpr unsigned rays_between_trials = 2048;

    /// Finds out which way is faster and sends some rays that way.
    void trace_faster(unsigned batch_end) {
        const double alone =
            gas_get_time_per_ray(rays_alone, [&] { trace_one_by_one(m_next_ray + rays_alone); });
        const double together = gas_get_time_per_ray(
            rays_together, [&] { trace_together(m_next_ray + rays_together); });
        const unsigned left = batch_end - m_next_ray;
        const unsigned end = m_next_ray + (left < rays_between_trials ? left : rays_between_trials);
        // The rays that are left at the end of a trial are too few to fill the flight.
        if (alone < 0.9 * together)
            trace_one_by_one(end);
        else
            trace_together(end);
    }

    void trace_one_by_one(unsigned end) {
        while (m_next_ray < end)
            m_trace_alone(m_next_ray++);
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
            m_call_leaf(leaf);
        };
        const auto resume = [&](unsigned ray, const GasResumedQuery<Query>& query) {
            const GasTreeCtxLease next(m_shader, 2 * std::size_t{m_tree.get_depth()});
            gas_resume_walk<Nodes>(get_lane_ray(ray), gas_host::get_time(m_view, ray), m_tree,
                                   next.get(), m_shader, query, m_call_leaf, m_probe);
        };
        gas_stream_wide_nodes<Boxes, Query>(m_tree, gas_get_wide_entries(ctx), stack_size,
                                            start_next, call_leaf, resume, m_probe);
    }

    /// Gives the next ray to `slot`; a ray that wide nodes cannot serve is traced here and now.
    template <typename Slot> unsigned start_ray(Slot& slot, GasTreeCtx& ctx) {
        const unsigned ray = m_next_ray++;
        const GasLaneRay lane_ray = get_lane_ray(ray);
        const Boxes boxes(m_tree, m_shader, gas_host::get_time(m_view, ray));
        if (boxes.is_ready() && GasWideRay::can_trace(lane_ray))
            return slot.start(boxes, lane_ray, Query(ctx, m_view, ray), ray);
        m_trace_alone(ray);
        return take_next_ray;
    }

    GasLaneRay get_lane_ray(unsigned ray) const {
        return GasLaneRay(gas_host::get_line(m_view, ray),
                          gas_host::get_ctx(m_view).get_tnear(ray));
    }

    void select(unsigned ray) {
        gas_host::set_range(m_view, static_cast<int>(ray), static_cast<int>(ray));
    }

    const Tree& m_tree;
    CtxShader& m_shader;
    GeometryRaytraceData& m_view;
    const CallLeaf& m_call_leaf;
    const TraceAlone& m_trace_alone;
    const Probe& m_probe;
    unsigned m_next_ray = 0;
};

} // namespace gas_abi1
