#include <gas/diagnostics/gas_counted_streams.h>

#include <gas/diagnostics/gas_counted_dispatch.h>

inline namespace gas_abi1 {

void gas_counted_ray_stream_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                   GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              single_leaf_shortcut, counts);
}

void gas_counted_ray_stream_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                   GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              single_leaf_shortcut, counts);
}

void gas_counted_ray_stream_nearest_static(const GasTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           const bool& single_leaf_shortcut,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  single_leaf_shortcut, counts);
}

void gas_counted_ray_stream_nearest_motion(const GasTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           const bool& single_leaf_shortcut,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  single_leaf_shortcut, counts);
}

void gas_counted_ray_stream_static(const GasCompressedTree& tree, const CtxEval& eval,
                                   CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                   CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_nearest_static(const GasCompressedTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_nearest_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_static(const GasGridTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_motion(const GasGridTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::hit_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                              gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_nearest_static(const GasGridTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_static, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  gas_calls_lone_leaf, counts);
}

void gas_counted_ray_stream_nearest_motion(const GasGridTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts) {
    gas_count_rays<GasRayCall::nearest_motion, GasRayWay::stream>(tree, eval, shader, ctx,
                                                                  gas_calls_lone_leaf, counts);
}

} // namespace gas_abi1
