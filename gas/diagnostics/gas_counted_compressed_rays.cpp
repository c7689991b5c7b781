// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_stream_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/diagnostics/gas_counted_dispatch.h>

inline namespace gas_abi1 {

void gas_counted_rays(const GasCompressedTree& tree, GasRayCall call, GasRayWay way,
                      const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                      GasWalkCounts& counts) {
    gas_with_call(call, way, [&]<GasRayCall asked, GasRayWay handed>() {
        gas_dispatch_rays<asked, handed>(tree, eval, shader, ctx, gas_calls_lone_leaf,
                                         GasCountingProbe{counts});
    });
}

} // namespace gas_abi1
