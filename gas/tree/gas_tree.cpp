// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/gas_tree.h>

#include <cstddef>
#include <utility>

#include <gas/core/gas_reporting.h>
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
    // What may fail comes before anything changes.
    const unsigned sample_count = other.m_motion_blur_sample_count;
    auto samples = gas_make_sample_table(other.m_motion_blur_bboxes, sample_count, sample_count);
    if (other.m_nodes)
        m_share.join(other.m_share, sample_count);
    else
        m_share.leave();
    gas_replace_sample_table(m_motion_blur_bboxes, m_motion_blur_sample_count, std::move(samples),
                             sample_count);

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

GasTree::GasTree(GasTree&& other) noexcept : GasTree() { take(other); }

GasTree& GasTree::operator=(GasTree&& other) noexcept {
    if (this == &other)
        return *this;
    release_arrays(m_share.leave());
    take(other);
    return *this;
}

GasTree::~GasTree() {
    gas_forget_reports(this);
    clear();
}

void GasTree::clear() { release_arrays(m_share.release()); }

void GasTree::release_samples(unsigned first, const GasArrayBlock& block) {
    for (unsigned sample = first; sample < m_motion_blur_sample_count; ++sample)
        block.release_outside(m_motion_blur_bboxes[sample], sys_free);
}

/// Releases the samples that no copy shares, and where they are this tree's to release those and
/// all else that copies share. Leaves an empty tree.
void GasTree::release_arrays(const GasNodeShare::Rest& rest) {
    const GasArrayBlock& block = rest.block;
    release_samples(rest.owns_shared ? 0 : rest.shared_sample_count, block);
    if (rest.owns_shared) {
        delete m_wide_tree;
        block.release_outside(m_nodes, sys_aligned_free);
        block.release_outside(m_items, sys_free);
        block.release_all();
    }
    gas_replace_sample_table(m_motion_blur_bboxes, m_motion_blur_sample_count, {}, 0);
    m_nodes = nullptr;
    m_items = nullptr;
    m_wide_tree = nullptr;
    m_leaf_count = 0;
    m_node_count = 0;
    m_depth = 0;
}

/// Takes everything from `other`, which is then as newly constructed. This tree is empty.
void GasTree::take(GasTree& other) noexcept {
    m_nodes = std::exchange(other.m_nodes, nullptr);
    m_motion_blur_sample_count = std::exchange(other.m_motion_blur_sample_count, 0);
    m_motion_blur_bboxes = std::exchange(other.m_motion_blur_bboxes, nullptr);
    m_items = std::exchange(other.m_items, nullptr);
    m_leaf_count = std::exchange(other.m_leaf_count, 0);
    m_node_count = std::exchange(other.m_node_count, 0);
    m_depth = std::exchange(other.m_depth, 0);
    m_split_callback = std::exchange(other.m_split_callback, split_sah_bins_fast);
    m_leaf_callbacks = std::exchange(other.m_leaf_callbacks, GasLeafCallbacks());
    m_wide_tree = std::exchange(other.m_wide_tree, nullptr);
    m_wants_wide_nodes = std::exchange(other.m_wants_wide_nodes, false);
    m_share.take(other.m_share);
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
