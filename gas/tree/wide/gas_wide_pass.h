// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include <gas/core/gas_compiler.h>
#include <gas/host/host.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// The record that a pass from the last to the first should ask for when it comes to record `i`.
GAS_FORCE_INLINE unsigned gas_get_ahead(unsigned i) {
    constexpr unsigned distance = 32;
    return i > distance ? i - distance : 0;
}

/// Asks for a wide node, which lies in two cache lines.
GAS_FORCE_INLINE void gas_fetch_node(const GasWideNode& node) {
    gas_prefetch(&node.planes);
    gas_prefetch(&node.references);
}

/// The step of a pass over wide nodes, from the last to the first, that follows one over the binary
/// nodes, which has come to `first_node`: calls `take(i)` for the wide nodes whose boxes are there.
/// `remaining` are those whose turn is still to come.
template <typename Take>
GAS_FORCE_INLINE void gas_advance_wide(unsigned& remaining, const GasWideNode* nodes,
                                       unsigned first_node, const Take& take) {
    // Wide nodes are in the order of their first children.
    while (remaining > 0 && nodes[remaining - 1].first_child > first_node)
        take(--remaining);
}

/// Memory for `size` bytes at `alignment`, which may be more than the host's has. `memory` is what
/// sys_aligned_free takes.
inline void* gas_allocate_aligned(std::size_t size, std::size_t alignment, void*& memory) {
    std::size_t space = size + alignment;
    memory = sys_aligned_malloc(space);
    void* aligned = memory;
    return std::align(alignment, size, aligned, space);
}

} // namespace gas_abi1
