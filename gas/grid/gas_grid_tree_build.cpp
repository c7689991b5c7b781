// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <numeric>
#include <vector>

#include <gas/build/gas_build_settings.h>
#include <gas/core/gas_numeric.h>
#include <gas/grid/gas_grid_cells.h>
#include <gas/grid/gas_grid_resolution.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

constexpr int no_cell = -1;

/// The occupied cells, in the order of their first items.
struct Occupancy {
    /// By item; `no_cell` for one that is left out.
    std::unique_ptr<int[]> cell_of_item;
    /// By cell.
    std::vector<GMathBbox3<float>> bboxes;
    std::vector<unsigned> item_counts;
    unsigned item_count = 0;
};

bool is_finite(const GMathVec3<float>& point) {
    // The difference of an infinity or a NaN from itself is a NaN.
    return point.x - point.x == 0.0f && point.y - point.y == 0.0f && point.z - point.z == 0.0f;
}

/// The box of all items that have a finite centre; false when none has.
bool find_scene_bbox(const GMathBbox3<float>* bboxes, unsigned count, GMathBbox3<float>& scene) {
    bool found = false;
    for (unsigned i = 0; i < count; ++i) {
        if (!is_finite(gas_box_center(bboxes[i])))
            continue;
        if (found)
            gas_unite(scene, bboxes[i]);
        else
            scene = bboxes[i];
        found = true;
    }
    return found;
}

void place_items(const GMathBbox3<float>* bboxes, unsigned count, const GasGridResolution& grid,
                 Occupancy& occupancy) {
    occupancy.cell_of_item.reset(new int[count]);
    std::vector<int> dense(grid.get_cell_count(), no_cell);
    for (unsigned i = 0; i < count; ++i) {
        const GMathVec3<float> center = gas_box_center(bboxes[i]);
        unsigned place = 0;
        if (!is_finite(center) || !grid.find_cell(center, place)) {
            occupancy.cell_of_item[i] = no_cell;
            continue;
        }
        int& cell = dense[place];
        if (cell == no_cell) {
            cell = static_cast<int>(occupancy.bboxes.size());
            occupancy.bboxes.push_back(bboxes[i]);
            occupancy.item_counts.push_back(0);
        } else {
            gas_unite(occupancy.bboxes[static_cast<unsigned>(cell)], bboxes[i]);
        }
        ++occupancy.item_counts[static_cast<unsigned>(cell)];
        ++occupancy.item_count;
        occupancy.cell_of_item[i] = cell;
    }
}

/// Groups the items by cell; within a cell they keep their order.
std::shared_ptr<GasGridCells> group_items(unsigned count, const unsigned* indices,
                                          const Occupancy& occupancy) {
    const unsigned cell_count = static_cast<unsigned>(occupancy.item_counts.size());
    const auto shared = std::make_shared<GasGridCells>(cell_count, occupancy.item_count);
    unsigned first = 0;
    for (unsigned cell = 0; cell < cell_count; ++cell) {
        shared->cells[cell].first_item = first;
        first += occupancy.item_counts[cell];
    }
    for (unsigned i = 0; i < count; ++i) {
        if (occupancy.cell_of_item[i] == no_cell)
            continue;
        GasGridCell& cell = shared->cells[static_cast<unsigned>(occupancy.cell_of_item[i])];
        shared->items[cell.first_item + cell.item_count++] = indices ? indices[i] : i;
    }
    return shared;
}

/// Over the cells' boxes.
void build_top_tree(GasTree& tree, const std::vector<GMathBbox3<float>>& bboxes,
                    const GasBuildSettings& settings) {
    const auto count = static_cast<unsigned>(bboxes.size());
    AppProgressBar* const bar = settings.progress_bar;
    const auto create = [&](auto&&... method_and_threads) {
        tree.create(bboxes.data(), count, nullptr, method_and_threads...);
    };
    if (!settings.task_manager)
        return bar ? create(bar, settings.progress_share) : create(settings.method);
    SysThreadTaskManager& manager = *settings.task_manager;
    if (bar)
        create(bar, settings.progress_share, manager, settings.thread_count);
    else
        create(settings.method, manager, settings.thread_count);
}

} // namespace

void GasGridTree::build(const GMathBbox3<float>* bboxes, unsigned item_count,
                        unsigned target_cell_count, const unsigned* indices,
                        const GasBuildSettings& settings) {
    clear();
    m_build_method = settings.method;
    AppProgressBar* const progress_bar = settings.progress_bar;
    m_progress_owner = progress_bar ? gas_host::get_app(*progress_bar) : nullptr;
    if (progress_bar)
        m_progress_label = gas_host::get_title(*progress_bar);

    GMathBbox3<float> scene;
    if (!find_scene_bbox(bboxes, item_count, scene))
        return;
    Occupancy occupancy;
    place_items(bboxes, item_count, GasGridResolution(scene, target_cell_count), occupancy);
    if (occupancy.item_count == 0)
        return;
    std::shared_ptr<GasGridCells> shared = group_items(item_count, indices, occupancy);
    occupancy.cell_of_item.reset();
    build_top_tree(shared->top_tree, occupancy.bboxes, settings);
    shared->sampled_tree.tree = shared->top_tree;
    attach(std::move(shared));
}

void GasGridTree::build_asked(unsigned item_count, unsigned target_cell_count,
                              const unsigned* indices, const GasBuildSettings& settings) {
    clear();
    if (item_count == 0)
        return;
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[item_count]());
    {
        const std::unique_ptr<unsigned[]> items(new unsigned[item_count]);
        std::iota(items.get(), items.get() + item_count, 0u);
        get_leaf_bboxes(item_count, items.get(), bboxes.get());
    }
    build(bboxes.get(), item_count, target_cell_count, indices, settings);
}

void GasGridTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                         const unsigned& target_cell_count, const unsigned* indices,
                         AppProgressBar* progress_bar) {
    build(bboxes, count, target_cell_count, indices, {.progress_bar = progress_bar});
}

void GasGridTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                         const unsigned& target_cell_count, const unsigned* indices,
                         AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                         const unsigned& thread_count) {
    build(bboxes, count, target_cell_count, indices,
          {.progress_bar = progress_bar,
           .task_manager = &task_manager,
           .thread_count = thread_count});
}

void GasGridTree::create(const CoreArray<GMathBbox3<float>>& bboxes,
                         const unsigned& target_cell_count, const unsigned* indices,
                         AppProgressBar* progress_bar) {
    create(gas_host::get_items(bboxes), gas_host::get_count(bboxes), target_cell_count, indices,
           progress_bar);
}

void GasGridTree::create(const CoreVector<GMathBbox3<float>>& bboxes,
                         const unsigned& target_cell_count, const unsigned* indices,
                         AppProgressBar* progress_bar) {
    create(gas_host::get_items(bboxes), gas_host::get_count(bboxes), target_cell_count, indices,
           progress_bar);
}

void GasGridTree::create(const unsigned& count, const unsigned& target_cell_count,
                         const unsigned* indices, AppProgressBar* progress_bar) {
    build_asked(count, target_cell_count, indices, {.progress_bar = progress_bar});
}

void GasGridTree::create(const unsigned& count, const unsigned& target_cell_count,
                         const unsigned* indices, AppProgressBar* progress_bar,
                         SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    build_asked(count, target_cell_count, indices,
                {.progress_bar = progress_bar,
                 .task_manager = &task_manager,
                 .thread_count = thread_count});
}

// By a method of the caller's.

void GasGridTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                         const unsigned& target_cell_count, const unsigned* indices,
                         GasBuildMethod method) {
    build(bboxes, count, target_cell_count, indices, {.method = method});
}

void GasGridTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                         const unsigned& target_cell_count, const unsigned* indices,
                         GasBuildMethod method, SysThreadTaskManager& task_manager,
                         const unsigned& thread_count) {
    build(bboxes, count, target_cell_count, indices,
          {.method = method, .task_manager = &task_manager, .thread_count = thread_count});
}

void GasGridTree::create(const CoreArray<GMathBbox3<float>>& bboxes,
                         const unsigned& target_cell_count, const unsigned* indices,
                         GasBuildMethod method) {
    create(gas_host::get_items(bboxes), gas_host::get_count(bboxes), target_cell_count, indices,
           method);
}

void GasGridTree::create(const CoreVector<GMathBbox3<float>>& bboxes,
                         const unsigned& target_cell_count, const unsigned* indices,
                         GasBuildMethod method) {
    create(gas_host::get_items(bboxes), gas_host::get_count(bboxes), target_cell_count, indices,
           method);
}

void GasGridTree::create(const unsigned& count, const unsigned& target_cell_count,
                         const unsigned* indices, GasBuildMethod method) {
    build_asked(count, target_cell_count, indices, {.method = method});
}

void GasGridTree::create(const unsigned& count, const unsigned& target_cell_count,
                         const unsigned* indices, GasBuildMethod method,
                         SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    build_asked(count, target_cell_count, indices,
                {.method = method, .task_manager = &task_manager, .thread_count = thread_count});
}

} // namespace gas_abi1
