#pragma once

#include <cassert>
#include <cmath>
#include <limits>

#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// Queries: what bounds a ray, what the visit of a leaf means, and when to stop.

/// A ray's cache slot; one out of range breaks the host's contract and counts as slot 0.
inline unsigned gas_get_cache_slot(const GeometryRaytraceData& data, unsigned ray) {
    const int slot = gas_host::get_cache_slot(data, ray);
    const bool valid = slot >= 0 && static_cast<unsigned>(slot) < GasTreeCtx::cache_slot_count;
    assert(valid && "cache slots are 0 to 5");
    return valid ? static_cast<unsigned>(slot) : 0;
}

/// Whether a cache entry is of this tree and, with `checks_leaf`, names a leaf that it has.
template <bool checks_leaf, typename Tree>
bool gas_is_cached(const GasCachedLeaf& cached, const Tree& tree, GasTreeCtx& ctx) {
    if (cached.tree != &tree)
        return false;
    if constexpr (checks_leaf)
        return GasTraversalAccess::is_leaf_valid(tree, ctx, cached.leaf);
    else
        return true;
}

/// Every leaf whose box the ray crosses, until a callback sets the ray's hit flag.
class GasAllHits {
  public:
    /// Whether the rays of a batch share a walk.
    static constexpr bool goes_in_packets = false;

    /// Whether the batch holds what the query writes to.
    static bool can_trace(const GeometryRaytraceData&) { return true; }

    GasAllHits(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray)
        : m_cached(ctx.all_hits_cache[gas_get_cache_slot(data, ray)]),
          m_hit_flag(gas_host::get_hit_flags(data)[ray]),
          m_far_distance(gas_host::get_far_distances(data)[ray]) {}

    /// The ray's bound; a callback may change it.
    double get_bound() const { return m_far_distance; }

    /// Whether a walk that tests boxes early can follow a bound that comes nearer: only one that
    /// looks at the bound again before it goes on.
    static constexpr bool follows_bound = false;

    /// How far from its start a ray may enter what it reaches.
    static float get_limit(double bound) { return static_cast<float>(bound); }

    /// A pending node is expanded whatever the bound has become: its children see it.
    static bool is_beyond(float, double) { return false; }

    template <bool is_motion, typename Tree>
    static void call_leaf(const Tree& tree, GasTreeCtx& ctx, const unsigned& leaf,
                          const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& rays) {
        if constexpr (is_motion)
            GasTraversalAccess::leaf_ray_hit_motion(tree, ctx, leaf, eval, shader, rays);
        else
            GasTraversalAccess::leaf_ray_hit_static(tree, ctx, leaf, eval, shader, rays);
    }

    /// Tries the leaf that stopped the slot's last ray. True: it stopped this one, too.
    template <bool checks_leaf, typename Tree, typename CallLeaf>
    bool try_cached_leaf(const Tree& tree, GasTreeCtx& ctx, const CallLeaf& call) {
        if (!gas_is_cached<checks_leaf>(m_cached, tree, ctx))
            return false;
        const unsigned leaf = m_cached.leaf;
        call(leaf);
        return m_hit_flag != 0;
    }

    /// True: the ray is stopped.
    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree& tree, unsigned leaf, const CallLeaf& call) {
        call(leaf);
        if (m_hit_flag == 0)
            return false;
        m_cached.tree = &tree;
        m_cached.leaf = leaf;
        return true;
    }

    /// The walk came to its end without being stopped.
    void finish() { m_cached.tree = nullptr; }

  private:
    GasCachedLeaf& m_cached;
    const unsigned char& m_hit_flag;
    const double& m_far_distance;
};

/// The leaves in front of the nearest hit so far. A callback that sets the hit flag and lowers the
/// hit distance has found one.
class GasNearestHit {
  public:
    static constexpr bool goes_in_packets = true;

    static bool can_trace(const GeometryRaytraceData& data) {
        return gas_host::has_intersection_map(data);
    }

    GasNearestHit(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray)
        : m_cached(ctx.nearest_cache[gas_get_cache_slot(data, ray)]),
          m_hit_flag(gas_host::get_hit_flags(data)[ray]),
          m_path(gas_host::get_intersection_map(data).get_path(ray)), m_found(ctx.found) {
        m_found = false;
    }

    double get_bound() const { return gas_host::get_hit_distance(m_path); }

    static constexpr bool follows_bound = true;

    /// The farthest float in front of the bound; a NaN where there is none.
    static float get_limit(double bound) {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        const float rounded = static_cast<float>(bound);
        if (static_cast<double>(rounded) < bound)
            return rounded;
        return rounded == -infinity ? std::numeric_limits<float>::quiet_NaN()
                                    : std::nextafter(rounded, -infinity);
    }

    static bool is_beyond(float entry_distance, double bound) {
        return static_cast<double>(entry_distance) >= bound;
    }

    template <bool is_motion, typename Tree>
    static void call_leaf(const Tree& tree, GasTreeCtx& ctx, const unsigned& leaf,
                          const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& rays) {
        if constexpr (is_motion)
            GasTraversalAccess::leaf_ray_hit_nearest_motion(tree, ctx, leaf, eval, shader, rays);
        else
            GasTraversalAccess::leaf_ray_hit_nearest_static(tree, ctx, leaf, eval, shader, rays);
    }

    /// Tries the leaf that gave the slot's last hit, so that the walk starts with a short ray; the
    /// walk does not visit it again. Never stops the ray.
    template <bool checks_leaf, typename Tree, typename CallLeaf>
    bool try_cached_leaf(const Tree& tree, GasTreeCtx& ctx, const CallLeaf& call) {
        if (!gas_is_cached<checks_leaf>(m_cached, tree, ctx))
            return false;
        m_pretested_leaf = m_cached.leaf;
        m_has_pretested_leaf = true;
        if (is_shortened_by(call, m_pretested_leaf))
            m_found = true;
        return false;
    }

    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree& tree, unsigned leaf, const CallLeaf& call) {
        if (m_has_pretested_leaf && leaf == m_pretested_leaf)
            return false;
        if (is_shortened_by(call, leaf)) {
            m_cached.tree = &tree;
            m_cached.leaf = leaf;
            m_found = true;
        }
        return false;
    }

    void finish() {
        if (!m_found)
            m_cached.tree = nullptr;
    }

  private:
    template <typename CallLeaf> bool is_shortened_by(const CallLeaf& call, unsigned leaf) {
        const double before = get_bound();
        call(leaf);
        return m_hit_flag != 0 && get_bound() < before;
    }

    GasCachedLeaf& m_cached;
    const unsigned char& m_hit_flag;
    const GeometryIntersectionPath& m_path;
    bool& m_found;
    bool m_has_pretested_leaf = false;
    unsigned m_pretested_leaf = 0;
};

} // namespace gas_abi1
