// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include <gas/core/gas_compiler.h>
#include <gas/traversal/single/gas_ray_walk.h>
#include <gas/traversal/wide/gas_wide_stream_nodes.h>

inline namespace gas_abi1 {

/// Streams: batches of rays with no order between them, each answered as a single-ray query that
/// knows no cached leaf.

/// Which nodes the rays of a trial went through, and what rays in succession share of them.
///
/// Counted alone, so that the same rays always suggest the same. Each ray has a set of bits, and a
/// node the bit that a hash of its number gives; that nodes share bits blurs the shares of rays
/// with hundreds of nodes a little.
class GasStreamTrial {
  public:
    static constexpr unsigned ray_count = 128;

    /// A ray of the trial starts. One that goes alone, whatever the others do, visits nothing here.
    void start_ray(unsigned ray) { get_nodes(ray) = {}; }
    void visit_node(unsigned ray, unsigned node) {
        const unsigned bit = node * 0x9E3779B1u >> 24;
        Visited& visited = get_nodes(ray);
        visited.words[bit / 64] |= std::uint64_t{1} << bit % 64;
        ++visited.node_count;
    }

    void visit_leaf(unsigned ray) { ++get_nodes(ray).leaf_count; }

    /// Whether more than the share `most_leaves` of what the rays visit is leaves. Such rays go
    /// from leaf to leaf, with few nodes to wait for between. Alone a ray has its callbacks to
    /// itself; in flight each callback is for another ray than the one before.
    bool visits_leaves_mostly(GasStreamShare most_leaves) const {
        std::uint64_t leaf_count = 0;
        std::uint64_t count = 0;
        for (const Visited& visited : m_rays) {
            leaf_count += visited.leaf_count;
            count += visited.leaf_count + visited.node_count;
        }
        return most_leaves.whole * leaf_count > most_leaves.part * count;
    }

    /// Whether rays go through what the ray before went through, so that each is better traced
    /// alone. The trial was over `ray_count` rays from `first` on.
    ///
    /// Alone a ray costs less for each node, but waits at nodes that the ray before did not visit.
    /// It pays while no more than the share `most_differing` of a ray's nodes is visited by only
    /// one of two rays.
    bool is_coherent(unsigned first, GasStreamShare most_differing) const {
        unsigned visited = 0;
        unsigned differing = 0;
        for (unsigned i = 1; i < ray_count; ++i) {
            const Visited& nodes = m_rays[(first + i) % ray_count];
            const Visited& before = m_rays[(first + i - 1) % ray_count];
            for (unsigned word = 0; word < Visited::word_count; ++word) {
                visited += count(nodes.words[word]);
                differing += count(nodes.words[word] ^ before.words[word]);
            }
        }
        return most_differing.whole * differing <= most_differing.part * visited;
    }

  private:
    struct Visited {
        static constexpr unsigned word_count = 4;
        std::uint64_t words[word_count];
        std::uint64_t node_count;
        std::uint64_t leaf_count;
    };

    static unsigned count(std::uint64_t word) { return static_cast<unsigned>(std::popcount(word)); }

    Visited& get_nodes(unsigned ray) { return m_rays[ray % ray_count]; }

    Visited m_rays[ray_count] = {};
};

/// For rays that are in no trial.
struct GasNoStreamTrial {
    static void start_ray(unsigned) {}
    static void visit_node(unsigned, unsigned) {}
    static void visit_leaf(unsigned) {}
};

/// One query over the rays of a batch in a tree that has `Nodes` for streams: in flight together,
/// or one by one where they are coherent, few, or go from leaf to leaf.
///
/// In flight, no ray waits for memory or for a mispredicted branch. Coherent rays, which go where
/// the ray before them went, wait for neither when they go alone, with half of the instructions: up
/// to twice as fast for rays from a camera in a small scene, while incoherent rays are that much
/// faster together. So the first rays of every couple of thousands, a trial, go together, and the
/// others as those suggest. Which way rays go depends on the batch alone.
///
/// `call_leaf` calls a leaf of the ray in the view's range; `trace_alone(ray)` traces one. Where a
/// leaf is no item, `CallLeaf` may have a `Flight` that visits leaves, as GasStreamItems does.
template <typename Query, typename BinaryNodes, typename Nodes, GasTraversable Tree,
          typename CallLeaf, typename TraceAlone, typename Probe>
class GasRayStream {
  public:
    GasRayStream(const Tree& tree, CtxShader& shader, GeometryRaytraceData& view,
                 const CallLeaf& call_leaf, const TraceAlone& trace_alone, Probe probe)
        : m_tree(tree), m_shader(shader), m_view(view), m_call_leaf(call_leaf),
          m_trace_alone(trace_alone), m_probe(probe) {}

    void trace(unsigned first, unsigned end) {
        m_next_ray = first;
        if (end - m_next_ray < Nodes::least_together) {
            trace_one_by_one(end);
            return;
        }
        if (end - m_next_ray >= least_for_trial)
            trace_as_trials_suggest(end);
        GasNoStreamTrial none;
        trace_together(end, none);
    }

  private:
    static constexpr unsigned least_for_trial = 2 * GasStreamTrial::ray_count;
    static constexpr unsigned rays_between_trials = 2048;

    /// Until too few rays for a trial are left. Not in the frame of a small stream: a trial takes
    /// four kilobytes.
    GAS_NO_INLINE void trace_as_trials_suggest(unsigned end) {
        GasStreamTrial trial;
        GasNoStreamTrial none;
        do {
            const unsigned first = m_next_ray;
            trace_together(first + GasStreamTrial::ray_count, trial);
            const unsigned left = end - m_next_ray;
            const unsigned next_trial =
                m_next_ray + (left < rays_between_trials ? left : rays_between_trials);
            if (trial.is_coherent(first, Nodes::most_differing) ||
                trial.visits_leaves_mostly(Nodes::most_leaves))
                trace_one_by_one(next_trial);
            else
                trace_together(next_trial, none);
        } while (end - m_next_ray >= least_for_trial);
    }

    void trace_one_by_one(unsigned end) {
        while (m_next_ray < end)
            m_trace_alone(m_next_ray++);
    }

    template <typename Trial> void trace_together(unsigned end, Trial& trial) {
        const GasStreamStacks<Nodes> stacks(m_shader, m_tree.get_depth());
        GasTreeCtx& ctx = stacks.get_ctx();
        const auto start_next = [&](auto& slot) {
            unsigned step = GasStreamStep::take_next_ray;
            while (step == GasStreamStep::take_next_ray && m_next_ray < end) {
                trial.start_ray(m_next_ray);
                step = start_ray(slot, ctx);
            }
            return step;
        };
        const auto visit_node = [&](unsigned node, unsigned ray) {
            m_probe.visit_node();
            trial.visit_node(ray, node);
        };
        const auto resume = [&](unsigned ray, const GasResumedQuery<Query>& query) {
            select(ray);
            const GasTreeCtxLease next(m_shader, 2 * std::size_t{m_tree.get_depth()});
            gas_walk_binary_nodes<BinaryNodes>(next.get(), ray, query, m_call_leaf);
        };
        GasStreamRay<Nodes, Query> rays[GasStreamLists::slot_count];
        stacks.give_to(rays);
        const auto stream = [&](auto& leaves) {
            gas_stream_nodes(rays, m_tree, start_next, visit_node, leaves, resume);
        };
        if constexpr (requires { typename CallLeaf::template Flight<Query>; }) {
            typename CallLeaf::template Flight<Query> leaves(m_call_leaf, m_view);
            stream(leaves);
        } else {
            const auto call_leaf = [&](unsigned leaf, unsigned ray) {
                select(ray);
                trial.visit_leaf(ray);
                m_call_leaf(leaf);
            };
            GasStreamItems leaves(call_leaf);
            stream(leaves);
        }
    }

    /// Gives the next ray to `slot`; a ray that the nodes cannot serve is traced here and now.
    template <typename Slot> unsigned start_ray(Slot& slot, GasTreeCtx& ctx) {
        const unsigned ray = m_next_ray++;
        const GasLaneRay lane_ray = gas_get_lane_ray(gas_host::get_ctx(m_view), ray);
        const Nodes nodes(m_tree, ctx, m_shader, gas_host::get_time(m_view, ray));
        if (nodes.can_trace(lane_ray))
            return slot.start(nodes, lane_ray, Query(ctx, m_view, ray), ray);
        m_trace_alone(ray);
        return GasStreamStep::take_next_ray;
    }

    void select(unsigned ray) {
        gas_host::set_range(m_view, static_cast<int>(ray), static_cast<int>(ray));
    }

    const Tree& m_tree;
    CtxShader& m_shader;
    GeometryRaytraceData& m_view;
    const CallLeaf& m_call_leaf;
    const TraceAlone& m_trace_alone;
    [[no_unique_address]] Probe m_probe;
    unsigned m_next_ray = 0;
};

} // namespace gas_abi1
