// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cfloat>

#include <gas/host/host.h>
#include <gas/split/gas_build_method.h>

inline namespace gas_abi1 {

/// The ways to divide a node's items, each written once over whatever holds the items: lists of
/// item numbers (gas_split_items.h) or the records of a build. A new method is a function here and
/// a line in gas_choose_cut.
///
/// `Items` offers: get_center_bounds(); is_exact(), whether every cut between sorted items is tried
/// and not only planes between bins; and try_axis(axis, bounds, wins, best), which offers all cuts
/// along an axis to `best`.

/// Any unknown setting counts as the fast binned SAH.
inline GasBuildMethod gas_get_build_method(unsigned setting) {
    return setting <= 3 ? static_cast<GasBuildMethod>(setting) : GasBuildMethod::sah_fast;
}

/// The split function of a tree class for a method.
template <typename Tree> auto gas_get_split_callback(GasBuildMethod method) {
    switch (method) {
    case GasBuildMethod::median:
        return &Tree::split_median;
    case GasBuildMethod::hybrid:
        return &Tree::split_hybrid;
    case GasBuildMethod::sah:
        return &Tree::split_sah_bins;
    case GasBuildMethod::sah_fast:
        break;
    }
    return &Tree::split_sah_bins_fast;
}

/// Where a list of items is cut.
struct GasCut {
    enum class Kind {
        /// In the middle of the list as it stands.
        halves,
        /// The same, and so will everything below be cut.
        halves_all_below,
        /// At `position`: centres at or below it go first.
        plane,
        /// After `left_count` items in the order of their centres.
        sorted
    };

    Kind kind = Kind::halves;
    unsigned axis = 0;
    float position = 0.0f;
    unsigned left_count = 0;
};

/// The best of the cuts that were tried.
struct GasBestCut {
    double cost = 1e308;
    unsigned axis = 3; // 3: none won
    unsigned left_count = 0;
    float position = 0.0f;

    bool has_won() const { return axis < 3; }
};

/// Which cost replaces the best so far. They differ for a NaN only, which wins over three axes and
/// loses over one.
struct GasWinsUnlessWorse {
    bool operator()(double cost, double best) const { return !(cost >= best); }
};
struct GasWinsIfCheaper {
    bool operator()(double cost, double best) const { return cost < best; }
};

/// The most items of a node that is hybrid-split by the surface area heuristic.
inline constexpr unsigned gas_hybrid_sah_limit = 128;

/// Centres closer together than this along an axis count as one.
inline constexpr double gas_smallest_extent = 1e-8;

/// Whether centres that spread by `extent` can be divided; false for a NaN.
inline bool gas_is_divisible(float extent) {
    return static_cast<double>(extent) >= gas_smallest_extent;
}

/// The axis of a box's largest extent; ties go to the lower axis.
inline unsigned gas_widest_axis(const GMathBbox3<float>& box) {
    const float extent_x = box.max.x - box.min.x;
    const float extent_y = box.max.y - box.min.y;
    const float extent_z = box.max.z - box.min.z;
    if (extent_y > extent_x)
        return extent_z > extent_y ? 2 : 1;
    return extent_z > extent_x ? 2 : 0;
}

/// At the middle of the centres' bounds along their widest axis. Centres that coincide or overflow
/// are halved in the order they have.
template <typename Items> GasCut gas_cut_at_median(const Items& items) {
    const GMathBbox3<float> bounds = items.get_center_bounds();
    const unsigned axis = gas_widest_axis(bounds);
    const float position = (bounds.min[axis] + bounds.max[axis]) * 0.5f;
    const float extent = bounds.max[axis] - bounds.min[axis];
    if (position > FLT_MAX || extent > FLT_MAX || !gas_is_divisible(extent))
        return {};
    return {GasCut::Kind::plane, axis, position, 0};
}

/// Binned SAH along the widest axis of the centres only; for 3 items or more. Where every cut is
/// tried, the items are sorted whether one wins or not.
template <typename Items> GasCut gas_cut_fast(Items& items, unsigned count) {
    const GMathBbox3<float> bounds = items.get_center_bounds();
    const unsigned axis = gas_widest_axis(bounds);
    // Whatever lies within has no larger extents.
    if (!gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
        return {GasCut::Kind::halves_all_below, 0, 0.0f, 0};
    GasBestCut best;
    best.left_count = count / 2;
    items.try_axis(axis, bounds, GasWinsIfCheaper(), best);
    if (items.is_exact())
        return {GasCut::Kind::sorted, axis, 0.0f, best.left_count};
    if (!best.has_won())
        return {};
    return {GasCut::Kind::plane, axis, best.position, 0};
}

/// Full binned SAH over all three axes; for 3 items or more.
template <typename Items> GasCut gas_cut_fully(Items& items) {
    const GMathBbox3<float> bounds = items.get_center_bounds();
    GasBestCut best;
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
            items.try_axis(axis, bounds, GasWinsUnlessWorse(), best);
    }
    if (!best.has_won())
        return {};
    const GasCut::Kind kind = items.is_exact() ? GasCut::Kind::sorted : GasCut::Kind::plane;
    return {kind, best.axis, best.position, best.left_count};
}

/// Fast binned SAH for small nodes, the median for large ones.
template <typename Items> GasCut gas_cut_hybrid(Items& items, unsigned count) {
    return count <= gas_hybrid_sah_limit ? gas_cut_fast(items, count) : gas_cut_at_median(items);
}

/// Where `count` items are cut by a method.
template <typename Items>
GasCut gas_choose_cut(GasBuildMethod method, Items& items, unsigned count) {
    switch (method) {
    case GasBuildMethod::median:
        return gas_cut_at_median(items);
    case GasBuildMethod::hybrid:
        return gas_cut_hybrid(items, count);
    case GasBuildMethod::sah:
        return gas_cut_fully(items);
    case GasBuildMethod::sah_fast:
        break;
    }
    return gas_cut_fast(items, count);
}

} // namespace gas_abi1
