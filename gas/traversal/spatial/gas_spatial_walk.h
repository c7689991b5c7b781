// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/core/gas_box_tests.h>
#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// Queries without rays run on a frame that the caller provides and report leaf positions. Here:
/// their depth-first walk, and leaves that overlap a box. They are for trees whose nodes are read
/// where they lie: init_traversal, deinit_traversal and free_node have nothing to do there.

/// Calls `visit(leaf, min, max)` for every leaf whose own and whose ancestors' boxes overlap the
/// search box. `search` decides what overlaps (it may shrink during the walk) and, of two children
/// that do, whether the second comes first; `probe` counts every node. The tree has a root, and the
/// frame's stack room for as many entries as the tree has levels.
template <GasTraversable Tree, typename Search, typename Visit, typename Probe>
void gas_walk_boxes(const Tree& tree, GasTreeCtx& ctx, const Search& search, const Visit& visit,
                    Probe& probe) {
    GasStackEntry* const stack = gas_view_stack<GasStackEntry>(ctx);
    unsigned stack_size = 0;
    unsigned node = 0;
    bool walking = true;
    while (walking) {
        SimdF min;
        SimdF max;
        GasTraversalAccess::get_node_bbox(tree, ctx, node, min, max);
        bool descended = false;
        probe.visit_node();
        if (search.overlaps(min, max)) {
            if (GasTraversalAccess::is_node_a_leaf(tree, ctx, node)) {
                probe.call_leaf();
                visit(GasTraversalAccess::get_leaf_value(tree, ctx, node), min, max);
            } else {
                unsigned first;
                unsigned second;
                GasTraversalAccess::get_node_children(tree, ctx, node, first, second);
                SimdF first_min, first_max, second_min, second_max;
                GasTraversalAccess::get_node_bbox(tree, ctx, first, first_min, first_max);
                GasTraversalAccess::get_node_bbox(tree, ctx, second, second_min, second_max);
                const bool first_hit = search.overlaps(first_min, first_max);
                const bool second_hit = search.overlaps(second_min, second_max);
                descended = first_hit || second_hit;
                node = first_hit ? first : second;
                if (first_hit && second_hit) {
                    unsigned pending = second;
                    if (search.prefers_second(first_min, first_max, second_min, second_max)) {
                        node = second;
                        pending = first;
                    }
                    stack[stack_size++].node = pending;
                }
            }
        }
        if (!descended) {
            walking = stack_size > 0;
            if (walking)
                node = stack[--stack_size].node;
        }
    }
}

/// All leaves that overlap a box; whatever lies below a first child comes before its sibling.
class GasBoxSearch {
  public:
    explicit GasBoxSearch(const GMathBbox3<float>& box)
        : m_min(box.min.x, box.min.y, box.min.z, 0.0f),
          m_max(box.max.x, box.max.y, box.max.z, 0.0f) {}

    bool overlaps(const SimdF& min, const SimdF& max) const {
        return gas_test_overlap(min, max, m_min, m_max);
    }
    static bool prefers_second(const SimdF&, const SimdF&, const SimdF&, const SimdF&) {
        return false;
    }

  private:
    SimdF m_min;
    SimdF m_max;
};

/// The whole of GasTree::get_leaves_in_bbox.
template <GasTraversable Tree, typename Probe>
void gas_find_leaves_in_box(const Tree& tree, GasTreeCtx& ctx, const GMathBbox3<float>& box,
                            CoreVector<unsigned>& leaves, Probe& probe) {
    gas_host::clear(leaves);
    if (tree.get_node_count() == 0)
        return;
    // A box that does not overlap the tree needs no stack.
    const GasBoxSearch search(box);
    SimdF root_min;
    SimdF root_max;
    GasTraversalAccess::get_node_bbox(tree, ctx, 0u, root_min, root_max);
    if (!search.overlaps(root_min, root_max))
        return;
    ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
    const auto visit = [&](unsigned leaf, const SimdF&, const SimdF&) {
        gas_host::append(leaves, leaf);
    };
    gas_walk_boxes(tree, ctx, search, visit, probe);
}

} // namespace gas_abi1
