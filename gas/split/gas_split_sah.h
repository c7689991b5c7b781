// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include <gas/split/gas_split_context.h>
#include <gas/split/gas_split_items.h>
#include <gas/split/gas_split_methods.h>

inline namespace gas_abi1 {

/// The surface area heuristic (Goldsmith and Salmon 1987) over bins (Wald 2007): of all cuts, the
/// one with the least sum of child area times child item count. Up to 16 items every cut between
/// the sorted centres is tried, above that the 15 planes between 16 bins.

/// A little below 16, so that the largest centre still falls into bin 15 (0x417ff972).
inline constexpr float gas_sah_bin_scale = 15.9984f;
static_assert(std::bit_cast<std::uint32_t>(gas_sah_bin_scale) == 0x417ff972);

inline double gas_surface_area(const GasLaneBox& box) {
    return 2.0 * gas_half_area(box.get_extent());
}

/// Fills counts and boxes on both sides of the `count - 1` planes between the first `count` bins.
inline void gas_sweep_bins(GasSahWorkspace& workspace, unsigned count) {
    const unsigned planes = count - 1;
    GasLaneBox box = workspace.bin_boxes[0];
    float items = workspace.bin_counts[0];
    for (unsigned k = 0;; ++k) {
        workspace.prefix_boxes[k] = box;
        workspace.prefix_counts[k] = items;
        if (k + 1 == planes)
            break;
        box.unite(workspace.bin_boxes[k + 1]);
        items += workspace.bin_counts[k + 1];
    }
    box = workspace.bin_boxes[planes];
    items = workspace.bin_counts[planes];
    for (unsigned k = planes - 1;; --k) {
        workspace.suffix_boxes[k] = box;
        workspace.suffix_counts[k] = items;
        if (k == 0)
            break;
        box.unite(workspace.bin_boxes[k]);
        items += workspace.bin_counts[k];
    }
}

/// Offers every plane between the first `count` swept bins; calls `take(plane)` for each new best.
template <typename Wins, typename Take>
void gas_try_planes(const GasSahWorkspace& workspace, unsigned count, GasBestCut& best,
                    const Wins& wins, const Take& take) {
    for (unsigned plane = 1; plane < count; ++plane) {
        const unsigned k = plane - 1;
        const double cost = gas_surface_area(workspace.prefix_boxes[k]) *
                                static_cast<double>(workspace.prefix_counts[k]) +
                            gas_surface_area(workspace.suffix_boxes[k]) *
                                static_cast<double>(workspace.suffix_counts[k]);
        if (wins(cost, best.cost)) {
            best.cost = cost;
            take(plane);
        }
    }
}

/// Tries every cut of at most 16 items sorted along `axis`, and leaves them sorted in the
/// workspace's list of that axis.
template <GasSplitContext Context, typename Wins>
void gas_try_exact_axis(const Context& context, const unsigned* items, unsigned count,
                        unsigned axis, GasBestCut& best, const Wins& wins) {
    GasSahWorkspace& workspace = *context.sah_workspace;
    unsigned* sorted = workspace.sorted_items[axis];
    std::copy(items, items + count, sorted);
    gas_sort_by_center(sorted, count, context.centers, gas_coordinates[axis]);
    for (unsigned i = 0; i < count; ++i) {
        workspace.bin_counts[i] = 1.0f;
        workspace.bin_boxes[i] = GasLaneBox::load(context.bboxes[sorted[i]]);
    }
    gas_sweep_bins(workspace, count);
    gas_try_planes(workspace, count, best, wins, [&](unsigned plane) {
        best.axis = axis;
        best.left_count = plane;
    });
}

/// Tries the 15 planes between 16 bins along `axis`.
template <GasSplitContext Context, typename Wins>
void gas_try_binned_axis(const Context& context, const unsigned* items, unsigned count,
                         unsigned axis, const GMathBbox3<float>& center_bounds, GasBestCut& best,
                         const Wins& wins) {
    constexpr unsigned bin_count = GasSahWorkspace::bin_count;

    GasSahWorkspace& workspace = *context.sah_workspace;
    std::fill_n(workspace.bin_counts, bin_count, 0.0f);
    std::fill_n(workspace.bin_boxes, bin_count, GasLaneBox::get_empty());

    const float low = center_bounds.min[axis];
    const double extent = static_cast<double>(center_bounds.max[axis] - low);
    const float scale = static_cast<float>(static_cast<double>(gas_sah_bin_scale) / extent);
    const GasCoordinate coordinate = gas_coordinates[axis];
    for (unsigned i = 0; i < count; ++i) {
        const unsigned item = items[i];
        const unsigned bin =
            gas_truncate((context.centers[item].*coordinate - low) * scale, bin_count - 1);
        workspace.bin_boxes[bin].unite(GasLaneBox::load(context.bboxes[item]));
        workspace.bin_counts[bin] += 1.0f;
    }

    // The plane stands at an exact sixteenth of the extent although the bins are a little wider:
    // an item within rounding of a plane may change sides, and that is part of the tree.
    const float width = static_cast<float>(extent * 0.0625);
    gas_sweep_bins(workspace, bin_count);
    gas_try_planes(workspace, bin_count, best, wins, [&](unsigned plane) {
        best.axis = axis;
        best.position = static_cast<float>(plane) * width + low;
    });
}

/// The items of a list, as the methods of gas_split_methods.h take them.
template <GasSplitContext Context> class GasListedItems {
  public:
    GasListedItems(const Context& context, unsigned* items, unsigned count)
        : m_context(context), m_items(items), m_count(count) {}

    bool is_exact() const { return m_count <= GasSahWorkspace::bin_count; }
    GMathBbox3<float> get_center_bounds() const {
        return gas_center_bounds(m_items, m_count, m_context.centers);
    }
    template <typename Wins>
    void try_axis(unsigned axis, const GMathBbox3<float>& bounds, const Wins& wins,
                  GasBestCut& best) const {
        if (is_exact())
            gas_try_exact_axis(m_context, m_items, m_count, axis, best, wins);
        else
            gas_try_binned_axis(m_context, m_items, m_count, axis, bounds, best, wins);
    }

    /// Brings the items into the order of a cut; returns how many go first.
    unsigned divide(const GasCut& cut) const {
        if (cut.kind == GasCut::Kind::plane)
            return gas_partition_items(m_items, m_count, m_context.centers, cut.axis, cut.position);
        if (cut.kind != GasCut::Kind::sorted)
            return m_count / 2;
        const unsigned* sorted = m_context.sah_workspace->sorted_items[cut.axis];
        std::copy(sorted, sorted + m_count, m_items);
        return cut.left_count;
    }

  private:
    const Context& m_context;
    unsigned* m_items;
    unsigned m_count;
};

/// A split function: divides a node's list of items by a method. All but the median need the
/// context's workspace, the hybrid for nodes of up to `gas_hybrid_sah_limit` items.
template <GasBuildMethod method, GasSplitContext Context>
void gas_split(const Context& context, unsigned* items, unsigned count, unsigned& left_count) {
    GasListedItems<Context> list(context, items, count);
    left_count = list.divide(gas_choose_cut(method, list, count));
}

} // namespace gas_abi1
