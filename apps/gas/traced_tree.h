#pragma once

#include <functional>

#include <gas/tree/gas_tree.h>

#include "trace_state.h"

namespace gas_app {

/// What a query looks for.
enum class Query {
    any_hit,    ///< whether there is a hit at all
    nearest_hit ///< the nearest hit
};

/// A GasTree together with its callbacks, so that it can also be searched without the tree.
class TracedTree {
  public:
    /// Box of an item at a motion sample, not padded.
    using GetBox = std::function<Box(unsigned item, unsigned sample)>;

    TracedTree() = default;
    TracedTree(const TracedTree&) = delete;
    TracedTree& operator=(const TracedTree&) = delete;

    void set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user);

    /// Builds the tree over `item_count` (at least 1) items whose boxes are padded by `padding`;
    /// with 2 motion samples or more it is built over the middle one and then filled with all.
    /// Takes the build method from the application of `progress_bar` and fills `progress_share` of
    /// the bar.
    void build(unsigned item_count, unsigned sample_count, const GetBox& get_box, double padding,
               AppProgressBar& progress_bar, float progress_share);

    /// Traces the rays first..last of `ctx`. Motion is looked at when the shader has samples.
    void trace(Query query, const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;

    const GasTree& get_tree() const { return m_tree; }
    unsigned get_item_count() const { return m_item_count; }
    double get_padding() const { return m_padding; }
    double get_build_seconds() const { return m_build_seconds; }
    /// The padded box around everything at motion sample `sample`.
    Box get_box(unsigned sample) const;

  private:
    void trace_with_tree(Query query, bool moving, const CtxEval& eval, CtxShader& shader,
                         GeometryRaytraceCtx& ctx) const;

    GasTree m_tree;
    GasLeafCallback m_any_hit = GasLeafCallbacks::ignore;
    GasLeafCallback m_nearest_hit = GasLeafCallbacks::ignore;
    void* m_user = nullptr;
    unsigned m_item_count = 0;
    double m_padding = 0.0;
    double m_build_seconds = 0.0;
};

} // namespace gas_app
