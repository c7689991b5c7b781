#pragma once

#include <cstdint>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// What a query did: for heat maps and benchmarks. The counting engines are instantiations of the
/// shipped ones with the same walk and the same results; the library itself carries no counters.
struct GasWalkCounts {
    /// For rays that go alone: inner nodes whose two children were tested. For rays that go
    /// together (static nearest-hit batches): nodes, leaves included, whose own box was tested,
    /// each once however many packets or rays the test took.
    std::uint64_t visited_nodes = 0;
    /// Leaf callbacks, each for one ray or for a range of rays that go together.
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

/// As GasCompressedTree's queries of these names; add to `counts`.
void gas_counted_ray_hit_static(const GasCompressedTree& tree, const CtxEval& eval,
                                CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& counts);
void gas_counted_ray_hit_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& counts);
void gas_counted_ray_hit_nearest_static(const GasCompressedTree& tree, const CtxEval& eval,
                                        CtxShader& shader, GeometryRaytraceCtx& ctx,
                                        GasWalkCounts& counts);
void gas_counted_ray_hit_nearest_motion(const GasCompressedTree& tree, const CtxEval& eval,
                                        CtxShader& shader, GeometryRaytraceCtx& ctx,
                                        GasWalkCounts& counts);

} // namespace gas_abi1
