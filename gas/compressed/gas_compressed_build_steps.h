// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The bottom-up pass: the boxes of items, and of nodes, which it writes.
struct GasCompressedTreeComputeBboxContext {
    const GMathBbox3<float>* item_bboxes;
    GMathBbox3<float>* node_bboxes;
};

/// The top-down pass: the exact boxes of items and nodes, and the boxes that a ray will see. What a
/// node's exact box is needed for comes before what its decoded box is needed for, so the last two
/// may be the same array.
struct GasCompressedTreeQuantizeBboxContext {
    const GMathBbox3<float>* item_bboxes;
    const GMathBbox3<float>* node_bboxes;
    /// One per node.
    GMathBbox3<float>* decoded_bboxes;
};

} // namespace gas_abi1
