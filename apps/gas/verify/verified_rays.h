// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include <apps/gas/math/sample_hash.h>
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
    /// That it found nearest, or one of them; to be told of.
    unsigned item = GeometryIntersectionPath::no_item;

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

/// A query, and what callbacks do meanwhile.
struct Question {
    Behaviour behaviour;
    bool is_nearest;
    bool is_moving;

    /// Whether any order of calls gives the same result.
    bool has_one_result() const { return behaviour != Behaviour::mixed; }
    std::string describe() const;
};

inline constexpr std::array<Question, 10> all_questions = {{
    {Behaviour::accept, false, false},
    {Behaviour::collect, false, false},
    {Behaviour::mixed, false, false},
    {Behaviour::accept, true, false},
    {Behaviour::mixed, true, false},
    {Behaviour::accept, false, true},
    {Behaviour::collect, false, true},
    {Behaviour::mixed, false, true},
    {Behaviour::accept, true, true},
    {Behaviour::mixed, true, true},
}};

/// Adds an item to what a ray has collected.
inline std::uint64_t get_collected(unsigned item) { return hash_bits(std::uint64_t{item} + 1); }

/// Rays of a verification and what a tree's callbacks make of them.
class VerifiedRays {
  public:
    /// Rays `first` to `first + count - 1` of the scene.
    VerifiedRays(const VerifiedScene& scene, std::uint64_t first, unsigned count);
    VerifiedRays(const VerifiedScene& scene, const std::vector<VerifiedScene::Ray>& rays);
    VerifiedRays(const VerifiedScene& scene, const VerifiedScene::Tile& tile);
    VerifiedRays(const VerifiedRays&) = delete;
    VerifiedRays& operator=(const VerifiedRays&) = delete;

    unsigned get_count() const { return static_cast<unsigned>(m_rays.size()); }
    const VerifiedScene::PreparedRay& get_ray(unsigned ray) const { return m_rays[ray]; }
    std::string describe(unsigned ray) const;

    /// A query of a tree, for the rays in range. It passes its arguments on.
    using Trace = std::function<void(const CtxEval&, CtxShader&, GeometryRaytraceCtx&)>;

    /// How rays are handed over.
    enum class Way {
        one_by_one, ///< a call for each
        each_alone, ///< the same, and no call knows the leaves of others
        together    ///< one call for all
    };

    /// Traces all rays with a query, from scratch.
    std::vector<RayRecord> trace(const Trace& query, Way way, const Question& question);
    /// What every `step`-th ray finds when every item is tried; not for `mixed`.
    std::vector<RayRecord> trace_by_brute_force(const Question& question, unsigned step = 1) const;

    /// The callback of trees, for all queries.
    static void call_item(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                          GeometryRaytraceCtx& ctx);

  private:
    void reset(const Question& question);
    std::vector<RayRecord> get_records();
    RayRecord try_items(unsigned ray, const Question& question) const;
    void visit(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
               GeometryRaytraceCtx& ctx);
    void visit_mixed(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& ctx);
    double get_bound(const GeometryRaytraceCtx& ctx, unsigned ray) const;
    void set_bound(GeometryRaytraceCtx& ctx, unsigned ray, double bound) const;
    void nest(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader);

    const VerifiedScene& m_scene;
    std::vector<VerifiedScene::PreparedRay> m_rays;
    GeometryRayBatch m_batch;
    std::vector<RayRecord> m_records;
    Trace m_query;
    Question m_question = all_questions[0];

    /// A ray that a callback traces: what it met.
    GeometryRayBatch m_nested_batch;
    std::vector<unsigned> m_nested_counts;
    bool m_is_nested = false;
    std::uint64_t m_nested_history = 0;
};

} // namespace gas_app
