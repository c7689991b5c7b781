#pragma once

#include <cstdint>

#include <gas/tree/gas_tree.h>

/// What a query did: for heat maps and benchmarks. The counting engines are instantiations of the
/// shipped ones with the same walk and the same results; the library itself carries no counters.
struct GasWalkCounts {
    /// Inner nodes whose two children were tested.
    std::uint64_t visited_nodes = 0;
    std::uint64_t leaf_calls = 0;
};

/// As GasTree's queries of these names; add to `counts`.
void gas_counted_ray_hit_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                GasWalkCounts& counts);
void gas_counted_ray_hit_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                GasWalkCounts& counts);
void gas_counted_ray_hit_nearest_static(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                        GasWalkCounts& counts);
void gas_counted_ray_hit_nearest_motion(const GasTree& tree, const CtxEval& eval, CtxShader& shader,
                                        GeometryRaytraceCtx& ctx, const bool& single_leaf_shortcut,
                                        GasWalkCounts& counts);
