#pragma once

#include <cstddef>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_counted_rays.h>
#include <gas/tree/gas_tree.h>

/// The tree classes under measurement, and where their members differ.
namespace gas_bench {

template <typename Tree> struct TreeKind;

template <> struct TreeKind<GasTree> {
    /// Last part of a benchmark's name.
    static constexpr const char* name = "gas";

    static void create(GasTree& tree, const CoreArray<GMathBbox3<float>>& boxes,
                       AppProgressBar* progress_bar) {
        tree.create(boxes, nullptr, progress_bar, 1.0f);
    }
    /// Calls a ray query with what it takes beside the contexts.
    template <typename Ask> static void ask(const Ask& ask) { ask(false); }

    /// Bytes of one motion-blur sample.
    static std::size_t get_sample_size(const GasTree& tree) {
        return std::size_t{tree.get_node_count()} * sizeof(GMathBbox3<float>);
    }
};

template <> struct TreeKind<GasCompressedTree> {
    static constexpr const char* name = "compressed";

    static void create(GasCompressedTree& tree, const CoreArray<GMathBbox3<float>>& boxes,
                       AppProgressBar* progress_bar) {
        tree.create(boxes, nullptr, progress_bar);
    }
    template <typename Ask> static void ask(const Ask& ask) { ask(); }

    static std::size_t get_sample_size(const GasCompressedTree& tree) {
        return std::size_t{tree.get_node_count()} * sizeof(GasQuantizedPair);
    }
};

/// A tree's query for the nearest hit, or for all, as one function for every tree class.
template <typename Tree, bool is_nearest, bool in_motion>
void ask_tree(const Tree& tree, const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) {
    TreeKind<Tree>::ask([&](const auto&... flags) {
        if constexpr (is_nearest && in_motion)
            tree.ray_hit_nearest_motion(eval, shader, ctx, flags...);
        else if constexpr (is_nearest)
            tree.ray_hit_nearest_static(eval, shader, ctx, flags...);
        else if constexpr (in_motion)
            tree.ray_hit_motion(eval, shader, ctx, flags...);
        else
            tree.ray_hit_static(eval, shader, ctx, flags...);
    });
}

/// As `ask_tree`, through the counting engines.
template <typename Tree, bool is_nearest, bool in_motion>
void ask_tree_counted(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& ctx, GasWalkCounts& counts) {
    TreeKind<Tree>::ask([&](const auto&... flags) {
        if constexpr (is_nearest && in_motion)
            gas_counted_ray_hit_nearest_motion(tree, eval, shader, ctx, flags..., counts);
        else if constexpr (is_nearest)
            gas_counted_ray_hit_nearest_static(tree, eval, shader, ctx, flags..., counts);
        else if constexpr (in_motion)
            gas_counted_ray_hit_motion(tree, eval, shader, ctx, flags..., counts);
        else
            gas_counted_ray_hit_static(tree, eval, shader, ctx, flags..., counts);
    });
}

} // namespace gas_bench
