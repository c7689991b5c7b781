// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <utility>

#include <gas/build/gas_build_input.h>
#include <gas/compressed/gas_compressed_build_steps.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_sample_table.h>

inline namespace gas_abi1 {

namespace {

/// What follows the last record of a sample: records are read by wider loads.
constexpr std::size_t record_slack = 9;

} // namespace

void GasCompressedTree::set_motion_blur_sample_count(const unsigned& count) {
    const unsigned new_count = count;
    if (new_count == m_motion_blur_sample_count && new_count == m_blurred_bbox_count)
        return;
    // Both tables before anything changes: memory may run out.
    auto records =
        gas_make_sample_table(m_motion_blur_records, m_motion_blur_sample_count, new_count);
    auto bboxes = gas_make_sample_table(m_blurred_bboxes, m_blurred_bbox_count, new_count);
    release_samples(new_count, m_share.get_block());
    m_share.drop_samples(new_count);
    gas_replace_sample_table(m_motion_blur_records, m_motion_blur_sample_count, std::move(records),
                             new_count);
    gas_replace_sample_table(m_blurred_bboxes, m_blurred_bbox_count, std::move(bboxes), new_count);
}

bool GasCompressedTree::refit_motion_blur_sample(const CoreArray<GMathBbox3<float>>& bboxes,
                                                 const unsigned& sample) {
    return refit_motion_blur_sample(gas_host::get_items(bboxes), gas_host::get_count(bboxes),
                                    sample);
}

bool GasCompressedTree::refit_motion_blur_sample(const GMathBbox3<float>* bboxes,
                                                 const unsigned& count, const unsigned& sample) {
    if (count != m_leaf_count)
        return false;
    if (sample >= m_motion_blur_sample_count)
        return false;
    if (m_node_count == 0)
        return true;

    // Everything that can fail comes before anything changes.
    const std::size_t record_size = std::size_t{m_node_count} * sizeof(GasQuantizedPair);
    const std::unique_ptr<GMathBbox3<float>[]> boxes(new GMathBbox3<float>[m_node_count]);
    unsigned char*& records = m_motion_blur_records[sample];
    if (!records) {
        records = static_cast<unsigned char*>(sys_malloc(record_size + record_slack));
        std::memset(records + record_size, 0, record_slack);
    }

    GMathBbox3<float>& root_bbox = m_blurred_bboxes[sample];
    if (m_leaf_count == 1) {
        root_bbox = bboxes[0];
        const GasQuantizedPair pair = {{0xFF, 0xFF, 0xFF}, 0, {0xFF, 0xFF, 0xFF}};
        std::memcpy(records, &pair, sizeof pair);
        return true;
    }
    GasCompressedTreeComputeBboxContext exact = {bboxes, boxes.get()};
    compute_bboxes(exact, m_root_index, root_bbox);
    GasCompressedTreeQuantizeBboxContext context = {bboxes, boxes.get(), boxes.get()};
    quantize_motion_blur_bboxes(context, sample, m_root_index, root_bbox);
    return true;
}

} // namespace gas_abi1
