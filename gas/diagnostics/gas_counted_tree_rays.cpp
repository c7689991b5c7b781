// SPDX-License-Identifier: Apache-2.0
#include <gas/diagnostics/gas_counted_dispatch.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

void gas_counted_rays(const GasTree& tree, GasRayCall call, GasRayWay way, const CtxEval& eval,
                      CtxShader& shader, GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                      GasWalkCounts& counts) {
    gas_with_call(call, way, [&]<GasRayCall asked, GasRayWay handed>() {
        gas_dispatch_rays<asked, handed>(tree, eval, shader, ctx, single_leaf_shortcut,
                                         GasCountingProbe{counts});
    });
}

} // namespace gas_abi1
