// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_stream_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/traversal/gas_ray_dispatch.h>

inline namespace gas_abi1 {

/// The cells as the leaves of a stream through a grid's top tree. A ray of the top tree that comes
/// to a cell waits while a ray in the cell's tree stands for it, in the same slot; all of these are
/// in flight together, whichever cells they are in.
///
/// `Caller` calls a cell for the ray in the view's range, and gives its tree.
template <GasRayCall call, typename Query, typename Caller, typename Probe> class GasCellFlight {
  public:
    GasCellFlight(const Caller& caller, GeometryRaytraceData& view)
        : m_caller(caller), m_view(view), m_stacks(caller.shader, most_depth),
          m_lists(GasStreamStep::wait) {
        m_stacks.give_to(m_rays);
    }

    bool are_busy() const { return !m_lists.is_empty(); }

    template <typename Ray, typename Tree, typename VisitNode, typename Resume>
    void serve(GasStreamLists& lists, Ray* rays, const Tree& tree, const VisitNode& visit_node,
               const Resume& resume) {
        // The cell of a ray has been visited: there is nothing to call any more.
        const auto go_on = [&](unsigned slot) {
            const unsigned ray = rays[slot].get_ray_index();
            return rays[slot].visit(
                tree, [](unsigned) {}, [&](const auto& query) { resume(ray, query); });
        };
        lists.advance<GasStreamStep::visit_leaf>([&](unsigned slot) {
            const bool waits = enter(slot, rays[slot].get_leaf(), rays[slot].get_ray_index());
            return waits ? unsigned{GasStreamStep::wait} : go_on(slot);
        });
        m_lists.advance_by_twos<GasStreamStep::expand_node>([&](unsigned a, unsigned b) {
            return CellRay::expand(m_rays[a], m_rays[b], visit_node);
        });
        m_lists.advance<GasStreamStep::visit_leaf>([&](unsigned slot) { return visit(slot); });
        m_lists.advance<GasStreamStep::take_next_ray>([&](unsigned slot) {
            lists.put(slot, go_on(slot));
            return unsigned{GasStreamStep::wait};
        });
    }

  private:
    using Nodes = GasStreamSource<GasCompressedTree, GasItemLeaves, gas_is_motion(call)>;
    using CellRay = GasStreamRay<Nodes, Query>;

    /// Deeper trees than this are walked one by one: a cell holds few items.
    static constexpr unsigned most_depth = 48;

    /// Starts a ray in a cell's tree. False: it has been there, or there is nothing to wait for.
    bool enter(unsigned slot, unsigned cell, unsigned ray) {
        gas_host::set_range(m_view, static_cast<int>(ray), static_cast<int>(ray));
        const GasCompressedTree* const tree = m_caller.get_cell_tree(cell);
        if (!tree)
            return false;
        const bool has_nodes = tree->get_leaf_count() > 1 && tree->get_depth() <= most_depth &&
                               GasStreamSources<GasCompressedTree, GasItemLeaves>::have(*tree) &&
                               (!gas_is_motion(call) || tree->get_motion_blur_sample_count() >= 2);
        if (!has_nodes) {
            m_caller(cell);
            return false;
        }
        const Nodes nodes(*tree, m_stacks.get_ctx(), m_caller.shader,
                          gas_host::get_time(m_view, ray));
        const GasLaneRay lane_ray = gas_get_lane_ray(gas_host::get_ctx(m_view), ray);
        if (!nodes.can_trace(lane_ray)) {
            m_caller(cell);
            return false;
        }
        m_trees[slot] = tree;
        nodes.prefetch(0);
        const unsigned step =
            m_rays[slot].start(nodes, lane_ray, Query(m_stacks.get_ctx(), m_view, ray), ray);
        if (step == GasStreamStep::take_next_ray)
            return false;
        m_lists.put(slot, step);
        return true;
    }

    unsigned visit(unsigned slot) {
        const unsigned ray = m_rays[slot].get_ray_index();
        const GasCompressedTree& tree = *m_trees[slot];
        const GasItemLeaves::Caller<call, GasCompressedTree, Probe> call_item = {
            tree, m_caller.eval, m_caller.shader, gas_host::get_ctx(m_view), m_caller.probe};
        const auto resume = [&](const GasResumedQuery<Query>& query) {
            const GasTreeCtxLease next(m_caller.shader, 2 * std::size_t{tree.get_depth()});
            gas_walk_binary_nodes<GasNodeSource<GasCompressedTree, gas_is_motion(call)>>(
                next.get(), ray, query, call_item);
        };
        gas_host::set_range(m_view, static_cast<int>(ray), static_cast<int>(ray));
        return m_rays[slot].visit(tree, call_item, resume);
    }

    const Caller& m_caller;
    GeometryRaytraceData& m_view;
    const GasStreamStacks<Nodes> m_stacks;
    GasStreamLists m_lists;
    const GasCompressedTree* m_trees[GasStreamLists::slot_count];
    CellRay m_rays[GasStreamLists::slot_count];
};

} // namespace gas_abi1
