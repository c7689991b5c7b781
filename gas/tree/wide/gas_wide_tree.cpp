#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

void GasWideTree::make_nodes(const GasTreeNode* nodes, unsigned node_count,
                             GasParallelBuild* parallel) {
    if (!m_nodes && node_count > 1)
        m_nodes = std::make_unique<GasWideNodes>(nodes, node_count, parallel);
    find_walked_nodes();
}

void GasWideTree::drop_nodes() {
    m_samples.clear();
    m_samples.shrink_to_fit();
    m_nodes.reset();
    find_walked_nodes();
}

void GasWideTree::reserve_sample(unsigned sample) {
    if (!m_nodes)
        return;
    if (sample >= m_samples.size())
        m_samples.resize(std::size_t{sample} + 1);
    if (!m_samples[sample])
        m_samples[sample] = std::make_unique<GasWideSample>(m_nodes->get_count());
}

std::size_t GasWideTree::get_memory_size() const {
    std::size_t size = m_nodes ? m_nodes->get_memory_size() : 0;
    for (const std::unique_ptr<GasWideSample>& sample : m_samples)
        size += sample ? sample->get_memory_size() : 0;
    return size;
}

} // namespace gas_abi1
