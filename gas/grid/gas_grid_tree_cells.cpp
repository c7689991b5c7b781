// SPDX-License-Identifier: Apache-2.0
#include <cassert>
#include <memory>

#include <gas/grid/gas_grid_cells.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

/// Value 1: the lock is held while a tree is built or filled.
constexpr auto long_hint = static_cast<SysThreadLock::DurationHint>(1);

/// Finishes and releases a cell's progress bar, also when the build throws.
struct FinishBar {
    void operator()(AppProgressBar* bar) const {
        bar->finish();
        gas_host::release_progress_bar(*bar);
    }
};

/// The guards of this thread, the newest first.
thread_local const GasGridCellGuard* newest_guard = nullptr;

} // namespace

GasGridCellGuard::GasGridCellGuard(const GasGridCells& cells, unsigned cell)
    : m_lock(cells.locks[cell]), m_outer(newest_guard) {
    m_lock.lock(long_hint);
    newest_guard = this;
}

GasGridCellGuard::~GasGridCellGuard() {
    newest_guard = m_outer;
    m_lock.unlock();
}

bool GasGridCellGuard::is_held(const GasGridCells& cells, unsigned cell) {
    const GasGridCellGuard* guard = newest_guard;
    while (guard && &guard->m_lock != &cells.locks[cell])
        guard = guard->m_outer;
    return guard != nullptr;
}

GasGridSubTree* GasGridTree::get_sub_tree(const unsigned& cell) const {
    std::atomic<GasGridSubTree*>& sub_tree = m_cells->cells[cell].sub_tree;
    if (GasGridSubTree* const built = sub_tree.load(std::memory_order_acquire))
        return built;
    const bool waits_for_itself = GasGridCellGuard::is_held(*m_cells, cell);
    assert(!waits_for_itself && "a box callback does not trace into the cell that is being built");
    if (waits_for_itself)
        return nullptr;

    const GasGridCellGuard guard(*m_cells, cell);
    GasGridSubTree* built = sub_tree.load(std::memory_order_acquire);
    if (!built) {
        built = create_sub_tree(cell);
        sub_tree.store(built, std::memory_order_release);
    }
    return built;
}

GasGridSubTree* GasGridTree::create_sub_tree(const unsigned& cell) const {
    std::unique_ptr<AppProgressBar, FinishBar> progress_bar;
    if (m_progress_owner) {
        const bool visible = false;
        progress_bar.reset(
            m_progress_owner->create_progress_bar(m_progress_label + " (" + cell + ")", visible));
    }
    const unsigned count = m_cells->cells[cell].item_count;
    const unsigned* items = m_cells->get_items(cell);
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[count]());
    get_leaf_bboxes(count, items, bboxes.get());

    auto sub_tree = std::make_unique<GasGridSubTree>();
    sub_tree->create(bboxes.get(), count, items, progress_bar.get());
    progress_bar.reset();
    sub_tree->set_leaf_raytrace_callbacks(m_leaf_callbacks.hit_static, m_leaf_callbacks.hit_motion,
                                          m_leaf_callbacks.hit_nearest_static,
                                          m_leaf_callbacks.hit_nearest_motion,
                                          m_leaf_callbacks.user);
    return sub_tree.release();
}

void GasGridTree::update_sub_tree_motion_blur(const CtxMotionBlur& motion,
                                              const unsigned& cell) const {
    const bool waits_for_itself = GasGridCellGuard::is_held(*m_cells, cell);
    assert(!waits_for_itself &&
           "a box callback does not trace into the cell that it is called for");
    if (waits_for_itself)
        return;

    const GasGridCellGuard guard(*m_cells, cell);
    GasGridSubTree* const sub_tree = m_cells->cells[cell].sub_tree.load(std::memory_order_acquire);
    if (!sub_tree || !sub_tree->is_motion_update_pending())
        return; // another thread has filled them meanwhile

    const unsigned sample_count = gas_host::get_sample_count(motion);
    double time = gas_host::get_first_time(motion);
    sub_tree->set_motion_blur_sample_count(sample_count);
    const unsigned count = m_cells->cells[cell].item_count;
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[count]());
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        get_leaf_bboxes_at(time, count, m_cells->get_items(cell), bboxes.get());
        sub_tree->refit_motion_blur_sample(bboxes.get(), count, sample);
        time += gas_host::get_time_step(motion);
    }
    sub_tree->set_motion_update_pending(false);
}

} // namespace gas_abi1
