// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <apps/common/instruction_set.h>
#include <apps/common/tree_calls.h>
#include <apps/common/walk_name.h>

#include <bench/bench_part_trees.h>
#include <bench/bench_trace_target.h>
#include <bench/bench_trees.h>

namespace gas_bench {

enum class Query {
    nearest, ///< the nearest (closest) hit
    any,     ///< any hit (occluded); stops at the first
    all,     ///< every hit
};

/// Sets a ray of the batch.
void set_ray(GeometryRayBatch& batch, unsigned index, const Ray& ray);

/// A tree over a scene, and all that a thread needs to trace it. Instantiated for the tree classes
/// of bench_trees.h.
template <typename Tree> class Tracer {
  public:
    /// The scene outlives the tracer. Builds with the default method and, if rays `may_move`, two
    /// motion-blur samples. A grid then builds its cells when rays first reach them. Where the
    /// scene has parts, trees nest; a grid, whose cells nest already, is one over all items.
    explicit Tracer(const Scene& scene, bool may_move = true);
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    ~Tracer();

    /// Whether the leaf callbacks do nothing from now on; not for grids, whose cells keep theirs.
    void set_empty_leaves(bool are_empty);
    /// Sets the rays (they outlive their use) and the query, and clears the caches of earlier
    /// rays.
    void prepare(const std::vector<Ray>& rays, Query query, bool in_motion);
    /// Clears all hits, so that the prepared rays may be traced again.
    void forget_hits();
    /// Traces all prepared rays one by one, a call per ray.
    void trace_rays();
    /// Traces all prepared rays by one call, in no order between them.
    void trace_stream();

    /// `forget_hits`, then `trace_rays`.
    void trace();
    /// What `trace` and, of packets, `trace_packets` time: the way, the width of nodes and the
    /// instruction set.
    std::string describe_walk(bool in_packets) const {
        const unsigned width = gas_app::get_node_width(TreeKind<Tree>::is_wide && !in_packets);
        return gas_app::describe_walk(in_packets ? "packets" : "single", std::to_string(width),
                                      gas_app::get_instruction_set_name());
    }
    /// As `trace`, through the counting engines. Where trees nest, all of them count.
    GasWalkCounts trace_counted() { return sum_counts(trace_counted_by_ray()); }
    /// The same for each ray.
    std::vector<GasWalkCounts> trace_counted_by_ray();
    /// As `forget_hits` and `trace_stream`, through the counting engines.
    GasWalkCounts trace_stream_counted();

    /// Sets rays that are traced for their nearest hits in batches of `packet_size`, each with its
    /// frustum unless there are none. Rays and frusta outlive their use.
    void prepare_packets(const std::vector<Ray>& rays, unsigned packet_size,
                         const std::vector<GMathFrustum>& frusta);
    /// Traces all prepared packets, each by one call.
    void trace_packet_rays();
    /// `forget_hits`, then a call for each packet (`together`) or for each ray.
    void trace_packets(bool together);
    /// As `trace_packets`, through the counting engines.
    GasWalkCounts trace_packets_counted(bool together);
    /// Ray-item tests since the last `forget_hits`, with Query::nearest.
    std::uint64_t get_test_count() const { return m_target.test_count; }

    /// Hits since the last `forget_hits`: rays that hit, or with Query::all every hit.
    std::uint64_t get_hit_count() const;
    /// The same of one ray.
    std::uint32_t get_ray_hit_count(unsigned ray) const {
        return m_query == Query::all ? m_hit_counts[ray] : m_batch.is_hit(ray) ? 1 : 0;
    }
    const Tree& get_tree() const { return m_tree; }
    const GeometryRayBatch& get_batch() const { return m_batch; }
    /// Bytes of the tree, with its sample boxes if the prepared query needs them.
    std::size_t get_memory_size() const;

  private:
    using Calls = gas_app::TreeCalls<Tree>;
    static constexpr bool may_nest = !std::is_same_v<Tree, GasGridTree>;

    void call(typename Calls::Call query, GeometryRaytraceCtx& ctx);
    GasWalkCounts call_counted(GasRayWay way, GeometryRaytraceCtx& ctx);
    static GasWalkCounts sum_counts(const std::vector<GasWalkCounts>& counts);
    template <typename Trace> void for_each_ray(const Trace& trace_range);
    template <typename Trace> void for_each_packet(const Trace& trace_range);

    Tree m_tree;
    /// Under the leaves of `m_tree`; null where these are the scene's items.
    std::unique_ptr<PartTrees<Tree>> m_parts;
    CtxEval m_eval;
    CtxShader m_shader;
    GeometryRayBatch m_batch;
    unsigned m_packet_size = 1;
    const std::vector<GMathFrustum>* m_frusta = nullptr;
    std::vector<std::uint32_t> m_hit_counts;
    std::vector<RayGroup> m_groups;
    TraceTarget m_target;
    Query m_query = Query::nearest;
    bool m_in_motion = false;
    GasRayCall m_ray_call = GasRayCall::hit_static;
    typename Calls::Call m_tree_query = nullptr;
    typename Calls::Call m_stream_query = nullptr;
};

} // namespace gas_bench
