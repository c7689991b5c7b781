// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// A tree that shares the nodes and the samples of another, and releases neither.
struct GasTreeView {
    GasTreeView() = default;
    explicit GasTreeView(const GasTree& owner) : tree(owner) {}
    GasTreeView(const GasTreeView&) = delete;
    GasTreeView& operator=(const GasTreeView&) = delete;
    ~GasTreeView() { tree = GasTree(); }

    GasTree tree;
};

/// The same with samples of its own over those nodes, which it releases.
struct GasSampledView : GasTreeView {
    using GasTreeView::GasTreeView;
    ~GasSampledView() { tree.set_motion_blur_sample_count(0); }
};

/// An occupied cell: its tree, null until a ray first reaches it, and its share of the items.
struct GasGridCell {
    std::atomic<GasGridSubTree*> sub_tree{nullptr};
    unsigned first_item = 0;
    unsigned item_count = 0;
};

static_assert(sizeof(void*) != 8 || sizeof(GasGridCell) == 16, "a pointer and two words");

/// The data that a grid and its copies share; the last of them releases it.
struct GasGridCells {
    GasGridCells(unsigned cell_count_, unsigned item_count_)
        : cell_count(cell_count_), item_count(item_count_), cells(new GasGridCell[cell_count_]),
          locks(new SysThreadLock[cell_count_]), items(new unsigned[item_count_]) {}
    GasGridCells(const GasGridCells&) = delete;
    GasGridCells& operator=(const GasGridCells&) = delete;
    ~GasGridCells() {
        for (unsigned cell = 0; cell < cell_count; ++cell)
            delete cells[cell].sub_tree.load(std::memory_order_acquire);
    }

    const unsigned* get_items(unsigned cell) const { return items.get() + cells[cell].first_item; }

    const unsigned cell_count;
    const unsigned item_count;
    const std::unique_ptr<GasGridCell[]> cells;
    /// One per cell, for building its tree and filling its samples.
    const std::unique_ptr<SysThreadLock[]> locks;
    /// Grouped by cell.
    const std::unique_ptr<unsigned[]> items;
    /// Owns the nodes of the tree over the cells, and has no samples.
    GasTree top_tree;
    /// Has its samples. The grids' own top trees view this one.
    GasSampledView sampled_tree;

    /// The grids that share this; the mutex guards the list.
    std::mutex grids_mutex;
    std::vector<GasGridTree*> grids;
};

} // namespace gas_abi1
