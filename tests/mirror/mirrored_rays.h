// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tests/mirror/mirrored_trees.h>
#include <tests/support/seeded_random.h>
#include <tests/support/test_shader.h>

namespace support {

/// A ray as both implementations receive it.
struct RaySpec {
    double origin[3] = {0.0, 0.0, 0.0};
    double direction[3] = {0.0, 0.0, 1.0};
    double near_distance = 0.0;
    double far_distance = 1.0;
    float time = 0.0f;
    int cache_slot = 0;
    /// Whether its hit flag is set before the query.
    bool is_hit_before = false;
    /// Scale of the distances that callbacks give it.
    double scale = 1.0;
    /// Decides, with the item, what callbacks do.
    std::uint64_t seed = 0;
};

/// Rays that a callback traces for a ray, from its origin, about in its direction: up to 3, or
/// sometimes up to `most`.
std::vector<RaySpec> make_nested_rays(const RaySpec& outer, unsigned most, SeededRandom& random);

/// What both sides write down of a leaf callback.
struct LeafEvent {
    unsigned depth;
    RayQuery callback;
    unsigned item;
    int first_ray;
    int last_ray;

    bool operator==(const LeafEvent&) const = default;
};

/// The fate of a ray.
struct RayResult {
    double far_distance;
    double hit_distance;
    bool hit_flag;
};

/// A batch as both implementations receive it.
struct BatchSpec {
    std::vector<RaySpec> rays;
    /// The rays to trace.
    int first_ray = 0;
    int last_ray = -1;
    /// At most six planes, whatever they are; none: no frustum.
    naive::Frustum planes;

    bool has_several_rays() const { return first_ray < last_ray; }
};

/// A batch of these rays, all to be traced, without a frustum.
inline BatchSpec make_batch(std::vector<RaySpec> rays) {
    const int last_ray = static_cast<int>(rays.size()) - 1;
    return {std::move(rays), 0, last_ray, {}};
}

/// Traces rays through the trees with the library and with the naive walks. Callbacks on both sides
/// do the same for each ray of their range, chosen by ray and item: nothing, a hit, a shorter ray
/// without a flag, a flag alone, another bound than before, or a nested query. The library's shader
/// and the naive caches and packets live as long as the mirror.
class Mirror {
  public:
    /// The shutter is that of `shutter`; each query takes the sample count of its tree.
    Mirror(std::vector<MirroredTree*> trees, const CtxMotionBlur& shutter);
    Mirror(const Mirror&) = delete;
    Mirror& operator=(const Mirror&) = delete;

    /// Traces the batch. Empty when both sides agree, else what differs.
    std::string compare(const BatchSpec& batch, RayQuery query, unsigned tree);

    unsigned get_nested_ray_count() const { return m_nested_ray_count; }
    std::size_t get_leaf_call_count() const { return m_leaf_call_count; }
    /// Nodes that packet and range walks visited, and of these the ones that a frustum took.
    const naive::PacketCounts& get_packet_counts() const { return m_packet_counts; }

  private:
    static constexpr unsigned deepest = 2;
    /// Nested queries per comparison; beyond it callbacks start none.
    static constexpr unsigned most_nested = 12;

    /// A batch being traced by the library.
    struct Level {
        const BatchSpec* batch;
        RayQuery query;
    };

    /// A ray of the naive side.
    struct Traced {
        const RaySpec& spec;
        RayQuery query;
        unsigned depth;
        bool is_of_several;
    };

    template <RayQuery callback>
    static void receive(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                        GeometryRaytraceCtx& rays);

    CtxMotionBlur get_motion(unsigned tree) const;
    std::vector<RayResult> trace_library(const BatchSpec& batch, RayQuery query, unsigned tree);
    std::vector<RayResult> trace_reference(const BatchSpec& batch, RayQuery query, unsigned tree,
                                           unsigned depth);
    void react_in_library(unsigned item, unsigned ray, GeometryRaytraceCtx& rays);
    void react_in_reference(const Traced& traced, unsigned item, naive::Ray& ray);
    std::string find_difference(const std::vector<RayResult>& library,
                                const std::vector<RayResult>& reference) const;
    bool is_same_cache(const GasCachedLeaf& library, const naive::CacheEntry& reference) const;
    std::string find_cache_difference() const;

    std::vector<MirroredTree*> m_trees;
    CtxMotionBlur m_shutter;
    TestShader m_shader;
    naive::Frames m_frames;
    naive::PacketCounts m_packet_counts;
    std::vector<Level> m_levels;
    std::vector<LeafEvent> m_library_events;
    std::vector<LeafEvent> m_reference_events;
    std::string m_contract_breach;
    unsigned m_library_nested = 0;
    unsigned m_reference_nested = 0;
    unsigned m_nested_ray_count = 0;
    std::size_t m_leaf_call_count = 0;
};

} // namespace support
