#include <gas/traversal/gas_tree_ctx.h>

#include <limits>
#include <new>

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
