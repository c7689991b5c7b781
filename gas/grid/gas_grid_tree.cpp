// SPDX-License-Identifier: Apache-2.0
#include <gas/grid/gas_grid_tree.h>

#include <algorithm>
#include <cassert>
#include <utility>

#include <gas/core/gas_reporting.h>
#include <gas/grid/gas_grid_cells.h>

inline namespace gas_abi1 {

GasGridTree::GasGridTree() : m_progress_owner(nullptr), m_build_method(GasBuildMethod::sah_fast) {
    set_cell_callbacks();
}

GasGridTree::GasGridTree(const GasGridTree& other) : GasGridTree() { *this = other; }

GasGridTree& GasGridTree::operator=(const GasGridTree& other) {
    if (this == &other)
        return *this;
    detach();
    m_progress_owner = other.m_progress_owner;
    m_progress_label = other.m_progress_label;
    m_bbox_callbacks = other.m_bbox_callbacks;
    m_leaf_callbacks = other.m_leaf_callbacks;
    m_build_method = other.m_build_method;
    if (other.m_cells)
        attach(other.m_cells);
    else
        m_top_tree.set_motion_blur_sample_count(other.get_motion_blur_sample_count());
    return *this;
}

GasGridTree::GasGridTree(GasGridTree&& other) noexcept : GasGridTree() { take(other); }

GasGridTree& GasGridTree::operator=(GasGridTree&& other) noexcept {
    if (this == &other)
        return *this;
    detach();
    take(other);
    return *this;
}

GasGridTree::~GasGridTree() {
    gas_forget_reports(this);
    detach();
}

void GasGridTree::clear() { detach(); }

void GasGridTree::attach(std::shared_ptr<GasGridCells> cells) {
    {
        const std::lock_guard<std::mutex> guard(cells->grids_mutex);
        cells->grids.push_back(this);
    }
    m_cells = std::move(cells);
    try {
        look_at_top_tree();
    } catch (...) {
        detach();
        throw;
    }
}

void GasGridTree::detach() {
    if (m_cells) {
        const std::lock_guard<std::mutex> guard(m_cells->grids_mutex);
        std::vector<GasGridTree*>& grids = m_cells->grids;
        grids.erase(std::find(grids.begin(), grids.end(), this));
    }
    m_top_tree = GasTree(); // the nodes are those of the shared tree
    m_cells.reset();
    set_cell_callbacks();
}

/// Takes everything from `other`, which is then as newly constructed. This grid is empty.
void GasGridTree::take(GasGridTree& other) noexcept {
    m_cells = std::move(other.m_cells);
    if (m_cells) {
        const std::lock_guard<std::mutex> guard(m_cells->grids_mutex);
        std::replace(m_cells->grids.begin(), m_cells->grids.end(), &other, this);
    }
    m_top_tree = std::move(other.m_top_tree);
    set_cell_callbacks();
    other.set_cell_callbacks();
    m_progress_owner = std::exchange(other.m_progress_owner, nullptr);
    try {
        m_progress_label = std::move(other.m_progress_label);
        other.m_progress_label = CoreString();
    } catch (...) {
        // A host's text may be copied in a move. Without memory for that, bars of cells lack it.
    }
    m_bbox_callbacks = std::exchange(other.m_bbox_callbacks, GasGridBboxCallbacks());
    m_leaf_callbacks = std::exchange(other.m_leaf_callbacks, GasLeafCallbacks());
    m_build_method = std::exchange(other.m_build_method, GasBuildMethod::sah_fast);
}

void GasGridTree::look_at_top_tree() {
    if (m_cells)
        m_top_tree = m_cells->sampled_tree.tree;
    set_cell_callbacks();
}

void GasGridTree::set_cell_callbacks() {
    m_top_tree.set_leaf_raytrace_callbacks(
        grid_cell_ray_hit_static_callback, grid_cell_ray_hit_motion_callback,
        grid_cell_ray_hit_nearest_static_callback, grid_cell_ray_hit_nearest_motion_callback, this);
}

unsigned GasGridTree::get_cell_count() const { return m_cells ? m_cells->cell_count : 0; }

const unsigned* GasGridTree::get_cell_items(const unsigned& cell) const {
    const bool exists = cell < get_cell_count();
    assert(exists && "there is no such cell");
    return exists ? m_cells->get_items(cell) : nullptr;
}

unsigned GasGridTree::get_cell_item_count(const unsigned& cell) const {
    const bool exists = cell < get_cell_count();
    assert(exists && "there is no such cell");
    return exists ? m_cells->cells[cell].item_count : 0;
}

const GasGridSubTree* GasGridTree::find_sub_tree(const unsigned& cell) const {
    const bool exists = cell < get_cell_count();
    assert(exists && "there is no such cell");
    return exists ? m_cells->cells[cell].sub_tree.load(std::memory_order_acquire) : nullptr;
}

void GasGridTree::set_leaf_bbox_callbacks(GasLeafBboxesCallback leaf_bboxes,
                                          GasLeafBboxesAtCallback leaf_bboxes_at, void* user) {
    m_bbox_callbacks.set(leaf_bboxes, leaf_bboxes_at, nullptr, nullptr, user);
}

void GasGridTree::set_leaf_bbox_callbacks(GasLeafBboxesCallback leaf_bboxes,
                                          GasLeafBboxesAtCallback leaf_bboxes_at,
                                          GasLeavesBboxCallback leaves_bbox,
                                          GasLeavesBboxAtCallback leaves_bbox_at, void* user) {
    m_bbox_callbacks.set(leaf_bboxes, leaf_bboxes_at, leaves_bbox, leaves_bbox_at, user);
}

void GasGridTree::set_leaf_raytrace_callbacks(GasLeafCallback all_hits, GasLeafCallback nearest,
                                              void* user) {
    m_leaf_callbacks.set(all_hits, all_hits, nearest, nearest, user);
}

void GasGridTree::set_leaf_raytrace_callbacks(GasLeafCallback hit_static,
                                              GasLeafCallback hit_motion,
                                              GasLeafCallback nearest_static,
                                              GasLeafCallback nearest_motion, void* user) {
    m_leaf_callbacks.set(hit_static, hit_motion, nearest_static, nearest_motion, user);
}

} // namespace gas_abi1
