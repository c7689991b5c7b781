// SPDX-License-Identifier: Apache-2.0
#include <cassert>
#include <climits>
#include <optional>

#include <gas/build/gas_build_input.h>
#include <gas/build/gas_build_settings.h>
#include <gas/build/gas_list_build.h>
#include <gas/build/gas_parallel_build.h>
#include <gas/core/gas_numeric.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

template <typename Box>
void GasTree::build(const Box* bboxes, unsigned item_count, const unsigned* indices,
                    const GasBuildSettings& settings) {
    clear();
    assert(item_count > 0 && "a tree is built over at least one box");
    assert(item_count <= UINT_MAX / 2 && "node indices are 32 bits wide");
    if (item_count == 0 || item_count > UINT_MAX / 2)
        return;

    GasBuildGuard<GasTree> guard(*this);
    std::optional<GasParallelBuild> parallel;
    if (settings.task_manager && settings.thread_count > 1 &&
        item_count > GasParallelBuild::default_part_size)
        parallel.emplace(*settings.task_manager, settings.thread_count);
    GasScratchArray<GasRecord> records = gas_allocate_scratch<GasRecord>(item_count);
    GasScratchArray<unsigned> numbers = gas_allocate_scratch<unsigned>(item_count);
    m_wide_tree = new GasWideTree;
    const unsigned node_count = 2 * item_count - 1;
    m_nodes = static_cast<Node*>(sys_aligned_malloc(std::size_t{node_count} * sizeof(Node)));
    m_items = gas_copy_indices(indices, item_count).release();
    m_leaf_count = item_count;
    m_node_count = node_count;
    m_depth = 1;
    const GasBuildMethod method = choose_split(settings);

    AppProgressBar* const progress_bar = settings.progress_bar;
    GasParallelBuild* const threads = parallel ? &*parallel : nullptr;
    const GasBoxFacts facts =
        gas_build_from_records<GasPairNumbering>(m_nodes, bboxes, item_count, method, records.get(),
                                                 numbers.get(), progress_bar, threads, m_depth);
    records.reset();
    if (facts.is_comparable)
        m_wide_tree->set_boxes_ordered(facts.is_ordered);
    else
        build_from_lists(bboxes, numbers.get(), progress_bar);
    numbers.reset();
    if (m_wants_wide_nodes)
        m_wide_tree->make_nodes(m_nodes, m_node_count, facts.is_comparable ? threads : nullptr);
    guard.finish();
}

/// Where a centre is a NaN the order of unions counts: the split functions themselves divide the
/// items. `items` is scratch.
template <typename Box>
void GasTree::build_from_lists(const Box* bboxes, unsigned* items, AppProgressBar* progress_bar) {
    GasListInput<GasTreeSplitContext> input(bboxes, m_leaf_count, items,
                                            m_split_callback != split_median, progress_bar);
    recurse_split(input.get_context(), m_nodes[0], 1, items, m_leaf_count);
    compute_bboxes(input.get_context().bboxes);
}

void GasTree::recurse_split(GasTreeSplitContext& context, Node& node, unsigned depth,
                            unsigned* items, const unsigned& count) {
    const auto number = static_cast<unsigned>(&node - m_nodes);
    GasPairNumbering numbering(m_nodes, number + 1, context.progress_bar, context.built_leaf_count);
    GasListBuild<GasTreeSplitContext, SplitCallback> list(context, m_split_callback, items);
    gas_build_depth_first(numbering, list,
                          {0, count, number, number + 1, depth, GasLaneBox::get_empty()});
    m_depth = numbering.get_depth();
}

GasBuildMethod GasTree::choose_split(const GasBuildSettings& settings) {
    GasBuildMethod method = settings.method;
    if (AppProgressBar* const progress_bar = settings.progress_bar) {
        const float progress_share = settings.progress_share;
        unsigned whole = gas_truncate(progress_share * 100.0f, UINT_MAX);
        assert(whole > 0 && "a build fills at least a hundredth of its progress bar");
        if (whole == 0)
            whole = 1;
        const unsigned step = m_leaf_count > whole ? m_leaf_count / whole : 1;
        gas_host::set_progress_steps(*progress_bar, step,
                                     static_cast<float>(step) * progress_share /
                                         static_cast<float>(m_leaf_count));
        method = gas_get_build_method(gas_host::get_build_method(*progress_bar));
    }
    m_split_callback = gas_get_split_callback<GasTree>(method);
    return method;
}

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, AppProgressBar* progress_bar,
                     const float& progress_share) {
    build(bboxes, count, indices, {.progress_bar = progress_bar, .progress_share = progress_share});
}

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, AppProgressBar* progress_bar,
                     const float& progress_share, SysThreadTaskManager& task_manager,
                     const unsigned& thread_count) {
    build(bboxes, count, indices,
          {.progress_bar = progress_bar,
           .progress_share = progress_share,
           .task_manager = &task_manager,
           .thread_count = thread_count});
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    gas_create_over(*this, bboxes, indices, progress_bar, progress_share);
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share,
                     SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    gas_create_over(*this, bboxes, indices, progress_bar, progress_share, task_manager,
                    thread_count);
}

void GasTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    gas_create_over(*this, bboxes, indices, progress_bar, progress_share);
}

void GasTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    const unsigned count = gas_host::get_count(bboxes);
    if (count == 0)
        return clear();
    build(gas_host::get_items(bboxes), count, indices,
          {.progress_bar = progress_bar, .progress_share = progress_share});
}

// By a method of the caller's.

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, GasBuildMethod method) {
    build(bboxes, count, indices, {.method = method});
}

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, GasBuildMethod method,
                     SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    build(bboxes, count, indices,
          {.method = method, .task_manager = &task_manager, .thread_count = thread_count});
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     GasBuildMethod method) {
    gas_create_over(*this, bboxes, indices, method);
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     GasBuildMethod method, SysThreadTaskManager& task_manager,
                     const unsigned& thread_count) {
    gas_create_over(*this, bboxes, indices, method, task_manager, thread_count);
}

void GasTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     GasBuildMethod method) {
    gas_create_over(*this, bboxes, indices, method);
}

void GasTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                     GasBuildMethod method) {
    const unsigned count = gas_host::get_count(bboxes);
    if (count == 0)
        return clear();
    build(gas_host::get_items(bboxes), count, indices, {.method = method});
}

} // namespace gas_abi1
