// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/host/app_base.h>
#include <gas/host/core_array.h>
#include <gas/host/core_vector.h>
#include <gas/host/ctx_shader.h>
#include <gas/host/geometry_raytrace.h>

inline namespace gas_abi1 {

/// Access to records whose layout is the host's. Each host writes these short functions for its own
/// records; these are the reference host's.
namespace gas_host {

/// Containers.
template <typename T> unsigned get_count(const CoreArray<T>& array) { return array.get_count(); }
template <typename T> const T* get_items(const CoreArray<T>& array) { return array.get_items(); }
template <typename T> unsigned get_count(const CoreVector<T>& vector) { return vector.get_count(); }
template <typename T> const T* get_items(const CoreVector<T>& vector) { return vector.get_items(); }

/// Vectors that collect results.
template <typename T> void clear(CoreVector<T>& vector) { vector.clear(); }
template <typename T> void append(CoreVector<T>& vector, const T& item) { vector.add(item); }

/// Progress bars: the two words that a build writes, the bar's application and its setting, and the
/// release of a bar that the library requested.
inline void set_progress_steps(AppProgressBar& bar, unsigned interval, float increment) {
    bar.set_step_interval(interval);
    bar.set_step_increment(increment);
}
inline unsigned get_build_method(const AppProgressBar& bar) {
    return bar.get_app().get_build_method();
}
inline AppBase* get_app(const AppProgressBar& bar) { return &bar.get_app(); }
inline CoreString get_title(const AppProgressBar& bar) { return bar.get_title(); }
inline void release_progress_bar(AppProgressBar& bar) { bar.release(); }

/// Shading contexts: the two slots of the library, motion blur, and what a nearest-hit batch
/// hands to its intersection map.
inline void*& get_tree_ctx_slot(CtxShader& shader) { return shader.tree_ctx_slot; }
inline void*& get_ray_frame_slot(CtxShader& shader) { return shader.ray_frame_slot; }
inline const CtxMotionBlur& get_motion_blur(const CtxShader& shader) {
    return shader.get_motion_blur();
}
inline unsigned get_motion_blur_sample_count(const CtxShader& shader) {
    return shader.get_motion_blur_sample_count();
}
inline unsigned get_intersection_flags(const CtxShader& shader) {
    return shader.intersection_flags;
}
inline double get_intersection_bias(const CtxShader& shader) { return shader.intersection_bias; }

/// Motion-blur settings: the number of samples, the first one's time and the step between two.
inline unsigned get_sample_count(const CtxMotionBlur& motion) { return motion.get_sample_count(); }
inline double get_first_time(const CtxMotionBlur& motion) {
    return static_cast<double>(motion.get_shutter_open());
}
inline double get_time_step(const CtxMotionBlur& motion) { return motion.get_time_step(); }

/// Ray batches.
inline GeometryRaytraceCtx& get_ctx(GeometryRaytraceData& data) { return data.get_ctx(); }
inline GeometryRaytraceData& get_data(GeometryRaytraceCtx& ctx) { return ctx.get_data(); }
inline unsigned get_ray_count(const GeometryRaytraceData& data) { return data.get_ray_count(); }
inline int get_first_ray(const GeometryRaytraceData& data) { return data.get_first_ray(); }
inline int get_last_ray(const GeometryRaytraceData& data) { return data.get_last_ray(); }
inline void set_range(GeometryRaytraceData& data, int first, int last) {
    data.set_range(first, last);
}
inline unsigned char* get_hit_flags(GeometryRaytraceData& data) {
    return data.get_arrays().hit_flags;
}
/// The batch's far distances; queries read them again after every callback.
inline const double* get_far_distances(const GeometryRaytraceData& data) {
    return data.get_arrays().far_distances;
}
inline const GMathBasicRay& get_line(const GeometryRaytraceData& data, unsigned ray) {
    return data.get_arrays().rays[ray].line;
}
inline float get_time(const GeometryRaytraceData& data, unsigned ray) {
    return data.get_arrays().rays[ray].time;
}
inline int get_cache_slot(const GeometryRaytraceData& data, unsigned ray) {
    return data.get_arrays().rays[ray].cache_slot;
}
inline void drop_intersection_map(GeometryRaytraceData& data) { data.use_intersection_map(false); }
/// The map of a nearest-hit query, which the batch uses from now on.
inline GeometryIntersectionMap& take_intersection_map(GeometryRaytraceData& data) {
    data.use_intersection_map(true);
    assert(data.get_intersection_map() && "a nearest-hit batch needs an intersection map");
    return *data.get_intersection_map();
}
inline void set_intersection_settings(GeometryIntersectionMap& map, unsigned flags, float bias) {
    map.intersection_flags = flags;
    map.intersection_bias = bias;
}
/// Whether there is a map with a path for every ray.
inline bool has_intersection_map(const GeometryRaytraceData& data) {
    const GeometryIntersectionMap* map = data.get_intersection_map();
    return map && map->get_count() >= data.get_ray_count();
}
inline GeometryIntersectionMap& get_intersection_map(GeometryRaytraceData& data) {
    assert(data.get_intersection_map() && "a nearest-hit query needs an intersection map");
    return *data.get_intersection_map();
}
inline double get_hit_distance(const GeometryIntersectionPath& path) {
    return path.get_hit_distance();
}

/// A region that holds every ray of the batch, or null.
inline const GMathFrustum* get_frustum(const GeometryRaytraceData& data) {
    return data.get_frustum();
}

/// Frustums: planes whose inside is where normal . p + offset >= 0.
inline unsigned get_plane_count(const GMathFrustum& frustum) { return frustum.get_plane_count(); }
inline const GMathVec3<double>& get_plane_normal(const GMathFrustum& frustum, unsigned plane) {
    return frustum.get_plane(plane).normal;
}
inline double get_plane_offset(const GMathFrustum& frustum, unsigned plane) {
    return frustum.get_plane(plane).offset;
}

/// Lines.
inline const GMathVec3<double>& get_origin(const GMathBasicRay& line) { return line.get_origin(); }
inline const GMathVec3<double>& get_inverse_direction(const GMathBasicRay& line) {
    return line.get_inverse_direction();
}
inline unsigned get_sign(const GMathBasicRay& line, unsigned axis) { return line.get_sign(axis); }

} // namespace gas_host

} // namespace gas_abi1
