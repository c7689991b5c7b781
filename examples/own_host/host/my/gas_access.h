// SPDX-License-Identifier: Apache-2.0
#pragma once

// A part of gas_host.h, which is included in its place.
#include <my/gas_host.h>

/// How Gas reads records whose layout is the renderer's.
namespace gas_host {

// Arrays.
template <typename T> unsigned get_count(const CoreArray<T>& array) { return array.get_count(); }
template <typename T> const T* get_items(const CoreArray<T>& array) { return array.get_items(); }
template <typename T> unsigned get_count(const CoreVector<T>& vector) { return vector.get_count(); }
template <typename T> const T* get_items(const CoreVector<T>& vector) { return vector.get_items(); }
template <typename T> void clear(CoreVector<T>& vector) { vector.clear(); }
template <typename T> void append(CoreVector<T>& vector, const T& item) { vector.add(item); }

// Progress.
inline void set_progress_steps(my::Bar& bar, unsigned interval, float increment) {
    bar.interval = bar.next = interval;
    bar.increment = increment;
}
inline unsigned get_build_method(const my::Bar& bar) { return bar.app->build_method; }
inline my::App* get_app(const my::Bar& bar) { return bar.app; }
inline my::Text get_title(const my::Bar&) { return {}; }
inline void release_progress_bar(my::Bar& bar) { bar.app->drop(bar); }

// Contexts.
inline void*& get_tree_ctx_slot(my::ThreadState& state) { return state.scratch[0]; }
inline void*& get_ray_frame_slot(my::ThreadState& state) { return state.scratch[1]; }
inline const my::Shutter& get_motion_blur(const my::ThreadState& state) { return state.shutter; }
inline unsigned get_motion_blur_sample_count(const my::ThreadState& state) {
    return state.shutter.samples;
}
inline unsigned get_intersection_flags(const my::ThreadState&) { return 0; }
inline double get_intersection_bias(const my::ThreadState&) { return 0; }
inline unsigned get_sample_count(const my::Shutter& shutter) { return shutter.samples; }
inline double get_first_time(const my::Shutter& shutter) { return shutter.open; }
inline double get_time_step(const my::Shutter& shutter) { return shutter.get_step(); }

// Ray batches.
inline my::ViewCtx& get_ctx(my::View& view) { return view.ctx; }
inline my::View& get_data(my::ViewCtx& ctx) { return *ctx.view; }
inline unsigned get_ray_count(const my::View& view) {
    return view.rays ? view.rays->get_count() : 0;
}
inline int get_first_ray(const my::View& view) { return view.first; }
inline int get_last_ray(const my::View& view) { return view.last; }
inline void set_range(my::View& view, int first, int last) {
    view.first = first;
    view.last = last;
}
inline unsigned char* get_hit_flags(my::View& view) { return view.rays->is_hit.data(); }
inline const double* get_far_distances(const my::View& view) {
    return view.rays->far_distances.data();
}
inline const my::Line& get_line(const my::View& view, unsigned ray) {
    return view.rays->lines[ray];
}
inline float get_time(const my::View& view, unsigned ray) { return view.rays->times[ray]; }
inline int get_cache_slot(const my::View&, unsigned) { return 0; }
inline const my::Region* get_frustum(const my::View& view) { return view.rays->region; }

// Their nearest hits.
inline void drop_intersection_map(my::View& view) { view.has_hits = false; }
inline my::Hits& take_intersection_map(my::View& view) {
    view.has_hits = true;
    return view.rays->hits;
}
inline bool has_intersection_map(const my::View& view) {
    return view.has_hits && view.rays->hits.items.size() >= view.rays->lines.size();
}
inline my::Hits& get_intersection_map(my::View& view) { return view.rays->hits; }
inline void set_intersection_settings(my::Hits& hits, unsigned flags, float bias) {
    hits.flags = flags;
    hits.bias = bias;
}
inline double get_hit_distance(const my::Hit& hit) { return hit.distance; }

// Lines and regions.
inline const my::Vec<double>& get_origin(const my::Line& line) { return line.origin; }
inline const my::Vec<double>& get_inverse_direction(const my::Line& line) { return line.inverse; }
inline unsigned get_sign(const my::Line& line, unsigned axis) {
    return line.direction[axis] < 0 ? 1 : 0;
}
inline unsigned get_plane_count(const my::Region& region) { return unsigned(region.planes.size()); }
inline const my::Vec<double>& get_plane_normal(const my::Region& region, unsigned plane) {
    return region.planes[plane].normal;
}
inline double get_plane_offset(const my::Region& region, unsigned plane) {
    return region.planes[plane].offset;
}

} // namespace gas_host
