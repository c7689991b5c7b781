#pragma once

#include <gas/traversal/query/gas_ray_query.h>

inline namespace gas_abi1 {

/// The queries of a stream: what they mean is as in gas_ray_query.h, but they know no cached leaf.

/// What both have in common: a leaf is called, and that is all.
class GasStreamQuery {
  public:
    template <bool checks_leaf, typename Tree, typename CallLeaf>
    static bool try_cached_leaf(const Tree&, GasTreeCtx&, const CallLeaf&) {
        return false;
    }
    static void finish() {}
};

/// Every leaf whose box the ray crosses, until a callback sets the ray's hit flag.
class GasStreamAllHits : public GasStreamQuery {
  public:
    static bool can_trace(const GeometryRaytraceData&) { return true; }

    GasStreamAllHits() = default;
    GasStreamAllHits(GasTreeCtx&, GeometryRaytraceData& data, unsigned ray)
        : m_hit_flag(gas_host::get_hit_flags(data) + ray),
          m_far_distance(gas_host::get_far_distances(data) + ray) {}

    double get_bound() const { return *m_far_distance; }
    static constexpr bool follows_bound = GasAllHits::follows_bound;
    static float get_limit(double bound) { return GasAllHits::get_limit(bound); }
    static bool is_beyond(float, double) { return false; }

    template <bool is_motion, typename Tree>
    static void call_leaf(const Tree& tree, GasTreeCtx& ctx, const unsigned& leaf,
                          const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& rays) {
        GasAllHits::call_leaf<is_motion>(tree, ctx, leaf, eval, shader, rays);
    }

    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree&, unsigned leaf, const CallLeaf& call) {
        call(leaf);
        return *m_hit_flag != 0;
    }

  private:
    const unsigned char* m_hit_flag;
    const double* m_far_distance;
};

/// The leaves in front of the nearest hit so far.
class GasStreamNearestHit : public GasStreamQuery {
  public:
    static bool can_trace(const GeometryRaytraceData& data) {
        return gas_host::has_intersection_map(data);
    }

    GasStreamNearestHit() = default;
    GasStreamNearestHit(GasTreeCtx&, GeometryRaytraceData& data, unsigned ray)
        : m_path(&gas_host::get_intersection_map(data).get_path(ray)) {}

    double get_bound() const { return gas_host::get_hit_distance(*m_path); }
    static constexpr bool follows_bound = GasNearestHit::follows_bound;
    static float get_limit(double bound) { return GasNearestHit::get_limit(bound); }
    static bool is_beyond(float entry_distance, double bound) {
        return GasNearestHit::is_beyond(entry_distance, bound);
    }

    template <bool is_motion, typename Tree>
    static void call_leaf(const Tree& tree, GasTreeCtx& ctx, const unsigned& leaf,
                          const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& rays) {
        GasNearestHit::call_leaf<is_motion>(tree, ctx, leaf, eval, shader, rays);
    }

    template <typename Tree, typename CallLeaf>
    static bool visit_leaf(const Tree&, unsigned leaf, const CallLeaf& call) {
        call(leaf);
        return false;
    }

  private:
    const GeometryIntersectionPath* m_path;
};

} // namespace gas_abi1
