// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_report.h>

inline namespace gas_abi1 {

/// The library's side of gas_set_report. Neither function does more than to look at a flag where no
/// callback was set.

/// What there is to tell of a tree. Each has a cause and a text (GasReport) of its own.
enum class GasReportTopic : unsigned char {
    no_frames,
    /// A leaf callback is missing, in the order of GasRayCall.
    no_hit_static,
    no_hit_motion,
    no_nearest_static,
    no_nearest_motion,
    /// A cell of a grid was built before its leaf callback was set.
    no_callback_in_cell,
    unfilled_sample,
    no_leaf_bboxes,
    no_leaf_bboxes_at,
    no_leaves_bbox_at,
    no_intersection_map,
    range_outside
};

/// Tells of `tree`, unless that was told already. For ways out of a query that are rarely taken.
GAS_EXPORT void gas_report(GasReportTopic topic, const void* tree);

/// The tree is destroyed: another one at its address is told of again.
GAS_EXPORT void gas_forget_reports(const void* tree) noexcept;

} // namespace gas_abi1
