// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>

inline namespace gas_abi1 {

/// What a tree cannot do for its caller, and says nothing about unless it is asked to: misuse that
/// leaves queries without an answer, in release builds too. Builds tell nothing of boxes with NaNs
/// or inverted ones: gas_validate_boxes (gas_validate.h) does.
enum class GasReportCause {
    /// A ray query of a CtxShader that has no frames traces nothing (GasShaderFrames gives it
    /// some).
    no_frames,
    /// A ray query calls a leaf callback that was never set, or not before a grid built the cell,
    /// and which does nothing.
    no_leaf_callback,
    /// A motion ray came between samples of which one was never filled, and traces nothing.
    unfilled_sample,
    /// A grid asks for boxes by a box callback that was never set; they are zeros.
    no_bbox_callback,
    /// A nearest-hit query of a batch without an intersection map traces nothing.
    no_intersection_map,
    /// A query of a batch whose range reaches beyond its rays traces nothing.
    range_outside
};

struct GasReport {
    GasReportCause cause;
    /// The GasTree, GasCompressedTree or GasGridTree. Where a grid of a lone cell lacks frames or
    /// what is in a batch, the cell's tree.
    const void* tree;
    /// A line of English without an end of line, for ever valid: what is wrong and what mends it.
    /// Of callbacks it names the one that is missing.
    const char* text;
};

/// Called on the thread on which a tree finds out, in the middle of the query or the build; on
/// several threads at once for several trees. It may trace, but not the grid that it is told of, of
/// which a cell may be locked, and may set another report. What it throws passes through the query.
using GasReportCallback = void (*)(void* user, const GasReport& report);

/// Sets who is told, for all trees of the program; at first nobody is, and null ends it. Each tree
/// is told of once per text, until it is destroyed or a callback is set anew. Any thread may call
/// this at any time; a report on its way on another thread may still reach the old callback.
GAS_EXPORT void gas_set_report(GasReportCallback callback, void* user = nullptr);

} // namespace gas_abi1
