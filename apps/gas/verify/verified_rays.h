// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <apps/gas/trees/trace_state.h>
#include <apps/gas/verify/verified_scene.h>

namespace gas_app {

/// What became of a ray.
struct RayRecord {
    /// Of the items that it was called for, in their order, and where its bound was.
    std::uint64_t history = 0;
    /// Of the items that it met, in any order.
    std::uint64_t collected = 0;
    double bound = 0.0;
    bool is_hit = false;

    /// Whether it found the same, perhaps by other calls.
    bool has_result_of(const RayRecord& other) const {
        return collected == other.collected && bound == other.bound && is_hit == other.is_hit;
    }
    bool operator==(const RayRecord& other) const {
        return history == other.history && has_result_of(other);
    }
};

/// What callbacks do.
enum class Behaviour {
    accept,  ///< record the nearest hit, or stop at any
    collect, ///< note every item that is met
    mixed    ///< accept some, reject some, shorten or lengthen the ray, stop it, nest a query
};

/// Rays of a verification and what a tree's callbacks make of them. `accept` and `collect` give the
/// same result in any order of calls, `mixed` only in the same one.
class VerifiedRays {
  public:
    /// Rays `first` to `first + count - 1` of the scene.
    VerifiedRays(const VerifiedScene& scene, std::uint64_t first, unsigned count);
    VerifiedRays(const VerifiedRays&) = delete;
    VerifiedRays& operator=(const VerifiedRays&) = delete;

    unsigned get_count() const { return static_cast<unsigned>(m_rays.size()); }

    /// A query of a tree, for the rays in range.
    using Trace = std::function<void(const CtxEval&, CtxShader&, GeometryRaytraceCtx&)>;

    /// How rays are handed over.
    enum class Way {
        one_by_one, ///< a call for each
        each_alone, ///< the same, and no call knows the leaves of others
        together    ///< one call for all
    };

    /// Traces all rays with a query, from scratch.
    std::vector<RayRecord> trace(const Trace& query, Way way, Behaviour behaviour, bool is_nearest,
                                 bool is_moving);
    /// The same by trying every item; not for `mixed`.
    std::vector<RayRecord> trace_by_brute_force(Behaviour behaviour, bool is_nearest,
                                                bool is_moving);

    /// The callback of trees, for all queries; the user pointer is this object.
    static void call_item(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                          GeometryRaytraceCtx& ctx);

  private:
    void reset(Behaviour behaviour, bool is_nearest, bool is_moving);
    std::vector<RayRecord> get_records();
    void visit(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
               GeometryRaytraceCtx& ctx);
    void visit_mixed(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& ctx);
    double get_bound(const GeometryRaytraceCtx& ctx, unsigned ray) const;
    void set_bound(GeometryRaytraceCtx& ctx, unsigned ray, double bound) const;
    void nest(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader);

    const VerifiedScene& m_scene;
    std::vector<VerifiedScene::Ray> m_rays;
    GeometryRayBatch m_batch;
    std::vector<RayRecord> m_records;
    Trace m_query;
    Behaviour m_behaviour = Behaviour::accept;
    bool m_is_nearest = false;
    bool m_is_moving = false;

    /// A ray that a callback traces: what it met.
    GeometryRayBatch m_nested_batch;
    bool m_is_nested = false;
    std::uint64_t m_nested_history = 0;
};

} // namespace gas_app
