#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_walk_counts.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// As GasTree's streams of these names; add to `counts`.
void gas_counted_ray_stream_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                   GasWalkCounts& counts);
void gas_counted_ray_stream_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                   GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_static(const GasTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           const bool& single_leaf_shortcut, GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_motion(const GasTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           const bool& single_leaf_shortcut, GasWalkCounts& counts);

/// As GasCompressedTree's streams of these names; add to `counts`.
void gas_counted_ray_stream_static(const GasCompressedTree& tree, const CtxEval& eval,
                                   CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   GasWalkCounts& counts);
void gas_counted_ray_stream_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                   CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_static(const GasCompressedTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts);

/// As GasGridTree's streams of these names; add to `counts`. Cells are built as rays reach them.
void gas_counted_ray_stream_static(const GasGridTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, GasWalkCounts& counts);
void gas_counted_ray_stream_motion(const GasGridTree& tree, const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx, GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_static(const GasGridTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts);
void gas_counted_ray_stream_nearest_motion(const GasGridTree& tree, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx,
                                           GasWalkCounts& counts);

} // namespace gas_abi1
