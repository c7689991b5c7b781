// SPDX-License-Identifier: Apache-2.0
#include <gas/grid/gas_grid_cell_leaves.h>
#include <gas/isa/gas_ray_calls.h>

inline namespace gas_abi1 {

void GasGridTree::ray_hit_static(const CtxEval& eval, CtxShader& shader,
                                 GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::hit_static, GasRayWay::query>(*this, eval, shader, ctx,
                                                           gas_calls_lone_leaf);
}

void GasGridTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader,
                                 GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::hit_motion, GasRayWay::query>(*this, eval, shader, ctx,
                                                           gas_calls_lone_leaf);
}

void GasGridTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                         GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::nearest_static, GasRayWay::query>(*this, eval, shader, ctx,
                                                               gas_calls_lone_leaf);
}

void GasGridTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                         GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::nearest_motion, GasRayWay::query>(*this, eval, shader, ctx,
                                                               gas_calls_lone_leaf);
}

void GasGridTree::ray_stream_static(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::hit_static, GasRayWay::stream>(*this, eval, shader, ctx,
                                                            gas_calls_lone_leaf);
}

void GasGridTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::hit_motion, GasRayWay::stream>(*this, eval, shader, ctx,
                                                            gas_calls_lone_leaf);
}

void GasGridTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::nearest_static, GasRayWay::stream>(*this, eval, shader, ctx,
                                                                gas_calls_lone_leaf);
}

void GasGridTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_run_rays<GasRayCall::nearest_motion, GasRayWay::stream>(*this, eval, shader, ctx,
                                                                gas_calls_lone_leaf);
}

/// A cell's tree with its samples filled; null where there is none.
GasGridSubTree* GasGridTree::get_moving_sub_tree(const CtxShader& shader,
                                                 const unsigned& cell) const {
    GasGridSubTree* const sub_tree = get_sub_tree(cell);
    if (!sub_tree)
        return nullptr;
    if (sub_tree->is_motion_update_pending())
        update_sub_tree_motion_blur(gas_host::get_motion_blur(shader), cell);
    return sub_tree->is_motion_update_pending() ? nullptr : sub_tree;
}

// What the top tree's callbacks do for those that trace it on its own.

void GasGridTree::grid_cell_ray_hit_static(const unsigned& cell, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    gas_trace_cell<GasRayCall::hit_static, GasRayWay::query>(*this, cell, eval, shader, ctx,
                                                             GasNoProbe());
}

void GasGridTree::grid_cell_ray_hit_static_callback(void* user, const unsigned& cell,
                                                    const CtxEval& eval, CtxShader& shader,
                                                    GeometryRaytraceCtx& ctx) {
    static_cast<const GasGridTree*>(user)->grid_cell_ray_hit_static(cell, eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_motion(const unsigned& cell, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    gas_trace_cell<GasRayCall::hit_motion, GasRayWay::query>(*this, cell, eval, shader, ctx,
                                                             GasNoProbe());
}

void GasGridTree::grid_cell_ray_hit_motion_callback(void* user, const unsigned& cell,
                                                    const CtxEval& eval, CtxShader& shader,
                                                    GeometryRaytraceCtx& ctx) {
    static_cast<const GasGridTree*>(user)->grid_cell_ray_hit_motion(cell, eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_static(const unsigned& cell, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    gas_trace_cell<GasRayCall::nearest_static, GasRayWay::query>(*this, cell, eval, shader, ctx,
                                                                 GasNoProbe());
}

void GasGridTree::grid_cell_ray_hit_nearest_static_callback(void* user, const unsigned& cell,
                                                            const CtxEval& eval, CtxShader& shader,
                                                            GeometryRaytraceCtx& ctx) {
    static_cast<const GasGridTree*>(user)->grid_cell_ray_hit_nearest_static(cell, eval, shader,
                                                                            ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_motion(const unsigned& cell, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    gas_trace_cell<GasRayCall::nearest_motion, GasRayWay::query>(*this, cell, eval, shader, ctx,
                                                                 GasNoProbe());
}

void GasGridTree::grid_cell_ray_hit_nearest_motion_callback(void* user, const unsigned& cell,
                                                            const CtxEval& eval, CtxShader& shader,
                                                            GeometryRaytraceCtx& ctx) {
    static_cast<const GasGridTree*>(user)->grid_cell_ray_hit_nearest_motion(cell, eval, shader,
                                                                            ctx);
}

} // namespace gas_abi1
