// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree.h>

#include <cassert>
#include <cstddef>
#include <memory>

#include <gas/host/host_contract.h>
#include <gas/tree/gas_sample_table.h>

inline namespace gas_abi1 {

static_assert(offsetof(GasCompressedNode, flags) == 7, "the flags follow the pair of boxes");
static_assert(offsetof(GasCompressedNode, children) == 8, "the children close the record");

GasCompressedTree::GasCompressedTree()
    : m_nodes(nullptr), m_motion_blur_sample_count(0), m_motion_blur_records(nullptr), m_bbox{},
      m_blurred_bbox_count(0), m_blurred_bboxes(nullptr), m_root_index(no_root), m_items(nullptr),
      m_leaf_count(0), m_node_count(0), m_depth(0), m_split_callback(split_sah_bins_fast) {}

GasCompressedTree::GasCompressedTree(const GasCompressedTree& other) : GasCompressedTree() {
    *this = other;
}

GasCompressedTree& GasCompressedTree::operator=(const GasCompressedTree& other) {
    if (this == &other)
        return *this;
    // Both tables before anything changes: memory may run out.
    std::unique_ptr<unsigned char*[]> records(
        gas_copy_sample_table(other.m_motion_blur_records, other.m_motion_blur_sample_count));
    GMathBbox3<float>* const bboxes =
        gas_copy_sample_table(other.m_blurred_bboxes, other.m_blurred_bbox_count);
    delete[] m_motion_blur_records;
    m_motion_blur_records = records.release();
    m_motion_blur_sample_count = other.m_motion_blur_sample_count;
    delete[] m_blurred_bboxes;
    m_blurred_bboxes = bboxes;
    m_blurred_bbox_count = other.m_blurred_bbox_count;

    m_nodes = other.m_nodes;
    m_bbox = other.m_bbox;
    m_root_index = other.m_root_index;
    m_items = other.m_items;
    m_leaf_count = other.m_leaf_count;
    m_node_count = other.m_node_count;
    m_depth = other.m_depth;
    m_split_callback = other.m_split_callback;
    m_leaf_callbacks = other.m_leaf_callbacks;
    return *this;
}

GasCompressedTree::~GasCompressedTree() {
    clear();
    delete[] m_blurred_bboxes;
}

void GasCompressedTree::clear() {
    if (m_node_count != 0) {
        m_root_index = no_root;
        m_leaf_count = 0;
        m_node_count = 0;
        m_depth = 0;
    }
    for (unsigned sample = 0; sample < m_motion_blur_sample_count; ++sample)
        sys_free(m_motion_blur_records[sample]);
    gas_resize_sample_table(m_motion_blur_records, m_motion_blur_sample_count, 0);
    sys_free(m_items);
    m_items = nullptr;
    sys_aligned_free(m_nodes);
    m_nodes = nullptr;
}

const GMathBbox3<float>& GasCompressedTree::get_blurred_bbox(const unsigned& sample) const {
    const bool valid = sample < m_blurred_bbox_count;
    assert(valid && "there is no such motion-blur sample");
    return valid ? m_blurred_bboxes[sample] : m_bbox;
}

void GasCompressedTree::set_leaf_raytrace_callbacks(GasLeafCallback all_hits,
                                                    GasLeafCallback nearest, void* user) {
    m_leaf_callbacks.set(all_hits, all_hits, nearest, nearest, user);
}

void GasCompressedTree::set_leaf_raytrace_callbacks(GasLeafCallback hit_static,
                                                    GasLeafCallback hit_motion,
                                                    GasLeafCallback nearest_static,
                                                    GasLeafCallback nearest_motion, void* user) {
    m_leaf_callbacks.set(hit_static, hit_motion, nearest_static, nearest_motion, user);
}

} // namespace gas_abi1
