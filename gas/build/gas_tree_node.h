// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// One node of a GasTree: two halves that each load as four lanes.
struct alignas(16) GasTreeNode {
    static constexpr unsigned leaf_flag = 1;
    static constexpr unsigned order_shift = 1;
    static constexpr unsigned order_mask = 7u << order_shift;

    GMathVec3<float> bbox_min;
    /// Inner node: its first child; the second is the one after. Leaf: its item.
    unsigned index;
    GMathVec3<float> bbox_max;
    /// Bit 0: leaf. Bits 1 to 3: traversal order code of an inner node, that is the axis along
    /// which its children are best separated (bits 1 and 2) and whether the second child lies
    /// on the low side (bit 3).
    unsigned flags;
};

} // namespace gas_abi1
