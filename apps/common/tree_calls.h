// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

#include <gas/diagnostics/gas_counted_rays.h>

namespace gas_app {

/// What a ray asks of a tree.
inline GasRayCall get_ray_call(bool is_nearest, bool in_motion) {
    if (is_nearest)
        return in_motion ? GasRayCall::nearest_motion : GasRayCall::nearest_static;
    return in_motion ? GasRayCall::hit_motion : GasRayCall::hit_static;
}

/// The ray queries and the streams of a tree class, in the order of GasRayCall. `Shortcut`: the
/// type of the argument about trees of a single leaf, where a class has one.
template <typename Tree, typename... Shortcut> struct TreeCallsOf {
    using Call = void (Tree::*)(const CtxEval&, CtxShader&, GeometryRaytraceCtx&,
                                Shortcut...) const;

    static constexpr Call get(GasRayCall call, GasRayWay way) {
        return (way == GasRayWay::stream ? streams : queries)[static_cast<unsigned>(call)];
    }

  private:
    static constexpr Call queries[] = {&Tree::ray_hit_static, &Tree::ray_hit_motion,
                                       &Tree::ray_hit_nearest_static,
                                       &Tree::ray_hit_nearest_motion};
    static constexpr Call streams[] = {&Tree::ray_stream_static, &Tree::ray_stream_motion,
                                       &Tree::ray_stream_nearest_static,
                                       &Tree::ray_stream_nearest_motion};
};

template <typename Tree>
using TreeCalls = std::conditional_t<std::is_same_v<Tree, GasTree>, TreeCallsOf<Tree, const bool&>,
                                     TreeCallsOf<Tree>>;

/// Runs a query or a stream of a tree of any class, one of a single leaf like all others where its
/// class has the choice.
template <typename Tree>
void call_tree(const Tree& tree, GasRayCall call, GasRayWay way, const CtxEval& eval,
               CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const auto member = TreeCalls<Tree>::get(call, way);
    if constexpr (std::is_same_v<Tree, GasTree>)
        (tree.*member)(eval, shader, ctx, false);
    else
        (tree.*member)(eval, shader, ctx);
}

} // namespace gas_app
