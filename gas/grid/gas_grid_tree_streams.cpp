#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/traversal/gas_ray_stream.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

/// The key of the streams to a grid's cells.
struct GasGridStreamCells {
    static const GasTree& get_top_tree(const GasGridTree& grid) { return grid.m_top_tree; }

    /// The cell of a leaf of the grid's top tree, which names its grid as the callbacks' user.
    template <bool is_motion>
    static const GasGridSubTree* get_sub_tree(const GasTree& top_tree, const CtxShader& shader,
                                              const unsigned& cell) {
        const auto& grid =
            *static_cast<const GasGridTree*>(GasTraversalAccess::get_callback_user(top_tree));
        if constexpr (is_motion)
            return grid.get_moving_sub_tree(shader, cell);
        else
            return grid.get_sub_tree(cell);
    }
};

namespace {

constexpr bool single_leaf_shortcut = true;

/// A stream's query over the top tree: a leaf is a cell, whose tree streams the ray.
template <typename Query, bool is_nearest> class CellQuery : public Query {
  public:
    using Query::Query;

    template <bool is_motion>
    static void call_leaf(const GasTree& tree, GasTreeCtx&, const unsigned& cell,
                          const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& rays) {
        const GasGridSubTree* const sub_tree =
            GasGridStreamCells::get_sub_tree<is_motion>(tree, shader, cell);
        if (!sub_tree)
            return;
        if constexpr (is_nearest && is_motion)
            sub_tree->ray_stream_nearest_motion(eval, shader, rays);
        else if constexpr (is_nearest)
            sub_tree->ray_stream_nearest_static(eval, shader, rays);
        else if constexpr (is_motion)
            sub_tree->ray_stream_motion(eval, shader, rays);
        else
            sub_tree->ray_stream_static(eval, shader, rays);
    }
};

using AllHits = CellQuery<GasStreamAllHits, false>;
using NearestHit = CellQuery<GasStreamNearestHit, true>;

} // namespace

void GasGridTree::ray_stream_static(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_stream_static<AllHits>(GasGridStreamCells::get_top_tree(*this), eval, shader, ctx,
                               single_leaf_shortcut);
}

void GasGridTree::ray_stream_motion(const CtxEval& eval, CtxShader& shader,
                                    GeometryRaytraceCtx& ctx) const {
    gas_stream_motion<AllHits>(GasGridStreamCells::get_top_tree(*this), eval, shader, ctx,
                               single_leaf_shortcut);
}

void GasGridTree::ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_stream_static<NearestHit>(GasGridStreamCells::get_top_tree(*this), eval, shader, ctx,
                                  single_leaf_shortcut);
}

void GasGridTree::ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                            GeometryRaytraceCtx& ctx) const {
    gas_stream_motion<NearestHit>(GasGridStreamCells::get_top_tree(*this), eval, shader, ctx,
                                  single_leaf_shortcut);
}

} // namespace gas_abi1
