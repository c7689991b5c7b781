#include <gas/traversal/gas_ray_entry.h>
#include <gas/traversal/gas_ray_stream.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

static_assert(GasTraversable<GasTree>);

void GasTree::ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                             const bool& single_leaf_shortcut) const {
    GasNoProbe probe;
    gas_trace_static<GasAllHits>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                             const bool& single_leaf_shortcut) const {
    GasNoProbe probe;
    gas_trace_motion<GasAllHits>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx,
                                     const bool& single_leaf_shortcut) const {
    GasNoProbe probe;
    gas_trace_static<GasNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx,
                                     const bool& single_leaf_shortcut) const {
    GasNoProbe probe;
    gas_trace_motion<GasNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasTree::ray_stream_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const {
    gas_stream_static<GasStreamAllHits>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const {
    gas_stream_motion<GasStreamAllHits>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx,
                                        const bool& single_leaf_shortcut) const {
    gas_stream_static<GasStreamNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx,
                                        const bool& single_leaf_shortcut) const {
    gas_stream_motion<GasStreamNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut);
}

} // namespace gas_abi1
