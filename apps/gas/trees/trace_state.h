// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/diagnostics/gas_walk_counts.h>
#include <gas/host/geometry_ray_batch.h>
#include <gas/object/gas_object.h>

#include <apps/gas/math/ray_shear.h>
#include <apps/gas/trees/instance_visits.h>

namespace gas_app {

/// How trees are searched.
enum class Walk {
    engine,     ///< by the library's queries
    stream,     ///< by the library's streams
    brute_force ///< without trees: every item of every tree is tested
};

/// A moment between two motion samples; the first sample where nothing moves.
struct Moment {
    unsigned sample = 0;
    double fraction = 0.0;
};

/// The nearest hit of a ray so far. Of hits at equal distance the lower instance, then the lower
/// item counts.
struct SceneHit {
    static constexpr unsigned no_instance = 0xFFFFFFFFu;

    unsigned instance = no_instance;
    unsigned item = 0;
    double u = 0.0;
    double v = 0.0;

    bool is_hit() const { return instance != no_instance; }
    bool comes_before(const SceneHit& other) const {
        return instance != other.instance ? instance < other.instance : item < other.item;
    }
};

/// A ray in the space of the instance that is being traced. Callbacks use this one: the ray in the
/// batch may be scaled.
struct LocalRay {
    Vec3 origin{0.0, 0.0, 0.0};
    Vec3 direction{0.0, 0.0, 1.0};
    RayShear shear;
    Moment moment;
    /// Its number in the batch that reached the instance.
    unsigned scene_ray = 0;
};

/// One thread's tracing state; callbacks reach it through `CtxEval::user_data`.
class TraceState {
  public:
    /// For batches of at most `batch_size` rays.
    explicit TraceState(unsigned batch_size)
        : hits(batch_size), local_batch(batch_size), local_rays(batch_size),
          scaled_rays(batch_size) {
        eval.user_data = this;
    }
    TraceState(const TraceState&) = delete;
    TraceState& operator=(const TraceState&) = delete;

    static TraceState& of(const CtxEval& eval) { return *static_cast<TraceState*>(eval.user_data); }

    /// Of the batch being traced.
    Walk walk = Walk::engine;
    /// Whether the queries and streams with counters in them are called, which add to `counts`.
    bool counts_walks = false;
    GasWalkCounts counts;
    CtxEval eval;
    /// Per ray of the scene's batch.
    std::vector<SceneHit> hits;

    /// The rays that the scene was given.
    const GeometryRaytraceData* scene_batch = nullptr;

    /// The instance being traced, and the rays that reached it, in its space.
    unsigned instance = 0;
    GeometryRayBatch local_batch;
    std::vector<LocalRay> local_rays;

    /// Of a stream: the instances that its rays reach, and whether these are being collected.
    InstanceVisits visits;
    bool finds_visits = false;

    /// The scene's rays and their frustum as its tree sees them, where that has a scale.
    std::vector<GeometryRay> scaled_rays;
    GMathFrustum scaled_frustum;
};

/// A thread's shading context with its traversal frames.
class ShaderHolder {
  public:
    explicit ShaderHolder(const CtxMotionBlur& motion_blur) {
        shader.set_motion_blur(motion_blur);
        GasObject::create_ctx(shader);
    }
    ShaderHolder(const ShaderHolder&) = delete;
    ShaderHolder& operator=(const ShaderHolder&) = delete;
    ~ShaderHolder() { GasObject::destroy_ctx(shader); }

    /// Makes new frames, whose caches hold no leaf of earlier rays.
    void forget_leaves() {
        GasObject::destroy_ctx(shader);
        GasObject::create_ctx(shader);
    }

    CtxShader shader;
};

} // namespace gas_app
