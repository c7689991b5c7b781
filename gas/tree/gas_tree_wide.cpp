// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <gas/tree/gas_sample_pass.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

void GasTree::set_wide_nodes(bool wanted) {
    const bool was_wanted = std::exchange(m_wants_wide_nodes, wanted);
    if (!m_wide_tree)
        return;
    if (!wanted)
        return m_wide_tree->drop_nodes();
    if (m_wide_tree->has_nodes())
        return;
    try {
        m_wide_tree->make_nodes(m_nodes, m_node_count, nullptr);
        for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample) {
            if (GMathBbox3<float>* const boxes = m_motion_blur_bboxes[sample]) {
                m_wide_tree->reserve_samples(m_motion_blur_sample_count);
                const GasSampleRefit refit =
                    m_wide_tree->get_sample_refit(m_nodes, m_node_count, nullptr, sample, boxes);
                m_wide_tree->end_sample(refit, gas_fill_sample_records(refit));
            }
        }
    } catch (...) {
        m_wide_tree->drop_nodes();
        m_wants_wide_nodes = was_wanted;
        throw;
    }
}

bool GasTree::has_wide_nodes() const { return m_wide_tree && m_wide_tree->has_nodes(); }

std::size_t GasTree::get_wide_nodes_size() const {
    return m_wide_tree ? m_wide_tree->get_memory_size() : 0;
}

} // namespace gas_abi1
