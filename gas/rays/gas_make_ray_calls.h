// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_stream_nodes.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/grid/gas_grid_cell_leaves.h>
#include <gas/isa/gas_ray_calls.h>
#include <gas/traversal/gas_ray_dispatch.h>
#include <gas/tree/gas_node_pass.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

static_assert(GasTraversable<GasTree> && GasWideTraversable<GasTree>);
static_assert(GasTraversable<GasCompressedTree> && !GasWideTraversable<GasCompressedTree>);

/// Makes the functions of a GasRayCalls for the instruction set that the file is compiled for.

template <typename Tree, GasRayCall call, GasRayWay way>
void gas_run_tree_rays(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& rays, bool single_leaf_shortcut) {
    if constexpr (std::is_same_v<Tree, GasGridTree>)
        gas_dispatch_grid_rays<call, way>(tree, eval, shader, rays);
    else
        gas_dispatch_rays<call, way>(tree, eval, shader, rays, single_leaf_shortcut);
}

template <typename Tree> constexpr GasTreeRayCalls<Tree> gas_make_tree_ray_calls() {
    using enum GasRayCall;
    using enum GasRayWay;
    return {
        {{gas_run_tree_rays<Tree, hit_static, query>, gas_run_tree_rays<Tree, hit_motion, query>,
          gas_run_tree_rays<Tree, nearest_static, query>,
          gas_run_tree_rays<Tree, nearest_motion, query>},
         {gas_run_tree_rays<Tree, hit_static, stream>, gas_run_tree_rays<Tree, hit_motion, stream>,
          gas_run_tree_rays<Tree, nearest_static, stream>,
          gas_run_tree_rays<Tree, nearest_motion, stream>}}};
}

constexpr GasRayCalls gas_make_ray_calls() {
    return {gas_make_tree_ray_calls<GasTree>(), gas_make_tree_ray_calls<GasCompressedTree>(),
            gas_make_tree_ray_calls<GasGridTree>(), gas_refit_nodes};
}

} // namespace gas_abi1
