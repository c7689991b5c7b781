#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "bench_trees.h"
#include "bench_triangle.h"

namespace gas_bench {

enum class Query {
    nearest, ///< the nearest hit
    any,     ///< whether there is a hit; stops at the first
    all,     ///< every hit
};

/// What the leaf callbacks see.
struct TraceTarget {
    const Triangle* triangles;
    const Triangle* later_triangles;
    const Ray* rays;
    /// What a query for all hits does with one: sets the hit flag, or counts it.
    bool stops_at_hit;
    std::uint64_t hit_count;
    /// Intersections tried by the nearest-hit callback.
    std::uint64_t test_count;

    template <bool in_motion> bool meets(unsigned item, unsigned ray, float& distance) const;
};

/// Makes a ray of the batch this one.
void set_ray(GeometryRayBatch& batch, unsigned index, const Ray& ray);

/// A tree over a scene, and all that a thread needs to trace it: the shortest way from rays to
/// hits, a call per ray. Instantiated for the tree classes of bench_trees.h.
template <typename Tree> class Tracer {
  public:
    /// The scene outlives the tracer. Builds with the default method and two motion-blur samples.
    /// A grid then builds its cells when `trace` first reaches them.
    explicit Tracer(const Scene& scene);
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    ~Tracer();

    /// Says which rays (they outlive their use) are traced for what.
    void prepare(const std::vector<Ray>& rays, Query query, bool in_motion);
    /// Forgets the hits and traces all prepared rays, one by one.
    void trace();
    /// As `trace`, through the counting engines.
    GasWalkCounts trace_counted();

    /// Says which rays are traced for their nearest hits in batches of `packet_size`, each with its
    /// frustum unless there are none. Rays and frusta outlive their use.
    void prepare_packets(const std::vector<Ray>& rays, unsigned packet_size,
                         const std::vector<GMathFrustum>& frusta);
    /// Forgets the hits and traces all packets: each by one call, or by a call per ray.
    void trace_packets(bool together);
    /// As `trace_packets`, through the counting engines.
    GasWalkCounts trace_packets_counted(bool together);
    std::uint64_t get_packet_hit_count() const;
    /// Rays that the last `trace_packets` tested against items.
    std::uint64_t get_packet_test_count() const { return m_target.test_count; }

    /// Hits of the last `trace`: rays that hit, or with Query::all every hit.
    std::uint64_t get_hit_count() const;
    const Tree& get_tree() const { return m_tree; }
    GeometryRayBatch& get_batch() { return m_batch; }
    /// Bytes of the tree, with its sample boxes if the prepared query needs them.
    std::size_t get_memory_size() const;

  private:
    using TreeQuery = void (*)(const Tree&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&);
    using CountedQuery = void (*)(const Tree&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&,
                                  GasWalkCounts&);

    template <bool is_nearest, bool in_motion> void choose_query();
    template <typename Trace> void run_packets(bool together, const Trace& trace_range);

    Tree m_tree;
    CtxEval m_eval;
    CtxShader m_shader;
    GeometryRayBatch m_batch;
    std::vector<std::unique_ptr<GeometryRayBatch>> m_packets;
    TraceTarget m_target;
    Query m_query = Query::nearest;
    bool m_in_motion = false;
    TreeQuery m_tree_query = nullptr;
    CountedQuery m_counted_query = nullptr;
};

} // namespace gas_bench
