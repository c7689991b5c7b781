// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_forward.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// What a split function sees of the build of a GasTree.
struct GasTreeSplitContext {
    /// The item boxes being built over, indexed by item.
    const GMathBbox3<float>* bboxes;
    /// The centres of those boxes, indexed by item.
    const GMathVec3<float>* centers;
    /// Scratch of the binned SAH splits; null when the build splits by the median.
    GasSahWorkspace* sah_workspace;
    /// The bar given to `create`, or null.
    AppProgressBar* progress_bar;
    /// Leaves created so far; counted only with a progress bar.
    unsigned built_leaf_count;
};

/// Divides the `count` (3 or more) items of a node: reorders `items` in place and always sets
/// `left_count`; the first `left_count` entries go to the first child. 0 or `count` cuts the list
/// in half instead.
using GasTreeSplitCallback = void (*)(const GasTreeSplitContext& context, unsigned* items,
                                      unsigned count, unsigned& left_count);

} // namespace gas_abi1
