// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <gas/build/gas_record.h>
#include <gas/isa/gas_ray_calls.h>
#include <gas/tree/gas_sample_pass.h>
#include <gas/tree/gas_sample_table.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

namespace {

bool has_center(const GasLaneBox& box) {
    const SimdF center = box.get_center();
    return (center <= center).get_mask() == 15;
}

/// Whether no box has a NaN for its centre. Each has min <= max, so that only infinite ones can,
/// and then their union, `root`, does.
bool have_centers(const GMathBbox3<float>* bboxes, unsigned count, const GasTreeNode& root) {
    if (has_center(gas_load_box(root)))
        return true;
    for (unsigned item = 0; item < count; ++item)
        if (!has_center(GasLaneBox::load(bboxes[item])))
            return false;
    return true;
}

} // namespace

void GasTree::compute_node_traversal_order(Node& node, const Node& first, const Node& second) {
    const unsigned previous = (node.flags & Node::order_mask) >> Node::order_shift;
    const unsigned code =
        gas_traversal_order(previous, gas_load_raw_box(first), gas_load_raw_box(second));
    node.flags = (node.flags & ~Node::order_mask) | code << Node::order_shift;
}

bool GasTree::refit(const CoreArray<GMathBbox3<float>>& bboxes) {
    if (gas_host::get_count(bboxes) != m_leaf_count)
        return false;
    if (m_nodes)
        compute_bboxes(gas_host::get_items(bboxes));
    return true;
}

void GasTree::set_motion_blur_sample_count(const unsigned& count) {
    const unsigned new_count = count;
    if (new_count == m_motion_blur_sample_count)
        return;
    auto resized =
        gas_make_sample_table(m_motion_blur_bboxes, m_motion_blur_sample_count, new_count);
    if (m_wide_tree)
        m_wide_tree->drop_samples(new_count);
    release_samples(new_count, m_share.get_block());
    m_share.drop_samples(new_count);
    gas_replace_sample_table(m_motion_blur_bboxes, m_motion_blur_sample_count, std::move(resized),
                             new_count);
}

bool GasTree::refit_motion_blur_sample(const CoreArray<GMathBbox3<float>>& bboxes,
                                       const unsigned& sample) {
    return refit_motion_blur_sample(gas_host::get_items(bboxes), gas_host::get_count(bboxes),
                                    sample);
}

bool GasTree::refit_motion_blur_sample(const GMathBbox3<float>* bboxes, const unsigned& count,
                                       const unsigned& sample) {
    if (count != m_leaf_count)
        return false;
    if (sample >= m_motion_blur_sample_count)
        return false;
    if (!m_nodes)
        return true;

    m_wide_tree->reserve_samples(m_motion_blur_sample_count);
    GMathBbox3<float>*& boxes = m_motion_blur_bboxes[sample];
    if (!boxes) {
        // One float more than the boxes: a ray engine loads four lanes at the last box's max.
        boxes = static_cast<GMathBbox3<float>*>(
            sys_malloc(std::size_t{m_node_count} * sizeof(GMathBbox3<float>) + sizeof(float)));
    }
    const GasSampleRefit refit =
        m_wide_tree->get_sample_refit(m_nodes, m_node_count, bboxes, sample, boxes);
    const bool are_ordered = gas_refit_sample(refit);
    m_wide_tree->end_sample(refit, are_ordered);
    return true;
}

void GasTree::compute_bboxes(const GMathBbox3<float>* bboxes) {
    const bool are_ordered =
        gas_get_ray_calls().refit_nodes(m_wide_tree->get_refit(m_nodes, m_node_count, bboxes));
    m_wide_tree->end_refit(are_ordered,
                           are_ordered && have_centers(bboxes, m_leaf_count, m_nodes[0]));
}

GMathBbox3<float> GasTree::get_bbox() const {
    if (!m_nodes)
        return {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};
    return {m_nodes[0].bbox_min, m_nodes[0].bbox_max};
}

GMathBbox3<float> GasTree::get_blurred_bbox(const unsigned& sample) const {
    if (!m_nodes || sample >= m_motion_blur_sample_count || !m_motion_blur_bboxes[sample])
        return {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};
    return m_motion_blur_bboxes[sample][0];
}

} // namespace gas_abi1
