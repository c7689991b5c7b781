// SPDX-License-Identifier: Apache-2.0
#include <gas/isa/gas_ray_calls.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

void GasTree::ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                             const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::hit_static, GasRayWay::query>(*this, eval, shader, ctx,
                                                           single_leaf_shortcut);
}

void GasTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                             const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::hit_motion, GasRayWay::query>(*this, eval, shader, ctx,
                                                           single_leaf_shortcut);
}

void GasTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx,
                                     const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::nearest_static, GasRayWay::query>(*this, eval, shader, ctx,
                                                               single_leaf_shortcut);
}

void GasTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx,
                                     const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::nearest_motion, GasRayWay::query>(*this, eval, shader, ctx,
                                                               single_leaf_shortcut);
}

void GasTree::ray_stream_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::hit_static, GasRayWay::stream>(*this, eval, shader, ctx,
                                                            single_leaf_shortcut);
}

void GasTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::hit_motion, GasRayWay::stream>(*this, eval, shader, ctx,
                                                            single_leaf_shortcut);
}

void GasTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx,
                                        const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::nearest_static, GasRayWay::stream>(*this, eval, shader, ctx,
                                                                single_leaf_shortcut);
}

void GasTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx,
                                        const bool& single_leaf_shortcut) const {
    gas_run_rays<GasRayCall::nearest_motion, GasRayWay::stream>(*this, eval, shader, ctx,
                                                                single_leaf_shortcut);
}

} // namespace gas_abi1
