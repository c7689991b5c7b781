// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tests/seam/seam_host.h>

/// How the library reaches into this host's records.
namespace gas_host {

template <typename T> unsigned get_count(const CoreArray<T>& array) {
    return static_cast<unsigned>(array.items.size());
}
template <typename T> const T* get_items(const CoreArray<T>& array) { return array.items.data(); }
template <typename T> unsigned get_count(const CoreVector<T>& vector) {
    return static_cast<unsigned>(vector.end - vector.first);
}
template <typename T> const T* get_items(const CoreVector<T>& vector) { return vector.first; }
template <typename T> void clear(CoreVector<T>& vector) { vector.end = vector.first; }
template <typename T> void append(CoreVector<T>& vector, const T& item) { vector.push(item); }

inline void set_progress_steps(AppProgressBar& bar, unsigned interval, float increment) {
    bar.interval = interval;
    bar.increment = increment;
}
inline unsigned get_build_method(const AppProgressBar& bar) {
    return static_cast<unsigned>(bar.owner->build_method);
}

inline AppBase* get_app(const AppProgressBar& bar) { return bar.owner; }
inline CoreString get_title(const AppProgressBar& bar) { return bar.title; }
inline void release_progress_bar(AppProgressBar& bar) { bar.done = true; }

inline unsigned get_sample_count(const CtxMotionBlur& motion) { return motion.count; }
inline double get_first_time(const CtxMotionBlur&) { return 0.0; }
inline double get_time_step(const CtxMotionBlur& motion) {
    return motion.count < 2 ? 0.0 : 1.0 / (motion.count - 1);
}

inline void*& get_tree_ctx_slot(CtxShader& shader) { return shader.slots[7]; }
inline void*& get_ray_frame_slot(CtxShader& shader) { return shader.slots[2]; }
inline const CtxMotionBlur& get_motion_blur(const CtxShader& shader) { return *shader.motion_blur; }
inline unsigned get_motion_blur_sample_count(const CtxShader& shader) {
    return shader.motion_blur ? shader.motion_blur->count : 0u;
}
inline unsigned get_intersection_flags(const CtxShader& shader) {
    return static_cast<unsigned>(shader.settings[0]);
}
inline double get_intersection_bias(const CtxShader& shader) {
    return static_cast<double>(shader.settings[1]);
}

inline GeometryRaytraceCtx& get_ctx(GeometryRaytraceData& data) { return data.ctx; }
inline GeometryRaytraceData& get_data(GeometryRaytraceCtx& ctx) { return *ctx.data; }
inline unsigned get_ray_count(const GeometryRaytraceData& data) { return data.rays->count; }
inline int get_first_ray(const GeometryRaytraceData& data) { return data.begin; }
inline int get_last_ray(const GeometryRaytraceData& data) { return data.end - 1; }
inline void set_range(GeometryRaytraceData& data, int first, int last) {
    data.begin = static_cast<short>(first);
    data.end = static_cast<short>(last + 1);
}
inline unsigned char* get_hit_flags(GeometryRaytraceData& data) { return data.rays->hits.data(); }
inline const double* get_far_distances(const GeometryRaytraceData& data) {
    return data.rays->far_distances.data();
}
inline GMathBasicRay get_line(const GeometryRaytraceData& data, unsigned ray) {
    const SeamRays& rays = *data.rays;
    return {{rays.directions[0][ray], rays.directions[1][ray], rays.directions[2][ray]},
            {rays.origins[0][ray], rays.origins[1][ray], rays.origins[2][ray]}};
}
inline float get_time(const GeometryRaytraceData& data, unsigned ray) {
    return data.rays->times[ray];
}
inline int get_cache_slot(const GeometryRaytraceData& data, unsigned ray) {
    return data.rays->cache_slots[ray];
}
inline void drop_intersection_map(GeometryRaytraceData& data) { data.map = nullptr; }
inline GeometryIntersectionMap& take_intersection_map(GeometryRaytraceData& data) {
    data.map = &data.rays->map;
    return *data.map;
}
inline void set_intersection_settings(GeometryIntersectionMap& map, unsigned flags, float bias) {
    map.settings[0] = static_cast<double>(flags);
    map.settings[1] = static_cast<double>(bias);
}
inline bool has_intersection_map(const GeometryRaytraceData& data) { return data.map != nullptr; }
inline GeometryIntersectionMap& get_intersection_map(GeometryRaytraceData& data) {
    return *data.map;
}
inline double get_hit_distance(const GeometryIntersectionPath& path) { return path.distance; }

inline const GMathFrustum* get_frustum(const GeometryRaytraceData& data) {
    return data.rays->has_frustum ? &data.rays->frustum : nullptr;
}
inline unsigned get_plane_count(const GMathFrustum& frustum) { return frustum.used; }
inline GMathVec3<double> get_plane_normal(const GMathFrustum& frustum, unsigned plane) {
    return {-frustum.coefficients[0][plane], -frustum.coefficients[1][plane],
            -frustum.coefficients[2][plane]};
}
inline double get_plane_offset(const GMathFrustum& frustum, unsigned plane) {
    return frustum.coefficients[3][plane];
}

inline GMathVec3<double> get_origin(const GMathBasicRay& line) {
    return {static_cast<double>(line.origin.x), static_cast<double>(line.origin.y),
            static_cast<double>(line.origin.z)};
}
inline GMathVec3<double> get_inverse_direction(const GMathBasicRay& line) {
    return {static_cast<double>(1.0f / line.direction.x),
            static_cast<double>(1.0f / line.direction.y),
            static_cast<double>(1.0f / line.direction.z)};
}
inline unsigned get_sign(const GMathBasicRay& line, unsigned axis) {
    return line.direction[axis] < 0.0f ? 1u : 0u;
}

} // namespace gas_host
