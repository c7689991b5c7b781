// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_forward.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// What a split function sees of the build of a GasCompressedTree.
struct GasCompressedTreeSplitContext {
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

} // namespace gas_abi1
