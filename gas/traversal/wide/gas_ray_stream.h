#pragma once

#include <cstddef>
#include <cstdint>

#include <gas/traversal/single/gas_ray_walk.h>
#include <gas/traversal/wide/gas_wide_stream.h>

inline namespace gas_abi1 {

/// Streams: batches of rays with no order between them, each answered as a single-ray query that
/// knows no cached leaf.

/// What the rays of a trial did: whether rays in succession did the same.
///
/// A ray in flight makes one step a round. Two rays agree that met the same leaves, in the same
/// order, and took as many steps. Both numbers fall to the stream in passing: one operation for
/// each leaf, and two for each ray.
class GasStreamTrial {
  public:
    static constexpr unsigned ray_count = 128;

    void start_ray(unsigned ray, unsigned round) { m_rays[ray % ray_count] = {0, 0u - round}; }
    /// A ray that goes alone, whatever the others do.
    void skip_ray(unsigned ray) { m_rays[ray % ray_count] = {0, 0}; }
    void visit_leaf(unsigned ray, unsigned leaf) {
        std::uint32_t& leaves = m_rays[ray % ray_count].leaves;
        leaves = leaves * 0x01000193u + leaf + 1;
    }
    void end_ray(unsigned ray, unsigned round) { m_rays[ray % ray_count].steps += round; }

    /// Whether at least half of the rays did what the ray before them did. The trial was over
    /// `ray_count` rays from `first` on.
    bool is_coherent(unsigned first) const {
        unsigned agreed = 0;
        for (unsigned i = 1; i < ray_count; ++i) {
            const Ray& ray = m_rays[(first + i) % ray_count];
            const Ray& before = m_rays[(first + i - 1) % ray_count];
            agreed += ray.leaves == before.leaves && ray.steps == before.steps;
        }
        return 2 * agreed >= ray_count;
    }

  private:
    struct Ray {
        /// A hash of the leaves that were visited.
        std::uint32_t leaves;
        std::uint32_t steps;
    };
    Ray m_rays[ray_count] = {};
};

/// One query over the rays of a batch in a tree with wide nodes: in flight together, or one by one
/// where they are coherent.
///
/// In flight, no ray waits for memory or for a mispredicted branch. Coherent rays, which do what
/// the ray before them did, wait for neither when they go alone, with half of the instructions: up
/// to twice as fast for rays from a camera in a small scene, while incoherent rays are that much
/// faster together. So the first rays of every couple of thousands, a trial, go together, and the
/// others as those suggest. Which way rays go depends on the batch alone.
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
        while (end - m_next_ray >= least_for_trial) {
            const unsigned trial = m_next_ray;
            m_is_trial = true;
            trace_together(trial + GasStreamTrial::ray_count);
            m_is_trial = false;
            const unsigned left = end - m_next_ray;
            const unsigned next_trial =
                m_next_ray + (left < rays_between_trials ? left : rays_between_trials);
            if (m_trial.is_coherent(trial))
                trace_one_by_one(next_trial);
            else
                trace_together(next_trial);
        }
        trace_together(end);
    }

  private:
    static constexpr unsigned least_for_trial = 2 * GasStreamTrial::ray_count;
    static constexpr unsigned rays_between_trials = 2048;

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
        const auto start_next = [&](auto& slot, unsigned round) {
            if (m_is_trial)
                m_trial.end_ray(slot.get_ray_index(), round);
            unsigned step = GasStreamStep::take_next_ray;
            while (step == GasStreamStep::take_next_ray && m_next_ray < end)
                step = start_ray(slot, ctx, round);
            return step;
        };
        const auto call_leaf = [&](unsigned leaf, unsigned ray) {
            if (m_is_trial)
                m_trial.visit_leaf(ray, leaf);
            select(ray);
            m_call_leaf(leaf);
        };
        const auto resume = [&](unsigned ray, const GasResumedQuery<Query>& query) {
            const GasTreeCtxLease next(m_shader, 2 * std::size_t{m_tree.get_depth()});
            gas_resume_walk<Nodes>(get_lane_ray(ray), gas_host::get_time(m_view, ray), m_tree,
                                   next.get(), m_shader, query, m_call_leaf, m_probe);
        };
        gas_stream_wide_nodes<Boxes, Query>(m_tree, gas_view_stack<GasWideEntry>(ctx), stack_size,
                                            start_next, call_leaf, resume, m_probe);
    }

    /// Gives the next ray to `slot`; a ray that wide nodes cannot serve is traced here and now.
    template <typename Slot> unsigned start_ray(Slot& slot, GasTreeCtx& ctx, unsigned round) {
        const unsigned ray = m_next_ray++;
        const GasLaneRay lane_ray = get_lane_ray(ray);
        const Boxes boxes(m_tree, m_shader, gas_host::get_time(m_view, ray));
        if (boxes.is_ready() && GasWideRay::can_trace(lane_ray)) {
            m_trial.start_ray(ray, round);
            const unsigned step = slot.start(boxes, lane_ray, Query(ctx, m_view, ray), ray);
            if (step == GasStreamStep::take_next_ray)
                m_trial.end_ray(ray, round);
            return step;
        }
        m_trial.skip_ray(ray);
        m_trace_alone(ray);
        return GasStreamStep::take_next_ray;
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
    GasStreamTrial m_trial;
    bool m_is_trial = false;
    unsigned m_next_ray = 0;
};

} // namespace gas_abi1
