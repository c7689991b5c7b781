// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include <gas/build/gas_build_part.h>
#include <gas/build/gas_numbering.h>
#include <gas/build/gas_record_bins.h>
#include <gas/build/gas_small_sort.h>

inline namespace gas_abi1 {

/// Subtrees of few items, built in a few cache lines.

static_assert(gas_small_count == GasSahWorkspace::bin_count, "the exact path's limit");
static_assert(gas_small_count == gas_small_sort_limit, "small nodes are sorted at once");

/// The items of a small subtree, and the list that the splits reorder, with room for the sort to
/// read on.
struct GasSmallItems {
    GasLaneBox boxes[gas_small_count];
    alignas(16) float centers[gas_small_count][4];
    GasSmallNumber order[gas_small_count + gas_small_sort_limit];

    GasSmallItems(const GasRecord* records, unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            boxes[i] = gas_load_box(records[i]);
            boxes[i].get_center().store(centers[i]);
            order[i] = static_cast<GasSmallNumber>(i);
        }
    }
};

/// A node's share of them, as the methods of gas_split_methods.h take items: every cut between
/// sorted items is tried.
class GasSmallList {
  public:
    GasSmallList(const GasSmallItems& items, GasSmallNumber* order, unsigned count)
        : m_items(items), m_order(order), m_count(count) {}

    static constexpr bool is_exact() { return true; }
    GMathBbox3<float> get_center_bounds() const {
        const SimdF first = SimdF::load(m_items.centers[m_order[0]]);
        GasLaneBox bounds = {first, first};
        for (unsigned i = 1; i < m_count; ++i)
            bounds.add(SimdF::load(m_items.centers[m_order[i]]));
        return bounds.to_box();
    }

    template <typename Wins>
    void try_axis(unsigned axis, const GMathBbox3<float>&, const Wins& wins, GasBestCut& best) {
        GasSmallNumber* const sorted = m_sorted[axis];
        std::memcpy(sorted, m_order, gas_small_sort_limit);
        alignas(16) float keys[gas_small_count];
        for (unsigned i = 0; i < m_count; ++i)
            keys[i] = m_items.centers[sorted[i]][axis];
        gas_sort_small(keys, sorted, m_count);
        double costs[gas_small_count];
        gas_compute_plane_costs(SortedBoxes{m_items, sorted}, m_count, costs);
        // Without a branch on which cut wins.
        for (unsigned k = 1; k < m_count; ++k) {
            const bool has_won = wins(costs[k], best.cost);
            best.cost = has_won ? costs[k] : best.cost;
            best.axis = has_won ? axis : best.axis;
            best.left_count = has_won ? k : best.left_count;
        }
    }

    unsigned divide(const GasCut& cut) const {
        if (cut.kind != GasCut::Kind::sorted)
            return m_count / 2;
        // What lies behind the node's own share came along and goes back.
        std::memcpy(m_order, m_sorted[cut.axis], gas_small_sort_limit);
        return cut.left_count;
    }

  private:
    /// Each item a bin of its own.
    struct SortedBoxes {
        const GasSmallItems& items;
        const GasSmallNumber* order;

        const GasLaneBox& get_box(unsigned place) const { return items.boxes[order[place]]; }
        static float get_count(unsigned) { return 1.0f; }
    };

    const GasSmallItems& m_items;
    GasSmallNumber* m_order;
    unsigned m_count;
    GasSmallNumber m_sorted[3][gas_small_sort_limit];
};

/// Builds a part of 2 to `gas_get_small_count` items, boxes included. The median never cuts any:
/// two items are not asked for.
template <typename Numbering>
void gas_build_small(Numbering& numbering, GasBuildMethod method, const GasRecord* records,
                     const GasBuildPart& part) {
    struct Share {
        unsigned first;
        unsigned count;
        unsigned node;
        unsigned depth;
    };
    GasSmallItems items(records, part.count);
    Share pending[gas_small_count];
    unsigned pending_count = 0;
    unsigned inner_nodes[gas_small_count];
    unsigned inner_count = 0;
    const unsigned below = numbering.get_next();
    Share now = {0, part.count, part.node, part.depth};
    for (;;) {
        if (now.count == 1) {
            numbering.place_leaf(now.node, records[items.order[now.first]]);
            if (pending_count == 0)
                break;
            now = pending[--pending_count];
            continue;
        }
        GasSmallNumber* const order = items.order + now.first;
        unsigned left_count = 1;
        if (now.count > 2) {
            GasSmallList list(items, order, now.count);
            left_count = list.divide(gas_choose_cut(method, list, now.count));
        }
        const unsigned right_count = now.count - left_count;
        const unsigned depth = now.depth + 1;
        const GasChildren children =
            numbering.number_children(now.node, left_count, right_count, records[order[0]].index,
                                      records[order[left_count]].index, depth);
        inner_nodes[inner_count++] = now.node;
        pending[pending_count++] = {now.first + left_count, right_count, children.second, depth};
        now = {now.first, left_count, children.first, depth};
    }
    numbering.finish_small(inner_nodes, inner_count, below);
}

} // namespace gas_abi1
