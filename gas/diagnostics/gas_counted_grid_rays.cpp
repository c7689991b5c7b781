// SPDX-License-Identifier: Apache-2.0
#include <gas/diagnostics/gas_counted_dispatch.h>
#include <gas/grid/gas_grid_cell_leaves.h>

inline namespace gas_abi1 {

void gas_counted_rays(const GasGridTree& tree, GasRayCall call, GasRayWay way, const CtxEval& eval,
                      CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& counts) {
    gas_with_call(call, way, [&]<GasRayCall asked, GasRayWay handed>() {
        gas_dispatch_grid_rays<asked, handed>(tree, eval, shader, ctx, GasCountingProbe{counts});
    });
}

} // namespace gas_abi1
