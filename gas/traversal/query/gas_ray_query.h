// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include <gas/traversal/query/gas_leaf_cache.h>
#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// Queries: what bounds a ray, what the visit of a leaf means, and when to stop. There are two, any
/// hit and closest hit, each with a leaf cache or without.

constexpr bool gas_is_motion(GasRayCall call) {
    return call == GasRayCall::hit_motion || call == GasRayCall::nearest_motion;
}
constexpr bool gas_is_nearest(GasRayCall call) {
    return call == GasRayCall::nearest_static || call == GasRayCall::nearest_motion;
}
/// What a query becomes in a tree with fewer than two motion-blur samples, callback included.
constexpr GasRayCall gas_without_motion(GasRayCall call) {
    return gas_is_nearest(call) ? GasRayCall::nearest_static : GasRayCall::hit_static;
}

/// The usual leaves: each is an item of the tree's. A caller calls one leaf's callback.
struct GasItemLeaves {
    /// The tree that the renderer asks, and the renderer's callback in the end.
    template <typename Tree> static const void* get_asked(const Tree& tree) { return &tree; }
    template <GasRayCall call, typename Tree>
    static GasLeafCallback get_callback(const Tree& tree) {
        return GasTraversalAccess::get_callback<call>(tree);
    }

    template <GasRayCall call, typename Tree, typename Probe> struct Caller {
        const Tree& tree;
        const CtxEval& eval;
        CtxShader& shader;
        GeometryRaytraceCtx& rays;
        [[no_unique_address]] Probe probe;

        void operator()(const unsigned& leaf) const {
            probe.call_leaf();
            GasTraversalAccess::call_leaf<call>(tree, leaf, eval, shader, rays);
        }
    };
};

/// All hits, also known as any hit: every leaf whose box the ray crosses, until a callback sets the
/// ray's hit flag.
template <typename LeafCache> class GasAnyHit {
  public:
    using Cache = LeafCache;

    /// Whether a walk that tests boxes early can follow a bound that comes nearer: only one that
    /// looks at the bound again before it goes on.
    static constexpr bool follows_bound = false;

    /// Whether the batch holds what the query writes to.
    static bool can_trace(const GeometryRaytraceData&) { return true; }

    GasAnyHit() = default;
    GasAnyHit(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray)
        : GasAnyHit(ctx, data, ray, get_cache(ctx, data, ray)) {}
    GasAnyHit(GasTreeCtx&, GeometryRaytraceData& data, unsigned ray, LeafCache cache)
        : m_cache(cache), m_hit_flag(gas_host::get_hit_flags(data) + ray),
          m_far_distance(gas_host::get_far_distances(data) + ray) {}

    /// The ray's place in the frame that is next or taken.
    static LeafCache get_cache(GasTreeCtx& ctx, const GeometryRaytraceData& data, unsigned ray) {
        return LeafCache(ctx.all_hits_cache, data, ray);
    }

    /// The ray's bound; a callback may change it.
    double get_bound() const { return *m_far_distance; }

    /// How far from its start a ray may enter what it reaches.
    static float get_limit(double bound) { return static_cast<float>(bound); }

    /// A pending node is expanded whatever the bound has become: its children see it.
    static bool is_beyond(float, double) { return false; }

    /// Tries the leaf that stopped the slot's last ray. True: it stopped this one, too.
    template <bool checks_leaf, typename Tree, typename CallLeaf>
    bool try_cached_leaf(const Tree& tree, GasTreeCtx& ctx, const CallLeaf& call_leaf) {
        if constexpr (LeafCache::is_used) {
            if (m_cache.template has_leaf_of<checks_leaf>(tree, ctx)) {
                const unsigned leaf = m_cache.get_leaf();
                call_leaf(leaf);
                return *m_hit_flag != 0;
            }
        }
        return false;
    }

    /// True: the ray is stopped.
    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree& tree, unsigned leaf, const CallLeaf& call_leaf) {
        call_leaf(leaf);
        if (*m_hit_flag == 0)
            return false;
        if constexpr (LeafCache::is_used)
            m_cache.keep(&tree, leaf);
        return true;
    }

    /// Whether rays like this one come to their end, as far as one can tell from those before.
    bool is_stopped_rarely() const { return is_stopped_rarely(m_cache); }

    /// Whether the walk with branches suits a ray: it is like the ray before, or one for which that
    /// walk looks ahead.
    static bool suits_branches(const LeafCache& cache) {
        return cache.is_coherent() || is_stopped_rarely(cache);
    }
    /// The walk ends or looks ahead; the last leaf or wide node that it came to.
    void end_ray(const void* tree, unsigned last_reference) const {
        m_cache.end_ray(tree, last_reference);
    }

    /// The walk came to its end without being stopped.
    void finish() {
        if constexpr (LeafCache::is_used)
            m_cache.count_unstopped(unstopped_ray_count);
    }

  private:
    /// So many in a row, and none is expected to be stopped.
    static constexpr unsigned unstopped_ray_count = 32;

    static bool is_stopped_rarely(const LeafCache& cache) {
        if constexpr (LeafCache::is_used)
            return cache.get_unstopped_count() == unstopped_ray_count;
        else
            return false;
    }

    [[no_unique_address]] LeafCache m_cache;
    const unsigned char* m_hit_flag;
    const double* m_far_distance;
};

/// Nearest hit, also known as closest hit: the leaves in front of the nearest hit so far. A
/// callback that sets the hit flag and lowers the hit distance has found one.
template <typename LeafCache> class GasClosestHit {
  public:
    using Cache = LeafCache;

    static constexpr bool follows_bound = true;

    static bool can_trace(const GeometryRaytraceData& data) {
        return gas_host::has_intersection_map(data);
    }

    GasClosestHit() = default;
    GasClosestHit(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray)
        : GasClosestHit(ctx, data, ray, get_cache(ctx, data, ray)) {}
    GasClosestHit(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray, LeafCache cache)
        : m_cache(cache), m_cached(ctx, data, ray),
          m_path(&gas_host::get_intersection_map(data).get_path(ray)) {}

    static LeafCache get_cache(GasTreeCtx& ctx, const GeometryRaytraceData& data, unsigned ray) {
        return LeafCache(ctx.nearest_cache, data, ray);
    }

    double get_bound() const { return gas_host::get_hit_distance(*m_path); }

    /// The farthest float in front of the bound; a NaN where there is none.
    static float get_limit(double bound) {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        const float rounded = static_cast<float>(bound);
        // Floats above 0 are in the order of their bits. No branch: whether a distance was rounded
        // up or down has no pattern.
        if (rounded > 0.0f) {
            const unsigned is_too_far = static_cast<double>(rounded) < bound ? 0 : 1;
            return std::bit_cast<float>(std::bit_cast<std::uint32_t>(rounded) - is_too_far);
        }
        if (static_cast<double>(rounded) < bound)
            return rounded;
        return rounded == -infinity ? std::numeric_limits<float>::quiet_NaN()
                                    : std::nextafter(rounded, -infinity);
    }

    static bool is_beyond(float entry_distance, double bound) {
        return static_cast<double>(entry_distance) >= bound;
    }

    /// Tries the leaf that gave the slot's last hit, so that the walk starts with a short ray; the
    /// walk does not visit it again. Never stops the ray.
    template <bool checks_leaf, typename Tree, typename CallLeaf>
    bool try_cached_leaf(const Tree& tree, GasTreeCtx& ctx, const CallLeaf& call_leaf) {
        if constexpr (LeafCache::is_used) {
            if (m_cache.template has_leaf_of<checks_leaf>(tree, ctx)) {
                m_cached.leaf = m_cache.get_leaf();
                m_cached.is_tried = true;
                const double before = get_bound();
                call_leaf(m_cached.leaf);
                if (is_hit(before))
                    *m_cached.found = true;
            }
        }
        return false;
    }

    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree& tree, unsigned leaf, const CallLeaf& call_leaf) {
        if constexpr (LeafCache::is_used) {
            if (m_cached.is_tried && leaf == m_cached.leaf)
                return false;
            const double before = get_bound();
            call_leaf(leaf);
            if (is_hit(before)) {
                m_cache.keep(&tree, leaf);
                *m_cached.found = true;
            }
        } else {
            call_leaf(leaf);
        }
        return false;
    }

    static bool suits_branches(const LeafCache& cache) { return cache.is_coherent(); }
    void end_ray(const void* tree, unsigned last_reference) const {
        m_cache.end_ray(tree, last_reference);
    }

    void finish() {
        if constexpr (LeafCache::is_used) {
            if (!*m_cached.found)
                m_cache.clear();
        }
    }

  private:
    /// What a leaf cache asks to be kept of a walk.
    struct CachedLeaf {
        CachedLeaf(GasTreeCtx& ctx, GeometryRaytraceData& data, unsigned ray)
            : found(&ctx.found), hit_flag(gas_host::get_hit_flags(data) + ray) {
            *found = false;
        }

        /// Whether there was a hit.
        bool* found;
        const unsigned char* hit_flag;
        /// The cached leaf, if it was tried.
        unsigned leaf = 0;
        bool is_tried = false;
    };
    struct NoCachedLeaf {
        NoCachedLeaf() = default;
        NoCachedLeaf(GasTreeCtx&, GeometryRaytraceData&, unsigned) {}
    };

    bool is_hit(double bound_before) const {
        return *m_cached.hit_flag != 0 && get_bound() < bound_before;
    }

    [[no_unique_address]] LeafCache m_cache;
    [[no_unique_address]] std::conditional_t<LeafCache::is_used, CachedLeaf, NoCachedLeaf> m_cached;
    const GeometryIntersectionPath* m_path;
};

template <GasRayCall call, typename LeafCache>
using GasQueryOf =
    std::conditional_t<gas_is_nearest(call), GasClosestHit<LeafCache>, GasAnyHit<LeafCache>>;

/// The query for each call and way.
template <GasRayCall call, GasRayWay way>
using GasRayQuery =
    GasQueryOf<call, std::conditional_t<way == GasRayWay::query, GasLeafCache, GasNoLeafCache>>;

} // namespace gas_abi1
