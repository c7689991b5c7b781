// SPDX-License-Identifier: Apache-2.0
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <limits>
#include <new>

inline namespace gas_abi1 {

GasTreeCtx::~GasTreeCtx() {
    // The chain is as long as queries were ever nested: unlink it here, without recursion.
    while (GasTreeCtx* following = next) {
        next = following->next;
        following->next = nullptr;
        delete following;
    }
    delete[] stack;
    sys_aligned_free(decoded_boxes);
    sys_free(node_states);
    sys_free(indices);
}

void GasTreeCtx::reserve_stack(std::size_t entry_count) {
    if (entry_count <= stack_capacity)
        return;
    if (entry_count > std::numeric_limits<unsigned>::max())
        throw std::bad_alloc();
    delete[] stack;
    stack = nullptr;
    stack_capacity = 0;
    stack = new GasStackEntry[entry_count];
    stack_capacity = static_cast<unsigned>(entry_count);
}

void GasTreeCtx::grow(std::size_t stack_entries) {
    if (!next)
        next = new GasTreeCtx;
    reserve_stack(stack_entries);
}

void GasTreeCtx::grow_decoded_boxes(std::size_t count) {
    if (count > std::numeric_limits<unsigned>::max())
        throw std::bad_alloc();
    sys_aligned_free(decoded_boxes);
    decoded_boxes = nullptr;
    decoded_box_capacity = 0;
    decoded_boxes = static_cast<GasBbox*>(sys_aligned_malloc(count * sizeof(GasBbox)));
    decoded_box_capacity = static_cast<unsigned>(count);
}

void GasTreeCtx::grow_slots() {
    constexpr std::size_t node_state_size = 8;
    sys_free(node_states);
    node_states = nullptr;
    node_state_capacity = 0;
    node_states = sys_malloc(stack_capacity * node_state_size);
    node_state_capacity = stack_capacity;

    sys_free(indices);
    indices = nullptr;
    index_capacity = 0;
    indices = static_cast<unsigned*>(sys_malloc(stack_capacity * sizeof(unsigned)));
    index_capacity = stack_capacity;
}

} // namespace gas_abi1
