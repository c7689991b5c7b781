#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

void GasTree::set_wide_nodes(bool wanted) {
    m_wants_wide_nodes = wanted;
    if (!m_wide_tree)
        return;
    if (!wanted)
        return m_wide_tree->drop_nodes();
    if (m_wide_tree->has_nodes())
        return;
    try {
        m_wide_tree->make_nodes(m_nodes, m_node_count, nullptr);
        for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample) {
            if (const GMathBbox3<float>* const boxes = m_motion_blur_bboxes[sample]) {
                m_wide_tree->reserve_samples(m_motion_blur_sample_count);
                m_wide_tree->begin_sample(sample, boxes).advance(0);
            }
        }
    } catch (...) {
        m_wide_tree->drop_nodes();
        throw;
    }
}

bool GasTree::has_wide_nodes() const { return m_wide_tree && m_wide_tree->has_nodes(); }

std::size_t GasTree::get_wide_nodes_size() const {
    return m_wide_tree ? m_wide_tree->get_memory_size() : 0;
}

} // namespace gas_abi1
