// SPDX-License-Identifier: Apache-2.0
#include <cassert>
#include <memory>
#include <utility>

#include <gas/grid/gas_grid_cell_guard.h>
#include <gas/grid/gas_grid_cells.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

/// A cell's progress bar, or none. It is finished and released also when the build throws.
class CellBar {
  public:
    explicit CellBar(AppProgressBar* bar) : m_bar(bar) {}
    CellBar(const CellBar&) = delete;
    CellBar& operator=(const CellBar&) = delete;
    ~CellBar() {
        if (!m_bar)
            return;
        try {
            finish();
        } catch (...) {
            // Something else is being thrown already.
        }
        gas_host::release_progress_bar(*m_bar);
    }

    AppProgressBar* get() const { return m_bar; }
    void finish() {
        if (m_bar && !std::exchange(m_is_finished, true))
            m_bar->finish();
    }

  private:
    AppProgressBar* m_bar;
    bool m_is_finished = false;
};

GasLeafCallback get_cell_callback(const GasLeafCallbacks& callbacks, GasRayCall call) {
    const GasLeafCallback callback = callbacks.get(call);
    return callback == GasLeafCallbacks::ignore ? GasGridSubTree::ignore : callback;
}

} // namespace

void GasGridSubTree::ignore(void*, const unsigned&, const CtxEval&, CtxShader&,
                            GeometryRaytraceCtx&) {}

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
    const bool visible = false;
    CellBar progress_bar(m_progress_owner ? m_progress_owner->create_progress_bar(
                                                m_progress_label + " (" + cell + ")", visible)
                                          : nullptr);
    const unsigned count = m_cells->cells[cell].item_count;
    const unsigned* items = m_cells->get_items(cell);
    const std::unique_ptr<GMathBbox3<float>[]> bboxes(new GMathBbox3<float>[count]());
    get_leaf_bboxes(count, items, bboxes.get());

    auto sub_tree = std::make_unique<GasGridSubTree>();
    if (progress_bar.get())
        sub_tree->create(bboxes.get(), count, items, progress_bar.get());
    else
        sub_tree->create(bboxes.get(), count, items, m_build_method);
    progress_bar.finish();
    sub_tree->set_leaf_raytrace_callbacks(
        get_cell_callback(m_leaf_callbacks, GasRayCall::hit_static),
        get_cell_callback(m_leaf_callbacks, GasRayCall::hit_motion),
        get_cell_callback(m_leaf_callbacks, GasRayCall::nearest_static),
        get_cell_callback(m_leaf_callbacks, GasRayCall::nearest_motion), m_leaf_callbacks.user);
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
