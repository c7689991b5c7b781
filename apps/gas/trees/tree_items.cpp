// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/tree_items.h>

#include <vector>

#include <gas/scene/gas_box_padding.h>

namespace gas_app {

namespace {

/// Computes the boxes of consecutive items.
class FillTask : public SysThreadTask {
  public:
    void prepare(const TreeItems& items, unsigned sample, unsigned first, unsigned last,
                 TreeItems::Boxes& boxes) {
        m_items = &items;
        m_sample = sample;
        m_first = first;
        m_last = last;
        m_boxes = &boxes;
    }

    void run() override {
        for (unsigned item = m_first; item < m_last; ++item)
            (*m_boxes)[item] = m_items->get_box(item, m_sample);
        m_items->report(m_last - m_first);
    }

  private:
    const TreeItems* m_items = nullptr;
    unsigned m_sample = 0;
    unsigned m_first = 0;
    unsigned m_last = 0;
    TreeItems::Boxes* m_boxes = nullptr;
};

TreeItems& get_items(void* user) { return *static_cast<TreeItems*>(user); }

} // namespace

Box TreeItems::get_padded_bounds() const {
    const Vec3 all{m_description.padding, m_description.padding, m_description.padding};
    return {m_description.bounds.min - all, m_description.bounds.max + all};
}

GMathBbox3<float> TreeItems::get_box(unsigned item, unsigned sample) const {
    return gas_pad_box(m_description.get_box(item, sample), m_description.padding, m_scale);
}

void TreeItems::fill(unsigned sample, Boxes& boxes) const {
    constexpr unsigned piece_size = 1u << 14;
    const unsigned count = m_description.item_count;
    const unsigned piece_count = (count - 1) / piece_size + 1;
    std::vector<FillTask> tasks(piece_count);
    SysThreadTaskManager manager(nullptr);
    for (unsigned piece = 0; piece < piece_count; ++piece) {
        const unsigned first = piece * piece_size;
        tasks[piece].prepare(*this, sample, first, first + std::min(piece_size, count - first),
                             boxes);
        manager.add_task(tasks[piece], false, true);
    }
    manager.wait_until_completed();
}

void TreeItems::report(unsigned count) const {
    if (m_progress)
        m_progress->add(count);
}

unsigned TreeItems::get_sample(double time) const {
    const unsigned last = m_description.sample_count - 1;
    const long nearest = std::lround(time * last);
    return static_cast<unsigned>(std::clamp(nearest, 0L, static_cast<long>(last)));
}

void TreeItems::give(unsigned sample, unsigned count, const unsigned* items,
                     GMathBbox3<float>* boxes) {
    for (unsigned index = 0; index < count; ++index)
        boxes[index] = get_box(items[index], sample);
    m_asked_count.fetch_add(count, std::memory_order_relaxed);
    report(count);
}

GMathBbox3<float> TreeItems::unite(unsigned sample, unsigned count, const unsigned* items) {
    Box bounds = empty_box();
    for (unsigned index = 0; index < count; ++index)
        grow(bounds, m_description.get_box(items[index], sample));
    m_asked_count.fetch_add(count, std::memory_order_relaxed);
    report(count);
    return gas_pad_box(bounds, m_description.padding, m_scale);
}

void TreeItems::serve(GasGridTree& grid) {
    m_asked_count = 0;
    grid.set_leaf_bbox_callbacks(
        [](void* user, const unsigned& count, const unsigned* items, GMathBbox3<float>* boxes) {
            TreeItems& tree_items = get_items(user);
            tree_items.give(tree_items.get_built_sample(), count, items, boxes);
        },
        [](void* user, const double& time, const unsigned& count, const unsigned* items,
           GMathBbox3<float>* boxes) {
            TreeItems& tree_items = get_items(user);
            tree_items.give(tree_items.get_sample(time), count, items, boxes);
        },
        [](void* user, const unsigned& count, const unsigned* items, GMathBbox3<float>& box) {
            TreeItems& tree_items = get_items(user);
            box = tree_items.unite(tree_items.get_built_sample(), count, items);
        },
        [](void* user, const double& time, const unsigned& count, const unsigned* items,
           GMathBbox3<float>& box) {
            TreeItems& tree_items = get_items(user);
            box = tree_items.unite(tree_items.get_sample(time), count, items);
        },
        this);
}

} // namespace gas_app
