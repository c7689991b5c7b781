// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

namespace support {

/// The four ray queries of a tree, and the leaf callbacks of the same names.
enum class RayQuery { hit_static, hit_motion, nearest_static, nearest_motion };

inline constexpr RayQuery all_ray_queries[] = {RayQuery::hit_static, RayQuery::hit_motion,
                                               RayQuery::nearest_static, RayQuery::nearest_motion};

inline const char* name(RayQuery query) {
    constexpr const char* names[] = {"hit_static", "hit_motion", "nearest_static",
                                     "nearest_motion"};
    return names[static_cast<unsigned>(query)];
}
/// Of a query over wide nodes or without.
inline std::string name(const std::tuple<RayQuery, bool>& way) {
    return std::string(name(std::get<RayQuery>(way))) + (std::get<bool>(way) ? "_wide" : "_binary");
}
inline bool is_nearest(RayQuery query) {
    return query == RayQuery::nearest_static || query == RayQuery::nearest_motion;
}
inline bool is_motion(RayQuery query) {
    return query == RayQuery::hit_motion || query == RayQuery::nearest_motion;
}
/// The static query that a motion query of a tree without motion samples becomes.
inline RayQuery without_motion(RayQuery query) {
    return is_nearest(query) ? RayQuery::nearest_static : RayQuery::hit_static;
}

/// Whether a batch of several rays goes through the tree together, a leaf callback for a range of
/// them. The tree has motion samples.
inline bool goes_together(RayQuery query) { return query == RayQuery::nearest_static; }

/// Runs one query of a tree of any class, or the stream of that kind; a GasTree is told of the
/// shortcut as well.
template <bool is_stream = false, typename Tree, typename... Shortcut>
void trace_query(const Tree& tree, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                 const CtxEval& eval, Shortcut... shortcut) {
    switch (query) {
    case RayQuery::hit_static:
        return is_stream ? tree.ray_stream_static(eval, shader, rays, shortcut...)
                         : tree.ray_hit_static(eval, shader, rays, shortcut...);
    case RayQuery::hit_motion:
        return is_stream ? tree.ray_stream_motion(eval, shader, rays, shortcut...)
                         : tree.ray_hit_motion(eval, shader, rays, shortcut...);
    case RayQuery::nearest_static:
        return is_stream ? tree.ray_stream_nearest_static(eval, shader, rays, shortcut...)
                         : tree.ray_hit_nearest_static(eval, shader, rays, shortcut...);
    case RayQuery::nearest_motion:
        return is_stream ? tree.ray_stream_nearest_motion(eval, shader, rays, shortcut...)
                         : tree.ray_hit_nearest_motion(eval, shader, rays, shortcut...);
    }
}

/// The same, by default without the shortcut.
inline void trace(const GasTree& tree, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                  bool single_leaf_shortcut = false, const CtxEval& eval = CtxEval()) {
    trace_query(tree, query, shader, rays, eval, single_leaf_shortcut);
}
/// A compressed tree always takes the shortcut.
inline void trace(const GasCompressedTree& tree, RayQuery query, CtxShader& shader,
                  GeometryRaytraceCtx& rays, bool = true, const CtxEval& eval = CtxEval()) {
    trace_query(tree, query, shader, rays, eval);
}

/// As a stream, by default without the shortcut where a tree has the choice.
template <typename Tree>
void trace_stream(const Tree& tree, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                  bool single_leaf_shortcut = false, const CtxEval& eval = CtxEval()) {
    if constexpr (std::is_same_v<Tree, GasTree>)
        trace_query<true>(tree, query, shader, rays, eval, single_leaf_shortcut);
    else
        trace_query<true>(tree, query, shader, rays, eval);
}

/// What a leaf callback was called with.
struct LeafCall {
    RayQuery callback;
    unsigned item;
    int first_ray;
    int last_ray;
    const CtxEval* eval;
    const CtxShader* shader;
    GeometryRaytraceCtx* rays;
};

/// Leaf callbacks that write down their calls and then do what `react` says.
class RecordingCallbacks {
  public:
    using React = std::function<void(unsigned item, CtxShader& shader, GeometryRaytraceCtx& rays)>;

    RecordingCallbacks() = default;
    template <typename Tree> explicit RecordingCallbacks(Tree& tree) { attach(tree); }
    RecordingCallbacks(const RecordingCallbacks&) = delete;
    RecordingCallbacks& operator=(const RecordingCallbacks&) = delete;

    template <typename Tree> void attach(Tree& tree) {
        tree.set_leaf_raytrace_callbacks(record<RayQuery::hit_static>, record<RayQuery::hit_motion>,
                                         record<RayQuery::nearest_static>,
                                         record<RayQuery::nearest_motion>, this);
    }

    /// Rays that callbacks were asked about, each as often as it was; forgets the calls.
    unsigned take_ray_count() {
        int count = 0;
        for (const LeafCall& call : calls)
            count += call.last_ray - call.first_ray + 1;
        calls.clear();
        return static_cast<unsigned>(count);
    }

    /// The recorded items in order; forgets the calls.
    std::vector<unsigned> take_items() {
        std::vector<unsigned> items;
        for (const LeafCall& call : calls)
            items.push_back(call.item);
        calls.clear();
        return items;
    }

    /// Writes a call down in `user`, which is a RecordingCallbacks.
    template <RayQuery callback>
    static void record(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& rays) {
        RecordingCallbacks& self = *static_cast<RecordingCallbacks*>(user);
        {
            const std::lock_guard<std::mutex> guard(self.m_mutex);
            self.calls.push_back(
                {callback, item, rays.get_first_ray(), rays.get_last_ray(), &eval, &shader, &rays});
        }
        if (self.react)
            self.react(item, shader, rays);
    }

    std::vector<LeafCall> calls;
    React react;

  private:
    /// Threads may trace at the same time, as tasks of a cell do whose box callbacks trace.
    std::mutex m_mutex;
};

/// Calls `visit(ray)` for each ray that a callback is asked about.
template <typename Visit> void for_each_ray(const GeometryRaytraceCtx& rays, const Visit& visit) {
    for (int ray = rays.get_first_ray(); ray <= rays.get_last_ray(); ++ray)
        visit(static_cast<unsigned>(ray));
}

/// The ray that a callback is asked about, when it is one.
inline unsigned get_only_ray(const GeometryRaytraceCtx& rays) {
    return static_cast<unsigned>(rays.get_first_ray());
}

} // namespace support
