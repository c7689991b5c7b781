#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/gas_ray_entry.h>

static_assert(GasTraversable<GasCompressedTree>);

void GasCompressedTree::ray_hit_static(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_static<GasAllHits>(*this, eval, shader, ctx, true, probe);
}

void GasCompressedTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_motion<GasAllHits>(*this, eval, shader, ctx, true, probe);
}

void GasCompressedTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                               GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_static<GasNearestHit>(*this, eval, shader, ctx, true, probe);
}

void GasCompressedTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                               GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_motion<GasNearestHit>(*this, eval, shader, ctx, true, probe);
}
