#pragma once

#include <gas/diagnostics/gas_counted_rays.h>
#include <gas/diagnostics/gas_counted_streams.h>

#include <tests/support/recording_callbacks.h>

namespace support {

/// Runs one query through the counting engines; `shortcut` is what the tree's queries take.
template <typename Tree, typename... Shortcut>
void trace_counted(const Tree& tree, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                   GasWalkCounts& counts, Shortcut... shortcut) {
    const CtxEval eval;
    switch (query) {
    case RayQuery::hit_static:
        return gas_counted_ray_hit_static(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::hit_motion:
        return gas_counted_ray_hit_motion(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::nearest_static:
        return gas_counted_ray_hit_nearest_static(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::nearest_motion:
        return gas_counted_ray_hit_nearest_motion(tree, eval, shader, rays, shortcut..., counts);
    }
}

/// Runs the stream of that kind.
template <typename Tree, typename... Shortcut>
void trace_counted_stream(const Tree& tree, RayQuery query, CtxShader& shader,
                          GeometryRaytraceCtx& rays, GasWalkCounts& counts, Shortcut... shortcut) {
    const CtxEval eval;
    switch (query) {
    case RayQuery::hit_static:
        return gas_counted_ray_stream_static(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::hit_motion:
        return gas_counted_ray_stream_motion(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::nearest_static:
        return gas_counted_ray_stream_nearest_static(tree, eval, shader, rays, shortcut..., counts);
    case RayQuery::nearest_motion:
        return gas_counted_ray_stream_nearest_motion(tree, eval, shader, rays, shortcut..., counts);
    }
}

} // namespace support
