// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Abstract base of what a renderer hands rays to: a host resource that has bounds and four
/// object-level ray callbacks, for closest hit and any hit. It holds no tree; the callbacks reach
/// one.
///
/// The ray operations change nothing in the object and may run on several threads at once, each
/// thread with its own CtxShader and its own batch.
class GAS_EXPORT GasObject : public ResourceData {
  public:
    /// Traces the rays first..last of the context's batch against `object`.
    using ObjectRayCallback = void (*)(const GasObject* object, const CtxEval& eval,
                                       CtxShader& shader, GeometryRaytraceCtx& ctx);

    /// No callbacks: set them before the first ray.
    GasObject();
    GasObject(const GasObject& other);
    GasObject& operator=(const GasObject& other);
    ~GasObject() override;

    /// The object's bounds.
    virtual GMathBbox3<double> get_bbox() const = 0;

    /// Gives `shader` its first traversal frames; every thread that traces needs them once. A
    /// second call without `destroy_ctx` leaks the first frames. GasShaderFrames makes both calls.
    static void create_ctx(CtxShader& shader);
    /// Frees all of the shader's frames; no query may be running on it. Does nothing when it has
    /// none.
    static void destroy_ctx(CtxShader& shader);

    /// Sets the callbacks in pairs, static and motion alike; a null one leaves its pair as it was.
    void set_raytrace_callbacks(ObjectRayCallback all_hits, ObjectRayCallback nearest);
    /// Sets each callback on its own; a null one leaves its callback as it was.
    void set_raytrace_callbacks(ObjectRayCallback static_hit, ObjectRayCallback motion_hit,
                                ObjectRayCallback nearest_static, ObjectRayCallback nearest_motion);

    /// Call the callback of that name, which must have been set (otherwise a debug build asserts
    /// and a release build does nothing).
    void ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;

    /// Traces a batch for all hits: drops its intersection map, clears every ray's hit flag, and
    /// calls the motion callback when the shader has two motion-blur samples or more, else the
    /// static one.
    void ray_hit(const CtxEval& eval, CtxShader& shader, GeometryRaytraceData& data) const;
    /// Traces a batch for nearest hits: hands the shader's intersection settings to the batch's
    /// intersection map, resets the map from the far distances, clears every ray's hit flag, and
    /// calls the motion or the static callback as `ray_hit` does.
    void ray_hit_nearest(const CtxEval& eval, CtxShader& shader, GeometryRaytraceData& data) const;

  private:
    void call(ObjectRayCallback callback, const CtxEval& eval, CtxShader& shader,
              GeometryRaytraceCtx& ctx) const;

    ObjectRayCallback m_ray_hit_static;
    ObjectRayCallback m_ray_hit_motion;
    ObjectRayCallback m_ray_hit_nearest_static;
    ObjectRayCallback m_ray_hit_nearest_motion;
};

} // namespace gas_abi1
