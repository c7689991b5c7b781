// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include <gas/gas_forward.h>
#include <gas/host/host.h>
#include <gas/isa/gas_refit_function.h>
#include <gas/traversal/query/gas_leaf_callbacks.h>

inline namespace gas_abi1 {

/// The queries and streams of all trees, and the refits of a GasTree, as one instruction set has
/// them. The sources of rays/ make one of these each, out of the same templates. All but the
/// baseline's are objects of which nothing else can be seen from outside (see
/// cmake/instruction_sets.cmake), so that no linker takes a function of theirs for a machine that
/// lacks the instructions.

template <typename Tree>
using GasRayFunction = void (*)(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& rays, bool single_leaf_shortcut);

template <typename Tree> struct GasTreeRayCalls {
    /// By GasRayWay, then by GasRayCall.
    GasRayFunction<Tree> functions[2][4];
};

struct GasRayCalls : GasTreeRayCalls<GasTree>,
                     GasTreeRayCalls<GasCompressedTree>,
                     GasTreeRayCalls<GasGridTree> {
    GasRefitFunction refit_nodes;
};

extern "C" {
extern const GasRayCalls gas_abi1_baseline_ray_calls;
extern const GasRayCalls gas_abi1_avx2_ray_calls;
}

/// Those in use; null until the first ray.
extern std::atomic<const GasRayCalls*> gas_ray_calls_in_use;
/// Takes those of the best instruction set into use, unless others are already.
const GasRayCalls& gas_choose_ray_calls();

inline const GasRayCalls& gas_get_ray_calls() {
    const GasRayCalls* const in_use = gas_ray_calls_in_use.load(std::memory_order_relaxed);
    if (!in_use) [[unlikely]]
        return gas_choose_ray_calls();
    return *in_use;
}

/// Runs a query or a stream by the instruction set in use.
template <GasRayCall call, GasRayWay way, typename Tree>
void gas_run_rays(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                  GeometryRaytraceCtx& rays, bool single_leaf_shortcut) {
    const GasTreeRayCalls<Tree>& calls = gas_get_ray_calls();
    calls.functions[static_cast<unsigned>(way)][static_cast<unsigned>(call)](
        tree, eval, shader, rays, single_leaf_shortcut);
}

} // namespace gas_abi1
