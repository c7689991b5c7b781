#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/gas_ray_entry.h>
#include <gas/traversal/gas_ray_stream.h>

inline namespace gas_abi1 {

static_assert(GasTraversable<GasCompressedTree>);

namespace {

/// A lone leaf is called for all rays at once, and its box is never tested.
constexpr bool single_leaf_shortcut = true;

} // namespace

void GasCompressedTree::ray_hit_static(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_static<GasAllHits>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasCompressedTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader,
                                       GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_motion<GasAllHits>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasCompressedTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                               GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_static<GasNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasCompressedTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                               GeometryRaytraceCtx& ctx) const {
    GasNoProbe probe;
    gas_trace_motion<GasNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut, probe);
}

void GasCompressedTree::ray_stream_static(const CtxEval& eval, CtxShader& shader,
                                          GeometryRaytraceCtx& ctx) const {
    gas_stream_static<GasStreamAllHits>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasCompressedTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader,
                                          GeometryRaytraceCtx& ctx) const {
    gas_stream_motion<GasStreamAllHits>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasCompressedTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                                  GeometryRaytraceCtx& ctx) const {
    gas_stream_static<GasStreamNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut);
}

void GasCompressedTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                                  GeometryRaytraceCtx& ctx) const {
    gas_stream_motion<GasStreamNearestHit>(*this, eval, shader, ctx, single_leaf_shortcut);
}

} // namespace gas_abi1
