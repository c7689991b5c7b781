// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <variant>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/files/gas_tree_files.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

#include <apps/gas/trees/trace_state.h>
#include <apps/gas/trees/tree_items.h>
#include <apps/gas/trees/tree_kind.h>

namespace gas_app {

/// The kinds of ray queries.
enum class Query {
    any_hit,    ///< whether there is any hit (occluded)
    nearest_hit ///< the nearest (closest) hit
};

/// How a tree came to its boxes.
enum class TreeStep { built, refitted, kept };

/// A tree of the chosen kind with its callbacks. Its items can also be traced by brute force.
class TracedTree {
  public:
    /// One for each kind, in the order of TreeKind.
    using AnyTree = std::variant<GasTree, GasCompressedTree, GasGridTree>;
    using ItemBoxes = TreeItems::Boxes;
    using Items = TreeItems::Description;

    TracedTree() = default;
    TracedTree(const TracedTree&) = delete;
    TracedTree& operator=(const TracedTree&) = delete;

    void set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user);

    /// Builds the tree, or maps the saved one that the settings name: throws a UserError where that
    /// is over other items or has other motion samples. With 2 motion samples or more it is built
    /// over the middle one and then filled with all. Takes the build method from the application of
    /// `progress_bar`, but for a grid whose cells have no bars, and fills `progress_share` of the
    /// bar about evenly. Items may be asked for their boxes as long as the tree lives.
    void build(const Items& items, const TreeSettings& settings, AppProgressBar& progress_bar,
               float progress_share);

    /// In place of `build` where the items and their padding are those of the last one: whether the
    /// tree serves this frame, too.
    bool keep(const TreeSettings& settings);

    /// What `build` or `keep` did last; and the cost of an animation's plain tree by the surface
    /// area heuristic, now and when it was built.
    TreeStep get_step() const { return m_step; }
    double get_cost() const { return m_cost; }
    double get_built_cost() const { return m_built_cost; }

    /// Maps a saved tree without its items: to be looked at, not to be traced. Throws a UserError.
    void load(const std::string& path, const TreeSettings& settings);
    /// Saves the tree, which is no grid. Throws a UserError.
    void save(const std::string& path) const;
    /// Whether the tree is a saved one.
    bool is_loaded() const { return m_is_loaded; }

    /// Traces the rays first..last of `ctx`, whose origins and directions were multiplied by
    /// `get_scale()`, in the way that the state says. Callbacks of a stream are for one ray each,
    /// and those of different rays are mixed. Boxes move when the shader has samples.
    void trace(Query query, const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;

    const AnyTree& get_tree() const { return m_tree; }
    TreeKind get_kind() const { return static_cast<TreeKind>(m_tree.index()); }
    unsigned get_item_count() const { return m_items.get().item_count; }
    double get_padding() const { return m_items.get().padding; }
    /// The scale of boxes and rays in the tree: a power of two (gas_scene_scale.h), 1 for plain
    /// trees.
    double get_scale() const { return m_items.get_scale(); }
    /// Of a saved tree: until it was mapped and checked.
    double get_build_seconds() const { return m_build_seconds; }
    /// The most memory held during the build, with the tree but without the array of boxes that it
    /// was built over (a grid makes its own, which counts). Nothing where it was not or could not
    /// be measured.
    std::optional<std::size_t> get_build_peak() const { return m_build_peak; }
    /// What the tree reports; its wide nodes; and the total, with motion samples and a grid's
    /// lists.
    std::size_t get_memory_size() const;
    std::size_t get_wide_bytes() const;
    std::size_t get_total_bytes() const;
    /// The padded box around everything at motion sample `sample`, not scaled.
    Box get_box(unsigned sample) const;
    /// The boxes that the tree was built over, padded and scaled.
    ItemBoxes get_built_boxes() const;
    /// What is wrong with the tree, and with the boxes that it was built over where these are
    /// known: a sentence for each flaw.
    std::vector<std::string> validate() const;
    /// Of a grid: how many boxes its build asked for, motion samples included, and how many its
    /// rays asked for since.
    std::uint64_t get_boxes_asked_by_build() const { return m_asked_by_build; }
    std::uint64_t get_boxes_asked_by_rays() const {
        return m_items.get_asked_count() - m_asked_by_build;
    }

  private:
    void choose_tree(const TreeSettings& settings);
    template <typename Create> void measure(bool measures_memory, const Create& create);
    template <typename Tree>
    void build_tree(Tree& tree, const TreeSettings& settings, AppProgressBar& progress_bar);
    void build_tree(GasGridTree& grid, const TreeSettings& settings, AppProgressBar& progress_bar);
    template <typename Tree>
    void map_tree(Tree& tree, const std::string& path, const GasFileSettings& settings);
    void map_tree_over(const ItemBoxes& boxes, const TreeSettings& settings);
    bool reuse(const TreeSettings& settings, AppProgressBar& progress_bar);
    void fill(unsigned sample, ItemBoxes& boxes, AppProgressBar& progress_bar, float share);

    AnyTree m_tree;
    GasLeafCallback m_any_hit = GasLeafCallbacks::ignore;
    GasLeafCallback m_nearest_hit = GasLeafCallbacks::ignore;
    void* m_user = nullptr;
    TreeItems m_items;
    double m_build_seconds = 0.0;
    std::optional<std::size_t> m_build_peak;
    std::uint64_t m_asked_by_build = 0;
    bool m_is_loaded = false;
    TreeStep m_step = TreeStep::built;
    /// Of an animation's plain tree: hashes of the boxes that it has, and was built over.
    std::uint64_t m_boxes_hash = 0;
    std::uint64_t m_built_hash = 0;
    bool m_is_refitted = false;
    double m_cost = 0.0;
    double m_built_cost = 0.0;
};

} // namespace gas_app
