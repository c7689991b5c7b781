// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_walk_counts.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// The query or stream of a tree that `call` and `way` name, with the same calls in the same
/// sequence; adds to `counts`. Cells of a grid are built as rays reach them.
void gas_counted_rays(const GasTree& tree, GasRayCall call, GasRayWay way, const CtxEval& eval,
                      CtxShader& shader, GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                      GasWalkCounts& counts);
void gas_counted_rays(const GasCompressedTree& tree, GasRayCall call, GasRayWay way,
                      const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                      GasWalkCounts& counts);
void gas_counted_rays(const GasGridTree& tree, GasRayCall call, GasRayWay way, const CtxEval& eval,
                      CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& counts);

} // namespace gas_abi1
