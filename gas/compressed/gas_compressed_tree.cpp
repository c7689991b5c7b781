// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree.h>

#include <cassert>
#include <cstddef>
#include <utility>

#include <gas/core/gas_reporting.h>
#include <gas/host/host_contract.h>
#include <gas/tree/gas_sample_table.h>

inline namespace gas_abi1 {

static_assert(offsetof(GasCompressedNode, flags) == 7, "the flags follow the pair of boxes");
static_assert(offsetof(GasCompressedNode, children) == 8, "the children close the record");

GasCompressedTree::GasCompressedTree()
    : m_nodes(nullptr), m_motion_blur_sample_count(0), m_motion_blur_records(nullptr), m_bbox{},
      m_blurred_bbox_count(0), m_blurred_bboxes(nullptr), m_root_index(no_root), m_items(nullptr),
      m_leaf_count(0), m_node_count(0), m_depth(0), m_split_callback(split_sah_bins_fast),
      m_are_boxes_ordered(false) {}

GasCompressedTree::GasCompressedTree(const GasCompressedTree& other) : GasCompressedTree() {
    *this = other;
}

GasCompressedTree& GasCompressedTree::operator=(const GasCompressedTree& other) {
    if (this == &other)
        return *this;
    // What may fail comes before anything changes.
    const unsigned sample_count = other.m_motion_blur_sample_count;
    const unsigned bbox_count = other.m_blurred_bbox_count;
    auto records = gas_make_sample_table(other.m_motion_blur_records, sample_count, sample_count);
    auto bboxes = gas_make_sample_table(other.m_blurred_bboxes, bbox_count, bbox_count);
    if (other.m_nodes)
        m_share.join(other.m_share, sample_count);
    else
        m_share.leave();
    gas_replace_sample_table(m_motion_blur_records, m_motion_blur_sample_count, std::move(records),
                             sample_count);
    gas_replace_sample_table(m_blurred_bboxes, m_blurred_bbox_count, std::move(bboxes), bbox_count);

    m_nodes = other.m_nodes;
    m_bbox = other.m_bbox;
    m_root_index = other.m_root_index;
    m_items = other.m_items;
    m_leaf_count = other.m_leaf_count;
    m_node_count = other.m_node_count;
    m_depth = other.m_depth;
    m_split_callback = other.m_split_callback;
    m_leaf_callbacks = other.m_leaf_callbacks;
    m_are_boxes_ordered = other.m_are_boxes_ordered;
    return *this;
}

GasCompressedTree::GasCompressedTree(GasCompressedTree&& other) noexcept : GasCompressedTree() {
    take(other);
}

GasCompressedTree& GasCompressedTree::operator=(GasCompressedTree&& other) noexcept {
    if (this == &other)
        return *this;
    release_arrays(m_share.leave());
    take(other);
    return *this;
}

GasCompressedTree::~GasCompressedTree() {
    gas_forget_reports(this);
    clear();
    delete[] m_blurred_bboxes;
}

void GasCompressedTree::clear() { release_arrays(m_share.release()); }

void GasCompressedTree::release_samples(unsigned first, const GasArrayBlock& block) {
    for (unsigned sample = first; sample < m_motion_blur_sample_count; ++sample)
        block.release_outside(m_motion_blur_records[sample], sys_free);
}

/// Releases the samples that no copy shares, and where they are this tree's to release those and
/// all else that copies share. Leaves an empty tree with the samples' root boxes.
void GasCompressedTree::release_arrays(const GasNodeShare::Rest& rest) {
    const GasArrayBlock& block = rest.block;
    release_samples(rest.owns_shared ? 0 : rest.shared_sample_count, block);
    if (rest.owns_shared) {
        block.release_outside(m_items, sys_free);
        block.release_outside(m_nodes, sys_aligned_free);
        block.release_all();
    }
    gas_replace_sample_table(m_motion_blur_records, m_motion_blur_sample_count, {}, 0);
    m_nodes = nullptr;
    m_items = nullptr;
    m_root_index = no_root;
    m_leaf_count = 0;
    m_node_count = 0;
    m_depth = 0;
    m_are_boxes_ordered = false;
}

/// Takes everything from `other`, which is then as newly constructed. This tree is empty.
void GasCompressedTree::take(GasCompressedTree& other) noexcept {
    m_nodes = std::exchange(other.m_nodes, nullptr);
    m_motion_blur_sample_count = std::exchange(other.m_motion_blur_sample_count, 0);
    m_motion_blur_records = std::exchange(other.m_motion_blur_records, nullptr);
    m_bbox = std::exchange(other.m_bbox, GMathBbox3<float>());
    m_blurred_bbox_count = std::exchange(other.m_blurred_bbox_count, 0);
    delete[] std::exchange(m_blurred_bboxes, std::exchange(other.m_blurred_bboxes, nullptr));
    m_root_index = std::exchange(other.m_root_index, no_root);
    m_items = std::exchange(other.m_items, nullptr);
    m_leaf_count = std::exchange(other.m_leaf_count, 0);
    m_node_count = std::exchange(other.m_node_count, 0);
    m_depth = std::exchange(other.m_depth, 0);
    m_split_callback = std::exchange(other.m_split_callback, split_sah_bins_fast);
    m_leaf_callbacks = std::exchange(other.m_leaf_callbacks, GasLeafCallbacks());
    m_are_boxes_ordered = std::exchange(other.m_are_boxes_ordered, false);
    m_share.take(other.m_share);
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
