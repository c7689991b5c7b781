#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

/// A top tree of one cell needs no test of its box: the cell's tree tests its own.
constexpr bool single_leaf_shortcut = true;

const GasGridTree& get_grid(void* user) { return *static_cast<const GasGridTree*>(user); }

} // namespace

void GasGridTree::ray_hit_static(const CtxEval& eval, CtxShader& shader,
                                 GeometryRaytraceCtx& ctx) const {
    m_top_tree.ray_hit_static(eval, shader, ctx, single_leaf_shortcut);
}

void GasGridTree::ray_hit_motion(const CtxEval& eval, CtxShader& shader,
                                 GeometryRaytraceCtx& ctx) const {
    m_top_tree.ray_hit_motion(eval, shader, ctx, single_leaf_shortcut);
}

void GasGridTree::ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                         GeometryRaytraceCtx& ctx) const {
    m_top_tree.ray_hit_nearest_static(eval, shader, ctx, single_leaf_shortcut);
}

void GasGridTree::ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                         GeometryRaytraceCtx& ctx) const {
    m_top_tree.ray_hit_nearest_motion(eval, shader, ctx, single_leaf_shortcut);
}

void GasGridTree::grid_cell_ray_hit_static(const unsigned& cell, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    if (const GasGridSubTree* const sub_tree = get_sub_tree(cell))
        sub_tree->ray_hit_static(eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_static(const unsigned& cell, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    if (const GasGridSubTree* const sub_tree = get_sub_tree(cell))
        sub_tree->ray_hit_nearest_static(eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_motion(const unsigned& cell, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    if (const GasGridSubTree* const sub_tree = get_moving_sub_tree(shader, cell))
        sub_tree->ray_hit_motion(eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_motion(const unsigned& cell, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    if (const GasGridSubTree* const sub_tree = get_moving_sub_tree(shader, cell))
        sub_tree->ray_hit_nearest_motion(eval, shader, ctx);
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

void GasGridTree::grid_cell_ray_hit_static_callback(void* user, const unsigned& cell,
                                                    const CtxEval& eval, CtxShader& shader,
                                                    GeometryRaytraceCtx& ctx) {
    get_grid(user).grid_cell_ray_hit_static(cell, eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_motion_callback(void* user, const unsigned& cell,
                                                    const CtxEval& eval, CtxShader& shader,
                                                    GeometryRaytraceCtx& ctx) {
    get_grid(user).grid_cell_ray_hit_motion(cell, eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_static_callback(void* user, const unsigned& cell,
                                                            const CtxEval& eval, CtxShader& shader,
                                                            GeometryRaytraceCtx& ctx) {
    get_grid(user).grid_cell_ray_hit_nearest_static(cell, eval, shader, ctx);
}

void GasGridTree::grid_cell_ray_hit_nearest_motion_callback(void* user, const unsigned& cell,
                                                            const CtxEval& eval, CtxShader& shader,
                                                            GeometryRaytraceCtx& ctx) {
    get_grid(user).grid_cell_ray_hit_nearest_motion(cell, eval, shader, ctx);
}

} // namespace gas_abi1
