#include <gas/diagnostics/gas_counted_rays.h>

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/diagnostics/gas_counting_probe.h>
#include <gas/traversal/gas_ray_entry.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

void gas_counted_ray_hit_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_static<GasAllHits>(tree, eval, shader, ctx, single_leaf_shortcut, probe);
}

void gas_counted_ray_hit_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_motion<GasAllHits>(tree, eval, shader, ctx, single_leaf_shortcut, probe);
}

void gas_counted_ray_hit_nearest_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                        GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_static<GasNearestHit>(tree, eval, shader, ctx, single_leaf_shortcut, probe);
}

void gas_counted_ray_hit_nearest_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                        GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_motion<GasNearestHit>(tree, eval, shader, ctx, single_leaf_shortcut, probe);
}

void gas_counted_ray_hit_static(const GasCompressedTree& tree, const CtxEval& eval,
                                CtxShader& shader, GeometryRaytraceCtx& ctx,
                                GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_static<GasAllHits>(tree, eval, shader, ctx, true, probe);
}

void gas_counted_ray_hit_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                CtxShader& shader, GeometryRaytraceCtx& ctx,
                                GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_motion<GasAllHits>(tree, eval, shader, ctx, true, probe);
}

void gas_counted_ray_hit_nearest_static(const GasCompressedTree& tree, const CtxEval& eval,
                                        CtxShader& shader, GeometryRaytraceCtx& ctx,
                                        GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_static<GasNearestHit>(tree, eval, shader, ctx, true, probe);
}

void gas_counted_ray_hit_nearest_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                        CtxShader& shader, GeometryRaytraceCtx& ctx,
                                        GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_trace_motion<GasNearestHit>(tree, eval, shader, ctx, true, probe);
}

} // namespace gas_abi1
