// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_stream_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/grid/gas_grid_cell_flight.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_top_nodes.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/traversal/gas_ray_dispatch.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

/// The key of queries to a grid's callbacks and cells.
struct GasGridAccess {
    template <GasRayCall call> static GasLeafCallback get_callback(const GasGridTree& grid) {
        return grid.m_leaf_callbacks.get(call);
    }

    /// A cell's tree, built and with its samples filled as the query needs them; null where a
    /// thread would wait for itself.
    template <GasRayCall call>
    static const GasGridSubTree* get_sub_tree(const GasGridTree& grid, const CtxShader& shader,
                                              const unsigned& cell) {
        const GasGridSubTree* const tree = find_sub_tree<call>(grid, shader, cell);
        // The cell keeps the callbacks that the grid had when it was built.
        if (tree && GasTraversalAccess::get_callback<call>(*tree) == GasGridSubTree::ignore)
            [[unlikely]] {
            if (get_callback<call>(grid) != GasLeafCallbacks::ignore)
                gas_report(GasReportTopic::no_callback_in_cell, &grid);
        }
        return tree;
    }

  private:
    template <GasRayCall call>
    static const GasGridSubTree* find_sub_tree(const GasGridTree& grid, const CtxShader& shader,
                                               const unsigned& cell) {
        if constexpr (gas_is_motion(call))
            return grid.get_moving_sub_tree(shader, cell);
        else
            return grid.get_sub_tree(cell);
    }
};

/// Goes on in a cell's tree, with the query or stream of the same kind.
template <GasRayCall call, GasRayWay way, typename Probe>
void gas_trace_cell(const GasGridTree& grid, const unsigned& cell, const CtxEval& eval,
                    CtxShader& shader, GeometryRaytraceCtx& rays, Probe probe) {
    const GasCompressedTree* const tree = GasGridAccess::get_sub_tree<call>(grid, shader, cell);
    if (!tree)
        return;
    if constexpr (std::is_same_v<Probe, GasNoProbe>) {
        using Trace =
            void (GasCompressedTree::*)(const CtxEval&, CtxShader&, GeometryRaytraceCtx&) const;
        constexpr Trace queries[] = {
            &GasCompressedTree::ray_hit_static, &GasCompressedTree::ray_hit_motion,
            &GasCompressedTree::ray_hit_nearest_static, &GasCompressedTree::ray_hit_nearest_motion};
        constexpr Trace streams[] = {&GasCompressedTree::ray_stream_static,
                                     &GasCompressedTree::ray_stream_motion,
                                     &GasCompressedTree::ray_stream_nearest_static,
                                     &GasCompressedTree::ray_stream_nearest_motion};
        constexpr auto index = static_cast<unsigned>(call);
        constexpr Trace trace = way == GasRayWay::query ? queries[index] : streams[index];
        (tree->*trace)(eval, shader, rays);
    } else {
        gas_dispatch_rays<call, way>(*tree, eval, shader, rays, gas_calls_lone_leaf, probe);
    }
}

/// The leaves of a grid's top tree: each is a cell. The top tree names its grid as the user of its
/// callbacks. A probe hears of the cells' nodes and leaves; a cell is no leaf to it.
template <GasRayWay way> struct GasCellLeaves {
    static const GasGridTree& get_grid(const GasTree& top_tree) {
        const void* const grid = GasTraversalAccess::get_callback_user(top_tree);
        return *static_cast<const GasGridTree*>(grid);
    }
    static const void* get_asked(const GasTree& top_tree) { return &get_grid(top_tree); }
    template <GasRayCall call> static GasLeafCallback get_callback(const GasTree& top_tree) {
        return GasGridAccess::get_callback<call>(get_grid(top_tree));
    }

    template <GasRayCall call, typename Tree, typename Probe> struct Caller {
        const Tree& tree;
        const CtxEval& eval;
        CtxShader& shader;
        GeometryRaytraceCtx& rays;
        [[no_unique_address]] Probe probe;

        /// Visits cells for a stream.
        template <typename Query> using Flight = GasCellFlight<call, Query, Caller, Probe>;

        void operator()(const unsigned& cell) const {
            gas_trace_cell<call, way>(get_grid(tree), cell, eval, shader, rays, probe);
        }
        const GasCompressedTree* get_cell_tree(const unsigned& cell) const {
            return GasGridAccess::get_sub_tree<call>(get_grid(tree), shader, cell);
        }
    };
};

template <GasRayWay way> struct GasStreamSources<GasTree, GasCellLeaves<way>> {
    using Static = GasGridTopNodes<GasStaticBoxes>;
    using Motion = GasGridTopNodes<GasMotionBoxes>;

    static constexpr bool exist = true;
    static bool have(const GasTree& tree) {
        return tree.get_leaf_count() < GasStreamReference::leaf_flag;
    }
};

/// A query or a stream of a grid.
template <GasRayCall call, GasRayWay way, typename Probe = GasNoProbe>
void gas_dispatch_grid_rays(const GasGridTree& grid, const CtxEval& eval, CtxShader& shader,
                            GeometryRaytraceCtx& rays, Probe probe = Probe()) {
    gas_dispatch_rays<call, way, GasCellLeaves<way>>(grid.get_top_tree(), eval, shader, rays,
                                                     gas_calls_lone_leaf, probe);
}

} // namespace gas_abi1
