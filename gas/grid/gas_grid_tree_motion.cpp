// SPDX-License-Identifier: Apache-2.0
#include <memory>

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

    GasGridCells& shared = *m_cells;
    const unsigned cell_count = shared.cell_count;
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[cell_count]());
    using Task = GasBboxTask<GetLeavesBboxAtTask>;
    const std::unique_ptr<Task[]> tasks(new Task[cell_count]);
    for (unsigned cell = 0; cell < cell_count; ++cell) {
        const GasGridCell& record = shared.cells[cell];
        if (GasGridSubTree* const sub_tree = record.sub_tree.load(std::memory_order_acquire))
            sub_tree->set_motion_update_pending(true);
        Task& task = tasks[cell];
        task.callback = m_bbox_callbacks.leaves_bbox_at;
        task.user = m_bbox_callbacks.user;
        task.items = shared.get_items(cell);
        task.count = record.item_count;
        task.bbox = &bboxes[cell];
    }

    // All grids are without samples while they are filled, and remain so when something is thrown.
    struct DropSamples {
        void operator()(GasGridCells* cells_) const {
            cells_->top_tree.set_motion_blur_sample_count(0);
            look_at_top_trees(*cells_);
        }
    };
    DropSamples()(&shared);
    std::unique_ptr<GasGridCells, DropSamples> unfinished(&shared);
    shared.top_tree.set_motion_blur_sample_count(sample_count);
    SysThreadTaskManager manager(nullptr);
    double time = gas_host::get_first_time(motion);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        for (unsigned cell = 0; cell < cell_count; ++cell) {
            tasks[cell].time = time;
            manager.add_task(tasks[cell], false, true);
        }
        manager.wait_until_completed();
        for (unsigned cell = 0; cell < cell_count; ++cell)
            tasks[cell].rethrow();
        shared.top_tree.refit_motion_blur_sample(bboxes.get(), cell_count, sample);
        time += gas_host::get_time_step(motion);
    }

    look_at_top_trees(shared);
    static_cast<void>(unfinished.release());
}

} // namespace gas_abi1
