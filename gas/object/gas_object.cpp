// SPDX-License-Identifier: Apache-2.0
#include <gas/object/gas_object.h>

#include <cassert>
#include <cstring>

inline namespace gas_abi1 {

GasObject::GasObject()
    : m_ray_hit_static(nullptr), m_ray_hit_motion(nullptr), m_ray_hit_nearest_static(nullptr),
      m_ray_hit_nearest_motion(nullptr) {}

GasObject::GasObject(const GasObject& other) = default;
GasObject& GasObject::operator=(const GasObject& other) = default;
GasObject::~GasObject() = default;

void GasObject::set_raytrace_callbacks(ObjectRayCallback all_hits, ObjectRayCallback nearest) {
    set_raytrace_callbacks(all_hits, all_hits, nearest, nearest);
}

void GasObject::set_raytrace_callbacks(ObjectRayCallback static_hit, ObjectRayCallback motion_hit,
                                       ObjectRayCallback nearest_static,
                                       ObjectRayCallback nearest_motion) {
    if (static_hit)
        m_ray_hit_static = static_hit;
    if (motion_hit)
        m_ray_hit_motion = motion_hit;
    if (nearest_static)
        m_ray_hit_nearest_static = nearest_static;
    if (nearest_motion)
        m_ray_hit_nearest_motion = nearest_motion;
}

void GasObject::call(ObjectRayCallback callback, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& ctx) const {
    assert(callback && "a GasObject's ray callbacks must be set before rays reach it");
    if (callback)
        callback(this, eval, shader, ctx);
}

void GasObject::ray_hit_static(const CtxEval& eval, CtxShader& shader,
                               GeometryRaytraceCtx& ctx) const {
    call(m_ray_hit_static, eval, shader, ctx);
}

void GasObject::ray_hit_motion(const CtxEval& eval, CtxShader& shader,
                               GeometryRaytraceCtx& ctx) const {
    call(m_ray_hit_motion, eval, shader, ctx);
}

void GasObject::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    call(m_ray_hit_nearest_static, eval, shader, ctx);
}

void GasObject::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    call(m_ray_hit_nearest_motion, eval, shader, ctx);
}

namespace {

void clear_hit_flags(GeometryRaytraceData& data) {
    if (const unsigned count = gas_host::get_ray_count(data))
        std::memset(gas_host::get_hit_flags(data), 0, count);
}

bool has_motion_blur(const CtxShader& shader) {
    return gas_host::get_motion_blur_sample_count(shader) >= 2;
}

} // namespace

void GasObject::ray_hit(const CtxEval& eval, CtxShader& shader, GeometryRaytraceData& data) const {
    gas_host::drop_intersection_map(data);
    clear_hit_flags(data);
    GeometryRaytraceCtx& ctx = gas_host::get_ctx(data);
    if (has_motion_blur(shader))
        ray_hit_motion(eval, shader, ctx);
    else
        ray_hit_static(eval, shader, ctx);
}

void GasObject::ray_hit_nearest(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceData& data) const {
    GeometryIntersectionMap& map = gas_host::take_intersection_map(data);
    gas_host::set_intersection_settings(
        map, gas_host::get_intersection_flags(shader),
        static_cast<float>(gas_host::get_intersection_bias(shader)));
    map.init(gas_host::get_ray_count(data), gas_host::get_far_distances(data));
    clear_hit_flags(data);
    GeometryRaytraceCtx& ctx = gas_host::get_ctx(data);
    if (has_motion_blur(shader))
        ray_hit_nearest_motion(eval, shader, ctx);
    else
        ray_hit_nearest_static(eval, shader, ctx);
}

} // namespace gas_abi1
