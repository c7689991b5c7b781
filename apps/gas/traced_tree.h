#pragma once

#include <functional>
#include <optional>
#include <variant>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

#include "trace_state.h"
#include "tree_kind.h"

namespace gas_app {

/// What a query looks for.
enum class Query {
    any_hit,    ///< whether there is a hit at all
    nearest_hit ///< the nearest hit
};

/// A tree of the chosen kind together with its callbacks, so that it can also be searched without
/// the tree.
class TracedTree {
  public:
    /// One for each kind, in the order of TreeKind.
    using AnyTree = std::variant<GasTree, GasCompressedTree>;
    using ItemBoxes = CoreArray<GMathBbox3<float>>;
    /// Box of an item at a motion sample, not padded.
    using GetBox = std::function<Box(unsigned item, unsigned sample)>;

    TracedTree() = default;
    TracedTree(const TracedTree&) = delete;
    TracedTree& operator=(const TracedTree&) = delete;

    void set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user);

    /// What the tree stands over: `item_count` (at least 1) items, whose boxes are padded.
    /// `get_box` is kept and may be asked again.
    struct Items {
        unsigned item_count = 0;
        unsigned sample_count = 1;
        GetBox get_box;
        double padding = 0.0;
    };

    /// Builds the tree; with 2 motion samples or more it is built over the middle one and then
    /// filled with all. Takes the build method from the application of `progress_bar` and fills
    /// `progress_share` of the bar.
    void build(const Items& items, const TreeSettings& settings, AppProgressBar& progress_bar,
               float progress_share);

    /// Traces the rays first..last of `ctx`, whose origins and directions were multiplied by
    /// `get_scale()`. Motion is looked at when the shader has samples.
    void trace(Query query, const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;

    const AnyTree& get_tree() const { return m_tree; }
    TreeKind get_kind() const { return static_cast<TreeKind>(m_tree.index()); }
    unsigned get_item_count() const { return m_items.item_count; }
    double get_padding() const { return m_items.padding; }
    /// By how much boxes and rays are larger in the tree: a power of two (tree_scale.h says why), 1
    /// for plain trees.
    double get_scale() const { return m_scale; }
    double get_build_seconds() const { return m_build_seconds; }
    /// How much memory was held at most during the build, the tree with it but not the boxes that
    /// it was built over; when it was measured and could be.
    std::optional<std::size_t> get_build_peak() const { return m_build_peak; }
    std::size_t get_memory_size() const;
    /// The padded box around everything at motion sample `sample`, not scaled.
    Box get_box(unsigned sample) const;
    /// The boxes that the tree was built over, padded and scaled.
    ItemBoxes get_built_boxes() const;

  private:
    void choose_tree(TreeKind kind);
    Box get_bounds() const;
    void fill_boxes(unsigned sample, ItemBoxes& boxes) const;
    unsigned get_built_sample() const { return m_items.sample_count / 2; }

    AnyTree m_tree;
    GasLeafCallback m_any_hit = GasLeafCallbacks::ignore;
    GasLeafCallback m_nearest_hit = GasLeafCallbacks::ignore;
    void* m_user = nullptr;
    Items m_items;
    double m_scale = 1.0;
    double m_build_seconds = 0.0;
    std::optional<std::size_t> m_build_peak;
};

} // namespace gas_app
