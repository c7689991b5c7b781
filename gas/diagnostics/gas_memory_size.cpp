// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/grid/gas_grid_cells.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

namespace {

/// The bytes counted for an index array: 8 per entry.
std::size_t get_index_size(const unsigned* indices, unsigned count) {
    return indices ? std::size_t{count} * 8 : 0;
}

} // namespace

std::size_t GasTree::get_memory_size() const {
    return sizeof(GasTree) + std::size_t{m_node_count} * sizeof(Node) +
           get_index_size(m_items, m_leaf_count);
}

std::size_t GasCompressedTree::get_memory_size() const {
    return sizeof(GasCompressedTree) + std::size_t{m_node_count} * sizeof(GasCompressedNode) +
           get_index_size(m_items, m_leaf_count);
}

std::size_t GasGridTree::get_memory_size() const {
    // The object holds its top tree.
    std::size_t size = sizeof(GasGridTree) + m_top_tree.get_memory_size() - sizeof(GasTree);
    const unsigned cell_count = get_cell_count();
    size += std::size_t{cell_count} * sizeof(SysThreadLock);
    for (unsigned cell = 0; cell < cell_count; ++cell) {
        if (const GasGridSubTree* const sub_tree = find_sub_tree(cell))
            size += sub_tree->get_memory_size();
    }
    return size;
}

} // namespace gas_abi1
