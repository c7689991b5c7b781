// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace gas_app {

/// Which class of the library holds the boxes.
enum class TreeKind {
    plain,      ///< GasTree
    compressed, ///< GasCompressedTree
    grid        ///< GasGridTree
};

/// Their names on the command line, in the order of their values.
inline constexpr std::array<std::string_view, 3> tree_kind_names = {"plain", "compressed", "grid"};

inline std::string_view get_name(TreeKind kind) {
    return tree_kind_names[static_cast<unsigned>(kind)];
}

/// The build methods on the command line, in the order of the application's setting.
inline constexpr std::array<std::string_view, 4> build_method_names = {"median", "hybrid",
                                                                       "sah-fast", "sah"};

/// What may take the place of a build in the next frame of an animation.
enum class TreeReuse {
    none,       ///< nothing
    same_boxes, ///< the tree, where it was built over just these boxes
    refit       ///< also a plain tree that is refitted, unless that makes it too dear
};

/// How the trees of a scene are built. The build method is a setting of the application.
struct TreeSettings {
    TreeKind kind = TreeKind::plain;
    /// Of plain trees: whether they have wide nodes.
    bool has_wide_nodes = true;
    /// Whether to measure the memory of a build.
    bool measures_memory = false;
    /// Of grids: about how many cells, but no more than there are items; 0: one for every
    /// `items_per_cell`.
    unsigned cell_count = 0;
    /// Of grids: whether the tree of each cell has a progress bar of its own, not shown. Bars carry
    /// the build method; without them it is the fast binned SAH.
    bool has_cell_bars = false;
    /// That build trees: all but those of a grid's cells, which are built by the threads whose rays
    /// reach them. At least 1.
    unsigned thread_count = 1;
    /// A file to map in place of a build, of this kind and over the same boxes; empty: none.
    std::string saved_path;

    /// Of an animation, whose scenes share paddings so that what stands still has the same boxes in
    /// each frame.
    bool is_animated = false;
    TreeReuse reuse = TreeReuse::none;
    /// The most that a refitted tree may cost (surface area heuristic), as a multiple of what it
    /// cost when it was built.
    double refit_limit = 1.2;

    static constexpr unsigned items_per_cell = 128;

    unsigned get_target_cell_count(unsigned item_count) const {
        const unsigned wanted = cell_count > 0 ? cell_count : item_count / items_per_cell;
        const unsigned limited = wanted < item_count ? wanted : item_count;
        return limited > 0 ? limited : 1;
    }
};

} // namespace gas_app
