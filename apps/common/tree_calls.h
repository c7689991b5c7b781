#pragma once

#include <type_traits>

#include <gas/diagnostics/gas_counted_rays.h>
#include <gas/diagnostics/gas_counted_streams.h>

namespace gas_app {

/// The ray queries of a tree class, its streams, and both with counters in them; the four of each
/// in the order of `get_index`. `Shortcut`: the type of the argument about trees of a single leaf,
/// where a class has one.
template <typename Tree, typename... Shortcut> struct TreeCallsOf {
    using Call = void (Tree::*)(const CtxEval&, CtxShader&, GeometryRaytraceCtx&,
                                Shortcut...) const;
    using CountedCall = void (*)(const Tree&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&,
                                 Shortcut..., GasWalkCounts&);

    static constexpr unsigned get_index(bool is_nearest, bool in_motion) {
        return (is_nearest ? 2u : 0u) + (in_motion ? 1u : 0u);
    }

    static constexpr Call queries[] = {&Tree::ray_hit_static, &Tree::ray_hit_motion,
                                       &Tree::ray_hit_nearest_static,
                                       &Tree::ray_hit_nearest_motion};
    static constexpr Call streams[] = {&Tree::ray_stream_static, &Tree::ray_stream_motion,
                                       &Tree::ray_stream_nearest_static,
                                       &Tree::ray_stream_nearest_motion};
    static constexpr CountedCall counted_queries[] = {
        gas_counted_ray_hit_static, gas_counted_ray_hit_motion, gas_counted_ray_hit_nearest_static,
        gas_counted_ray_hit_nearest_motion};
    static constexpr CountedCall counted_streams[] = {
        gas_counted_ray_stream_static, gas_counted_ray_stream_motion,
        gas_counted_ray_stream_nearest_static, gas_counted_ray_stream_nearest_motion};
};

template <typename Tree>
using TreeCalls = std::conditional_t<std::is_same_v<Tree, GasTree>, TreeCallsOf<Tree, const bool&>,
                                     TreeCallsOf<Tree>>;

} // namespace gas_app
