// SPDX-License-Identifier: Apache-2.0
#include <cassert>
#include <new>
#include <optional>

#include <gas/build/gas_build_input.h>
#include <gas/build/gas_build_settings.h>
#include <gas/build/gas_list_build.h>
#include <gas/build/gas_parallel_build.h>
#include <gas/compressed/gas_compressed_boxes.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_inner_numbering.h>

inline namespace gas_abi1 {

template <typename Box>
void GasCompressedTree::build(const Box* bboxes, unsigned item_count, const unsigned* indices,
                              const GasBuildSettings& settings) {
    clear();
    assert(item_count > 0 && "a tree is built over at least one box");
    if (item_count == 0)
        return;

    GasBuildGuard<GasCompressedTree> guard(*this);
    const unsigned node_count = item_count == 1 ? 1 : item_count - 1;
    m_nodes = static_cast<GasCompressedNode*>(
        sys_aligned_malloc(std::size_t{node_count} * sizeof(GasCompressedNode)));
    m_items = gas_copy_indices(indices, item_count).release();
    m_leaf_count = item_count;
    m_node_count = node_count;
    m_depth = 1;
    m_root_index = 0;
    if (item_count == 1) {
        create_single_leaf(GasLaneBox::load(bboxes[0]).to_box());
    } else {
        std::optional<GasParallelBuild> parallel;
        if (settings.task_manager && settings.thread_count > 1 &&
            item_count > GasParallelBuild::default_part_size)
            parallel.emplace(*settings.task_manager, settings.thread_count);
        GasParallelBuild* const threads = parallel ? &*parallel : nullptr;
        const GasScratchArray<GasRecord> records = gas_allocate_scratch<GasRecord>(item_count);
        {
            const GasScratchArray<unsigned> numbers = gas_allocate_scratch<unsigned>(item_count);
            split_items(bboxes, records.get(), numbers.get(), settings, threads);
        }
        // The records are done with: the nodes' boxes take their place.
        static_assert(sizeof(GMathBbox3<float>) <= sizeof(GasRecord));
        void* const memory = records.get();
        quantize_boxes(bboxes, new (memory) GMathBbox3<float>[node_count], threads);
    }
    if (settings.progress_bar)
        settings.progress_bar->set_value(1.0f);
    guard.finish();
}

template <typename Box>
void GasCompressedTree::split_items(const Box* bboxes, GasRecord* records, unsigned* numbers,
                                    const GasBuildSettings& settings, GasParallelBuild* parallel) {
    const GasBuildMethod method = choose_split(settings);
    AppProgressBar* const progress_bar = settings.progress_bar;
    const GasBoxFacts facts = gas_build_from_records<GasInnerNumbering>(
        m_nodes, bboxes, m_leaf_count, method, records, numbers, progress_bar, parallel, m_depth);
    m_are_boxes_ordered = facts.is_comparable && facts.is_ordered;
    if (!facts.is_comparable)
        split_lists(bboxes, numbers, progress_bar);
}

/// Where a centre is a NaN the order of unions counts: the split functions themselves divide the
/// items. `items` is scratch.
template <typename Box>
void GasCompressedTree::split_lists(const Box* bboxes, unsigned* items,
                                    AppProgressBar* progress_bar) {
    GasListInput<GasCompressedTreeSplitContext> input(
        bboxes, m_leaf_count, items, m_split_callback != split_median, progress_bar);
    recurse_split(input.get_context(), m_root_index, 1, items, m_leaf_count);
}

void GasCompressedTree::recurse_split(GasCompressedTreeSplitContext& context, const unsigned& node,
                                      unsigned depth, unsigned* items, const unsigned& count) {
    const unsigned first = node;
    GasInnerNumbering numbering(m_nodes, first + 1, context.progress_bar, context.built_leaf_count);
    GasListBuild<GasCompressedTreeSplitContext, SplitCallback> list(context, m_split_callback,
                                                                    items);
    gas_build_depth_first(numbering, list,
                          {0, count, first, first + 1, depth, GasLaneBox::get_empty()});
    m_depth = numbering.get_depth();
}

/// The last step: exact boxes from the last node to the root, then what a ray will see of them from
/// the root to the last. `boxes` has room for one box a node.
template <typename Box>
void GasCompressedTree::quantize_boxes(const Box* bboxes, GMathBbox3<float>* boxes,
                                       GasParallelBuild* parallel) {
    const auto compute = [&](unsigned first, unsigned end) {
        gas_compute_node_boxes(m_nodes, first, end, bboxes, boxes);
    };
    const auto quantize = [&](unsigned first, unsigned end) {
        gas_quantize_nodes(m_nodes, first, end, bboxes, boxes, boxes, GasPairWriter{m_nodes});
    };
    const unsigned divided_count = parallel ? parallel->get_divided_count() : 0;
    if (divided_count == 0) {
        compute(0, m_node_count);
        m_bbox = boxes[0];
        return quantize(0, m_node_count);
    }
    const GasBuildPart* const divided = parallel->get_divided_parts();
    parallel->for_each_part([&](const GasBuildPart& part) {
        compute(part.below, part.below + GasInnerNumbering::count_below(part.count));
        compute(part.node, part.node + 1);
    });
    for (unsigned i = divided_count; i-- > 0;)
        compute(divided[i].node, divided[i].node + 1);
    m_bbox = boxes[0];
    for (unsigned i = 0; i < divided_count; ++i)
        quantize(divided[i].node, divided[i].node + 1);
    parallel->for_each_part([&](const GasBuildPart& part) {
        quantize(part.node, part.node + 1);
        quantize(part.below, part.below + GasInnerNumbering::count_below(part.count));
    });
}

GasBuildMethod GasCompressedTree::choose_split(const GasBuildSettings& settings) {
    GasBuildMethod method = settings.method;
    if (AppProgressBar* const progress_bar = settings.progress_bar) {
        const unsigned step = m_leaf_count <= 100 ? 1 : m_leaf_count / 100;
        progress_bar->set_value(0.0f);
        gas_host::set_progress_steps(*progress_bar, step,
                                     static_cast<float>(step) / static_cast<float>(m_leaf_count));
        method = gas_get_build_method(gas_host::get_build_method(*progress_bar));
    }
    m_split_callback = gas_get_split_callback<GasCompressedTree>(method);
    return method;
}

void GasCompressedTree::create_single_leaf(const GMathBbox3<float>& bbox) {
    m_bbox = bbox;
    m_nodes[0] = {{{0xFF, 0xFF, 0xFF}, 0, {0xFF, 0xFF, 0xFF}},
                  GasCompressedNode::first_leaf | GasCompressedNode::second_leaf,
                  {0, 0}};
}

void GasCompressedTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                               const unsigned* indices, AppProgressBar* progress_bar) {
    build(bboxes, count, indices, {.progress_bar = progress_bar});
}

void GasCompressedTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                               const unsigned* indices, AppProgressBar* progress_bar,
                               SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    build(bboxes, count, indices,
          {.progress_bar = progress_bar,
           .task_manager = &task_manager,
           .thread_count = thread_count});
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    gas_create_over(*this, bboxes, indices, progress_bar);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                               const unsigned& thread_count) {
    gas_create_over(*this, bboxes, indices, progress_bar, task_manager, thread_count);
}

void GasCompressedTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    gas_create_over(*this, bboxes, indices, progress_bar);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    const unsigned count = gas_host::get_count(bboxes);
    if (count == 0)
        return clear();
    build(gas_host::get_items(bboxes), count, indices, {.progress_bar = progress_bar});
}

// By a method of the caller's.

void GasCompressedTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                               const unsigned* indices, GasBuildMethod method) {
    build(bboxes, count, indices, {.method = method});
}

void GasCompressedTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                               const unsigned* indices, GasBuildMethod method,
                               SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    build(bboxes, count, indices,
          {.method = method, .task_manager = &task_manager, .thread_count = thread_count});
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               GasBuildMethod method) {
    gas_create_over(*this, bboxes, indices, method);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               GasBuildMethod method, SysThreadTaskManager& task_manager,
                               const unsigned& thread_count) {
    gas_create_over(*this, bboxes, indices, method, task_manager, thread_count);
}

void GasCompressedTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               GasBuildMethod method) {
    gas_create_over(*this, bboxes, indices, method);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                               GasBuildMethod method) {
    const unsigned count = gas_host::get_count(bboxes);
    if (count == 0)
        return clear();
    build(gas_host::get_items(bboxes), count, indices, {.method = method});
}

} // namespace gas_abi1
