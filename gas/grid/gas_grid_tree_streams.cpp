#include <gas/grid/gas_grid_cell_leaves.h>

inline namespace gas_abi1 {

void GasGridTree::ray_stream_static(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_dispatch_grid_rays<GasRayCall::hit_static, GasRayWay::stream>(*this, eval, shader, ctx);
}

void GasGridTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_dispatch_grid_rays<GasRayCall::hit_motion, GasRayWay::stream>(*this, eval, shader, ctx);
}

void GasGridTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_dispatch_grid_rays<GasRayCall::nearest_static, GasRayWay::stream>(*this, eval, shader, ctx);
}

void GasGridTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_dispatch_grid_rays<GasRayCall::nearest_motion, GasRayWay::stream>(*this, eval, shader, ctx);
}

} // namespace gas_abi1
