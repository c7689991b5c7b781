#include <gas/tree/gas_tree.h>

namespace {

/// What each entry of an index array is charged, in bytes.
constexpr std::size_t index_charge = 8;

} // namespace

std::size_t GasTree::get_memory_size() const {
    const std::size_t index_size = m_items ? std::size_t{m_leaf_count} * index_charge : 0;
    return sizeof(GasTree) + std::size_t{m_node_count} * sizeof(Node) + index_size;
}
