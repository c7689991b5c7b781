// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <type_traits>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

#include <bench/bench_grid.h>

/// The tree classes under measurement, and the differences of their members.
namespace gas_bench {

template <typename Tree> struct TreeKind;

template <> struct TreeKind<GasTree> {
    /// Last part of a benchmark's name.
    static constexpr const char* name = "gas";
    /// Whether `prepare_for_tracing` gives it wide nodes.
    static constexpr bool is_wide = true;

    static void create(GasTree& tree, const CoreArray<GMathBbox3<float>>& boxes,
                       AppProgressBar* progress_bar, const unsigned* items = nullptr) {
        tree.create(boxes, items, progress_bar, 1.0f);
    }
    /// Calls a ray query with its arguments after the contexts.
    template <typename Ask> static void ask(const Ask& ask) { ask(false); }

    /// Bytes of all motion-blur samples.
    static std::size_t get_samples_size(const GasTree& tree) {
        return std::size_t{tree.get_motion_blur_sample_count()} * tree.get_node_count() *
               sizeof(GMathBbox3<float>);
    }
};

template <> struct TreeKind<GasCompressedTree> {
    static constexpr const char* name = "compressed";
    static constexpr bool is_wide = false;

    static void create(GasCompressedTree& tree, const CoreArray<GMathBbox3<float>>& boxes,
                       AppProgressBar* progress_bar, const unsigned* items = nullptr) {
        tree.create(boxes, items, progress_bar);
    }
    template <typename Ask> static void ask(const Ask& ask) { ask(); }

    static std::size_t get_samples_size(const GasCompressedTree& tree) {
        return std::size_t{tree.get_motion_blur_sample_count()} * tree.get_node_count() *
               sizeof(GasQuantizedPair);
    }
};

template <> struct TreeKind<GasGridTree> {
    static constexpr const char* name = "grid";
    static constexpr bool is_wide = false;

    template <typename Ask> static void ask(const Ask& ask) { ask(); }

    static std::size_t get_samples_size(const GasGridTree& tree) {
        std::size_t size = TreeKind<GasTree>::get_samples_size(tree.get_top_tree());
        for (unsigned cell = 0; cell < tree.get_cell_count(); ++cell) {
            if (const GasGridSubTree* const sub_tree = tree.find_sub_tree(cell))
                size += TreeKind<GasCompressedTree>::get_samples_size(*sub_tree);
        }
        return size;
    }
};

/// Two motion-blur samples, the shutter's opening and its closing.
template <typename Tree> void add_motion_samples(Tree& tree, const Scene& scene) {
    if constexpr (std::is_same_v<Tree, GasGridTree>) {
        tree.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    } else {
        tree.set_motion_blur_sample_count(2);
        tree.refit_motion_blur_sample(scene.boxes, 0);
        tree.refit_motion_blur_sample(scene.later_boxes, 1);
    }
}

/// Gives a tree wide nodes, where it can have them, before it is built or after. Called for every
/// tree that is traced.
template <typename Tree> void prepare_for_tracing(Tree& tree) {
    if constexpr (TreeKind<Tree>::is_wide)
        tree.set_wide_nodes(true);
}

/// Builds a tree over a scene, ready for rays, which `may_move`. `items`, where not null, are what
/// leaves report in place of their item's position; a grid's cannot.
template <typename Tree>
void create_traced_tree(Tree& tree, const Scene& scene, bool may_move,
                        const unsigned* items = nullptr) {
    if constexpr (std::is_same_v<Tree, GasGridTree>)
        create_grid(tree, scene);
    else
        TreeKind<Tree>::create(tree, scene.boxes, nullptr, items);
    if (may_move)
        add_motion_samples(tree, scene);
    prepare_for_tracing(tree);
}

/// Bytes of a traced tree, with its motion-blur samples when it moves.
template <typename Tree> std::size_t get_traced_size(const Tree& tree, bool in_motion) {
    std::size_t size = tree.get_memory_size();
    if (in_motion)
        size += TreeKind<Tree>::get_samples_size(tree);
    if constexpr (std::is_same_v<Tree, GasTree>)
        size += tree.get_wide_nodes_size();
    return size;
}

} // namespace gas_bench
