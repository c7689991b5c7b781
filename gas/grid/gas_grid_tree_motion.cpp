// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <mutex>
#include <utility>

#include <gas/core/gas_reporting.h>
#include <gas/grid/gas_grid_cells.h>
#include <gas/grid/gas_grid_leaf_bboxes.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

void GasGridTree::update_motion_blur(const CtxMotionBlur& motion) {
    const unsigned sample_count = gas_host::get_sample_count(motion);
    if (!m_cells) {
        m_top_tree.set_motion_blur_sample_count(sample_count);
        return;
    }

    if (sample_count != 0 &&
        m_bbox_callbacks.leaves_bbox_at == GasGridBboxCallbacks::ignore_bbox_at)
        gas_report(GasReportTopic::no_leaves_bbox_at, this);
    GasGridCells& shared = *m_cells;
    GasSampledView samples(shared.top_tree);
    samples.tree.set_motion_blur_sample_count(sample_count);
    fill_samples(motion, samples.tree);
    replace_samples(shared, samples);
    for (unsigned cell = 0; cell < shared.cell_count; ++cell) {
        const GasGridCell& record = shared.cells[cell];
        if (GasGridSubTree* const sub_tree = record.sub_tree.load(std::memory_order_acquire))
            sub_tree->set_motion_update_pending(true);
    }
}

/// Fills all samples of a tree over the cells.
void GasGridTree::fill_samples(const CtxMotionBlur& motion, GasTree& top_tree) const {
    const unsigned cell_count = m_cells->cell_count;
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[cell_count]());
    using Task = GasBboxTask<GetLeavesBboxAtTask>;
    const std::unique_ptr<Task[]> tasks(new Task[cell_count]);
    for (unsigned cell = 0; cell < cell_count; ++cell) {
        Task& task = tasks[cell];
        task.callback = m_bbox_callbacks.leaves_bbox_at;
        task.user = m_bbox_callbacks.user;
        task.items = m_cells->get_items(cell);
        task.count = m_cells->cells[cell].item_count;
        task.bbox = &bboxes[cell];
    }

    double time = gas_host::get_first_time(motion);
    SysThreadTaskManager manager(nullptr);
    for (unsigned sample = 0; sample < top_tree.get_motion_blur_sample_count(); ++sample) {
        for (unsigned cell = 0; cell < cell_count; ++cell)
            tasks[cell].time = time;
        gas_run_bbox_tasks(manager, tasks.get(), cell_count);
        top_tree.refit_motion_blur_sample(bboxes.get(), cell_count, sample);
        time += gas_host::get_time_step(motion);
    }
}

/// Exchanges the cells' samples, which all of their grids have, for others. Whatever is thrown is
/// thrown before anything changes.
void GasGridTree::replace_samples(GasGridCells& cells, GasSampledView& samples) {
    const std::lock_guard<std::mutex> guard(cells.grids_mutex);
    const std::size_t grid_count = cells.grids.size();
    const std::unique_ptr<GasTreeView[]> views(new GasTreeView[grid_count]);
    for (std::size_t i = 0; i < grid_count; ++i)
        views[i].tree = samples.tree;
    std::swap(cells.sampled_tree.tree, samples.tree);
    for (std::size_t i = 0; i < grid_count; ++i) {
        cells.grids[i]->m_top_tree = std::move(views[i].tree);
        cells.grids[i]->set_cell_callbacks();
    }
}

} // namespace gas_abi1
