#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

void GasWideTree::make_nodes(const GasTreeNode* nodes, unsigned node_count,
                             GasParallelBuild* parallel) {
    if (!m_nodes && node_count > 1)
        m_nodes = std::make_unique<GasWideNodes>(nodes, node_count, parallel);
    find_walked_nodes();
}

void GasWideTree::drop_nodes() {
    m_samples.reset();
    m_nodes.reset();
    find_walked_nodes();
}

void GasWideTree::reserve_samples(unsigned count) {
    if (!m_nodes || (m_samples && m_samples->get_sample_count() == count))
        return;
    auto samples = std::make_unique<GasWideSamples>(m_nodes->get_count(), count);
    if (m_samples)
        samples->take(*m_samples);
    m_samples = std::move(samples);
}

std::size_t GasWideTree::get_memory_size() const {
    return (m_nodes ? m_nodes->get_memory_size() : 0) +
           (m_samples ? m_samples->get_memory_size() : 0);
}

} // namespace gas_abi1
