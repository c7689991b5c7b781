#include <gas/tree/gas_sample_table.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_nodes.h>

inline namespace gas_abi1 {

/// The wide nodes beside a tree's own: made on demand, released with them.

void GasTree::set_wide_nodes(const bool& wanted) {
    m_wants_wide_nodes = wanted;
    if (!wanted)
        return release_wide_nodes();
    if (m_wide_nodes || m_leaf_count < 2)
        return;
    try {
        m_wide_nodes = new GasWideNodes(m_nodes, m_node_count);
        unsigned count = 0;
        gas_resize_sample_table(m_wide_samples, count, m_motion_blur_sample_count);
        for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample) {
            if (m_motion_blur_bboxes[sample]) {
                add_wide_sample(sample);
                fill_wide_sample(sample, 0);
            }
        }
    } catch (...) {
        release_wide_nodes();
        throw;
    }
}

/// The last step of a build, which leaves an empty tree when memory runs out.
void GasTree::finish_wide_nodes() {
    try {
        set_wide_nodes(m_wants_wide_nodes);
    } catch (...) {
        clear();
        throw;
    }
}

std::size_t GasTree::get_wide_nodes_size() const {
    if (!m_wide_nodes)
        return 0;
    std::size_t size = m_wide_nodes->get_memory_size();
    for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample) {
        if (m_wide_samples[sample])
            size += m_wide_samples[sample]->get_memory_size();
    }
    return size;
}

void GasTree::add_wide_sample(unsigned sample) {
    if (m_wide_nodes && !m_wide_samples[sample])
        m_wide_samples[sample] = new GasWideSample(m_wide_nodes->get_count());
}

void GasTree::fill_wide_sample(unsigned sample, unsigned first_node) {
    if (m_wide_nodes)
        m_wide_samples[sample]->fill(*m_wide_nodes, m_motion_blur_bboxes[sample], first_node);
}

void GasTree::resize_wide_samples(unsigned new_count) {
    if (!m_wide_nodes)
        return;
    for (unsigned sample = new_count; sample < m_motion_blur_sample_count; ++sample) {
        delete m_wide_samples[sample];
        m_wide_samples[sample] = nullptr;
    }
    // A table that is too long stays: were it made shorter, the sample boxes' table could run out
    // of memory next and keep the old count.
    if (new_count && new_count < m_motion_blur_sample_count)
        return;
    unsigned count = m_motion_blur_sample_count;
    gas_resize_sample_table(m_wide_samples, count, new_count);
}

void GasTree::release_wide_nodes() {
    if (m_wide_samples) {
        for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample)
            delete m_wide_samples[sample];
        delete[] m_wide_samples;
        m_wide_samples = nullptr;
    }
    delete m_wide_nodes;
    m_wide_nodes = nullptr;
}

} // namespace gas_abi1
