#pragma once

#include <cstddef>
#include <memory>

#include <gas/core/gas_compiler.h>
#include <gas/host/host.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// A pass over wide nodes, from the last to the first, that follows one over the binary nodes.
struct GasWideCursor {
    /// Wide nodes whose turn is still to come.
    unsigned remaining = 0;
    /// Whether all boxes of those that had theirs are in order.
    bool are_boxes_ordered = true;
};

/// Asks for the record of `record_size` bytes that such a pass writes a while after record `i`.
GAS_FORCE_INLINE void gas_prefetch_ahead(const void* records, std::size_t record_size, unsigned i) {
    constexpr unsigned distance = 32;
    const auto* const ahead =
        static_cast<const char*>(records) + (i > distance ? i - distance : 0) * record_size;
    for (std::size_t offset = 0; offset < record_size; offset += 64)
        gas_prefetch(ahead + offset);
}

/// The step of a pass that follows one over the binary nodes, which has come to `first_node`: calls
/// `take(i)` for the wide nodes whose boxes are there, from the last on.
template <typename Take>
void gas_advance_wide(GasWideCursor& cursor, const GasWideNode* nodes, unsigned first_node,
                      const Take& take) {
    // Wide nodes are in the order of their first children.
    while (cursor.remaining > 0 && nodes[cursor.remaining - 1].first_child > first_node) {
        gas_prefetch_ahead(nodes, sizeof(GasWideNode), cursor.remaining);
        take(--cursor.remaining);
    }
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
