#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include <gas/split/gas_split_context.h>
#include <gas/split/gas_split_items.h>
#include <gas/split/gas_split_median.h>

inline namespace gas_abi1 {

/// The surface area heuristic (Goldsmith and Salmon 1987) over bins (Wald 2007): of all cuts, the
/// one with the least sum of child area times child item count. Up to 16 items every cut between
/// the sorted centres is tried, above that the 15 planes between 16 bins.

/// A candidate's cost and cut: after `left_count` sorted items, or at `position`.
struct GasSahCut {
    double cost = 1e308;
    unsigned axis = 3; // 3: none won
    unsigned left_count = 0;
    float position = 0.0f;

    bool has_won() const { return axis < 3; }
};

/// A little below 16, so that the largest centre still falls into bin 15 (0x417ff972).
inline constexpr float gas_sah_bin_scale = 15.9984f;
static_assert(std::bit_cast<std::uint32_t>(gas_sah_bin_scale) == 0x417ff972);

/// The most items of a node that is hybrid-split by the surface area heuristic.
inline constexpr unsigned gas_hybrid_sah_limit = 128;

/// In double, from the single-precision extents.
inline double gas_surface_area(const GasLaneBox& box) {
    const GMathVec3<float> extent = box.get_extent();
    const double dx = static_cast<double>(extent.x);
    const double dy = static_cast<double>(extent.y);
    const double dz = static_cast<double>(extent.z);
    return 2.0 * ((dx + dy) * dz + dx * dy);
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

/// Which cost replaces the best so far. The two differ for a NaN only, which wins in the search
/// over three axes and loses in that over one.
struct GasWinsUnlessWorse {
    bool operator()(double cost, double best) const { return !(cost >= best); }
};
struct GasWinsIfCheaper {
    bool operator()(double cost, double best) const { return cost < best; }
};

/// Offers every plane between the first `count` swept bins; calls `take(plane)` for each new best.
template <typename Wins, typename Take>
void gas_try_planes(const GasSahWorkspace& workspace, unsigned count, GasSahCut& best,
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
                        unsigned axis, GasSahCut& best, const Wins& wins) {
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
                         unsigned axis, const GMathBbox3<float>& center_bounds, GasSahCut& best,
                         const Wins& wins) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const GasLaneBox empty_box = {SimdF(infinity), SimdF(-infinity)};
    constexpr unsigned bin_count = GasSahWorkspace::bin_count;

    GasSahWorkspace& workspace = *context.sah_workspace;
    std::fill_n(workspace.bin_counts, bin_count, 0.0f);
    std::fill_n(workspace.bin_boxes, bin_count, empty_box);

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

    // The plane is at an exact sixteenth of the extent although the bins are a little wider: an
    // item within rounding of a plane may change sides, and that is part of the tree.
    const float width = static_cast<float>(extent * 0.0625);
    gas_sweep_bins(workspace, bin_count);
    gas_try_planes(workspace, bin_count, best, wins, [&](unsigned plane) {
        best.axis = axis;
        best.position = static_cast<float>(plane) * width + low;
    });
}

/// Full binned SAH over all three axes; `count` is 3 or more.
template <GasSplitContext Context>
void gas_split_sah_bins(const Context& context, unsigned* items, unsigned count,
                        unsigned& left_count) {
    const GMathBbox3<float> bounds = gas_center_bounds(items, count, context.centers);
    const bool exact = count <= GasSahWorkspace::bin_count;
    GasSahCut best;
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
            continue;
        if (exact)
            gas_try_exact_axis(context, items, count, axis, best, GasWinsUnlessWorse());
        else
            gas_try_binned_axis(context, items, count, axis, bounds, best, GasWinsUnlessWorse());
    }

    if (!best.has_won()) {
        left_count = count / 2;
    } else if (exact) {
        const unsigned* sorted = context.sah_workspace->sorted_items[best.axis];
        std::copy(sorted, sorted + count, items);
        left_count = best.left_count;
    } else {
        left_count = gas_partition_items(items, count, context.centers, best.axis, best.position);
    }
}

/// Binned SAH along the widest axis of the centres only; `count` is 3 or more.
template <GasSplitContext Context>
void gas_split_sah_bins_fast(const Context& context, unsigned* items, unsigned count,
                             unsigned& left_count) {
    const GMathBbox3<float> bounds = gas_center_bounds(items, count, context.centers);
    const unsigned axis = gas_widest_axis(bounds);
    left_count = count / 2;
    if (!gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
        return;

    GasSahCut best;
    if (count <= GasSahWorkspace::bin_count) {
        gas_try_exact_axis(context, items, count, axis, best, GasWinsIfCheaper());
        const unsigned* sorted = context.sah_workspace->sorted_items[axis];
        std::copy(sorted, sorted + count, items);
        if (best.has_won())
            left_count = best.left_count;
        return;
    }
    gas_try_binned_axis(context, items, count, axis, bounds, best, GasWinsIfCheaper());
    if (best.has_won())
        left_count = gas_partition_items(items, count, context.centers, axis, best.position);
}

/// Fast binned SAH for small nodes, the median for large ones.
template <GasSplitContext Context>
void gas_split_hybrid(const Context& context, unsigned* items, unsigned count,
                      unsigned& left_count) {
    if (count <= gas_hybrid_sah_limit)
        gas_split_sah_bins_fast(context, items, count, left_count);
    else
        gas_split_median(context, items, count, left_count);
}

} // namespace gas_abi1
