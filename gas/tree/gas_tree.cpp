// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/gas_tree.h>

#include <cstddef>
#include <memory>

#include <gas/host/host_contract.h>
#include <gas/tree/gas_sample_table.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

static_assert(sizeof(GasTree::Node) == 32, "two halves of four lanes");
static_assert(offsetof(GasTree::Node, index) == 12, "the index closes the first half");
static_assert(offsetof(GasTree::Node, bbox_max) == 16, "the second half starts with the max");
static_assert(offsetof(GasTree::Node, flags) == 28, "the flags close the second half");

GasTree::GasTree()
    : m_nodes(nullptr), m_motion_blur_sample_count(0), m_motion_blur_bboxes(nullptr),
      m_items(nullptr), m_leaf_count(0), m_node_count(0), m_depth(0),
      m_split_callback(split_sah_bins_fast), m_wide_tree(nullptr), m_wants_wide_nodes(false) {}

GasTree::GasTree(const GasTree& other) : GasTree() { *this = other; }

GasTree& GasTree::operator=(const GasTree& other) {
    if (this == &other)
        return *this;
    std::unique_ptr<GMathBbox3<float>*[]> samples(
        gas_copy_sample_table(other.m_motion_blur_bboxes, other.m_motion_blur_sample_count));
    delete[] m_motion_blur_bboxes;
    m_motion_blur_bboxes = samples.release();
    m_motion_blur_sample_count = other.m_motion_blur_sample_count;

    m_nodes = other.m_nodes;
    m_items = other.m_items;
    m_leaf_count = other.m_leaf_count;
    m_node_count = other.m_node_count;
    m_depth = other.m_depth;
    m_split_callback = other.m_split_callback;
    m_leaf_callbacks = other.m_leaf_callbacks;
    m_wants_wide_nodes = other.m_wants_wide_nodes;
    m_wide_tree = other.m_wide_tree;
    return *this;
}

GasTree::~GasTree() { clear(); }

void GasTree::clear() {
    delete m_wide_tree;
    m_wide_tree = nullptr;
    if (m_nodes) {
        sys_aligned_free(m_nodes);
        m_nodes = nullptr;
        m_leaf_count = 0;
        m_node_count = 0;
        m_depth = 0;
    }
    set_motion_blur_sample_count(0);
    sys_free(m_items);
    m_items = nullptr;
}

void GasTree::set_leaf_raytrace_callbacks(GasLeafCallback all_hits, GasLeafCallback nearest,
                                          void* user) {
    m_leaf_callbacks.set(all_hits, all_hits, nearest, nearest, user);
}

void GasTree::set_leaf_raytrace_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                                          GasLeafCallback nearest_static,
                                          GasLeafCallback nearest_motion, void* user) {
    m_leaf_callbacks.set(hit_static, hit_motion, nearest_static, nearest_motion, user);
}

} // namespace gas_abi1
