#pragma once

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/diagnostics/gas_counting_probe.h>
#include <gas/grid/gas_grid_cell_leaves.h>

inline namespace gas_abi1 {

/// The dispatch with a counting probe, the same for all trees.
template <GasRayCall call, GasRayWay way, typename Tree>
void gas_count_rays(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& ctx, bool single_leaf_shortcut, GasWalkCounts& counts) {
    gas_dispatch_rays<call, way>(tree, eval, shader, ctx, single_leaf_shortcut,
                                 GasCountingProbe{counts});
}

template <GasRayCall call, GasRayWay way>
void gas_count_rays(const GasGridTree& grid, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& ctx, bool, GasWalkCounts& counts) {
    gas_dispatch_grid_rays<call, way>(grid, eval, shader, ctx, GasCountingProbe{counts});
}

} // namespace gas_abi1
