// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

void GasWideTree::make_nodes(const GasTreeNode* nodes, unsigned node_count,
                             GasParallelBuild* parallel) {
    if (!m_nodes && node_count > 1)
        m_nodes = std::make_unique<GasWideNodes>(nodes, node_count, parallel);
    find_walked_nodes();
}

void GasWideTree::take(std::unique_ptr<GasWideNodes> nodes,
                       std::unique_ptr<GasWideSamples> samples) {
    m_nodes = std::move(nodes);
    m_samples = std::move(samples);
    find_walked_nodes();
}

void GasWideTree::drop_nodes() {
    m_samples.reset();
    m_nodes.reset();
    find_walked_nodes();
}

GasNodeRefit GasWideTree::get_refit(GasTreeNode* nodes, unsigned node_count,
                                    const GMathBbox3<float>* bboxes) const {
    if (!m_nodes)
        return {nodes, node_count, bboxes, nullptr, 0};
    return {nodes, node_count, bboxes, m_nodes->get_nodes(), m_nodes->get_count()};
}

void GasWideTree::end_refit(bool are_boxes_ordered, bool have_boxes_centers) {
    m_are_boxes_ordered = are_boxes_ordered && have_boxes_centers;
    if (m_nodes)
        m_nodes->set_boxes_ordered(are_boxes_ordered);
    find_walked_nodes();
}

GasSampleRefit GasWideTree::get_sample_refit(const GasTreeNode* nodes, unsigned node_count,
                                             const GMathBbox3<float>* bboxes, unsigned sample,
                                             GMathBbox3<float>* boxes) const {
    GasSampleRefit refit = {nodes, node_count, bboxes, boxes, nullptr, 0, {}, false, sample};
    if (m_nodes) {
        refit.wide_nodes = m_nodes->get_nodes();
        refit.wide_count = m_nodes->get_count();
        refit.records = m_samples->get_records();
        refit.has_references = m_samples->has_references();
    }
    return refit;
}

void GasWideTree::end_sample(const GasSampleRefit& refit, bool are_boxes_ordered) {
    if (m_nodes)
        m_samples->set(refit.sample, refit.boxes, are_boxes_ordered);
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
