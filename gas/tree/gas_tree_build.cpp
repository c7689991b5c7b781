#include <cassert>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>

#include <gas/build/gas_build_input.h>
#include <gas/build/gas_node_union.h>
#include <gas/build/gas_parallel_build.h>
#include <gas/build/gas_record_build.h>
#include <gas/core/gas_numeric.h>
#include <gas/split/gas_sah_workspace.h>
#include <gas/split/gas_split_choice.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_upward_pass.h>
#include <gas/tree/wide/gas_wide_nodes.h>

inline namespace gas_abi1 {

namespace {

constexpr unsigned no_node = UINT_MAX;

/// What a second child that waits for its turn needs: its share of the item list, its depth, and
/// the child that waits behind it. It is kept in the child's own record, which nothing else has
/// written yet, so the walk needs no stack however deep the tree gets.
struct WaitingChild {
    unsigned offset;
    unsigned count;
    unsigned depth;
    unsigned behind;
};

static_assert(sizeof(WaitingChild) <= sizeof(GasTree::Node));

GasBuildMethod get_build_method(GasTree::SplitCallback callback) {
    if (callback == GasTree::split_median)
        return GasBuildMethod::median;
    if (callback == GasTree::split_hybrid)
        return GasBuildMethod::hybrid;
    return callback == GasTree::split_sah_bins ? GasBuildMethod::sah : GasBuildMethod::sah_fast;
}

} // namespace

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, AppProgressBar* progress_bar,
                     const float& progress_share) {
    const unsigned item_count = count; // the caller's count may live in what `clear` releases
    clear();
    build_tree(bboxes, item_count, indices, progress_bar, progress_share, nullptr);
    finish_wide_nodes();
}

void GasTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                     const unsigned* indices, AppProgressBar* progress_bar,
                     const float& progress_share, SysThreadTaskManager& task_manager,
                     const unsigned& thread_count) {
    const unsigned item_count = count;
    clear();
    if (thread_count <= 1 || item_count <= GasParallelBuild::default_part_size) {
        build_tree(bboxes, item_count, indices, progress_bar, progress_share, nullptr);
    } else {
        GasParallelBuild parallel_build(task_manager, thread_count);
        build_tree(bboxes, item_count, indices, progress_bar, progress_share, &parallel_build);
    }
    finish_wide_nodes();
}

void GasTree::build_tree(const GMathBbox3<float>* bboxes, unsigned item_count,
                         const unsigned* indices, AppProgressBar* progress_bar,
                         float progress_share, GasParallelBuild* parallel_build) {
    assert(item_count > 0 && "a tree is built over at least one box");
    assert(item_count <= UINT_MAX / 2 && "node indices are 32 bits wide");
    if (item_count == 0 || item_count > UINT_MAX / 2)
        return;

    // Everything that can fail comes before the tree owns anything.
    const GasScratchArray<GasRecord> records = gas_allocate_scratch<GasRecord>(item_count);
    const GasScratchArray<unsigned> numbers = gas_allocate_scratch<unsigned>(item_count);
    GasHeapArray<unsigned> index_copy = gas_copy_indices(indices, item_count);
    m_nodes = static_cast<Node*>(sys_aligned_malloc(2 * std::size_t{item_count} * sizeof(Node)));
    m_items = index_copy.release();
    m_leaf_count = item_count;
    m_node_count = 1;
    m_depth = 1;
    choose_split(progress_bar, progress_share);

    GasBuildPart whole = {0, item_count, 0, 1, 1, gas_no_bounds()};
    const GasBoxFacts facts =
        parallel_build
            ? parallel_build->make_records(bboxes, item_count, records.get(), whole.bounds)
            : gas_make_records(bboxes, 0, item_count, records.get(), whole.bounds);
    if (facts.is_comparable) {
        GasRecordBuild build = {get_build_method(m_split_callback), m_nodes, records.get(),
                                numbers.get(), progress_bar};
        if (parallel_build) {
            parallel_build->build(build, whole);
        } else {
            gas_build_part(build, whole);
            gas_close_nodes(build);
        }
        m_node_count = 2 * item_count - 1;
        m_depth = build.depth;
        m_nodes[m_node_count].flags = facts.is_ordered ? 1 : 0;
        return;
    }

    // With NaN the order of unions counts: take the split functions' word.
    static_assert(sizeof(GMathVec3<float>) <= sizeof(GasRecord));
    auto* const centers = reinterpret_cast<GMathVec3<float>*>(records.get());
    std::iota(numbers.get(), numbers.get() + item_count, 0u);
    for (unsigned i = 0; i < item_count; ++i)
        new (centers + i) GMathVec3<float>(gas_box_center(bboxes[i]));
    GasSahWorkspace workspace(centers);
    GasTreeSplitContext context = {
        bboxes, centers, m_split_callback != split_median ? &workspace : nullptr, progress_bar, 0};
    recurse_split(context, m_nodes[0], 1, numbers.get(), item_count);
    compute_bboxes(bboxes);
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    gas_create_over(*this, bboxes, indices, progress_bar, progress_share);
}

void GasTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share,
                     SysThreadTaskManager& task_manager, const unsigned& thread_count) {
    if (const unsigned count = gas_host::get_count(bboxes))
        create(gas_host::get_items(bboxes), count, indices, progress_bar, progress_share,
               task_manager, thread_count);
    else
        clear();
}

void GasTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    gas_create_over(*this, bboxes, indices, progress_bar, progress_share);
}

void GasTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                     AppProgressBar* progress_bar, const float& progress_share) {
    gas_create_over_doubles(*this, bboxes, indices, progress_bar, progress_share);
}

void GasTree::choose_split(AppProgressBar* progress_bar, float progress_share) {
    if (!progress_bar) {
        m_split_callback = split_sah_bins_fast;
        return;
    }
    unsigned whole = gas_truncate(progress_share * 100.0f, UINT_MAX);
    assert(whole > 0 && "a build fills at least a hundredth of its progress bar");
    if (whole == 0)
        whole = 1;
    const unsigned step = m_leaf_count > whole ? m_leaf_count / whole : 1;
    gas_host::set_progress_steps(*progress_bar, step,
                                 static_cast<float>(step) * progress_share /
                                     static_cast<float>(m_leaf_count));
    m_split_callback = gas_choose_split<GasTree>(gas_host::get_build_method(*progress_bar));
}

void GasTree::recurse_split(GasTreeSplitContext& context, Node& node, unsigned depth,
                            unsigned* items, const unsigned& count) {
    unsigned current = static_cast<unsigned>(&node - m_nodes);
    unsigned waiting = no_node;
    WaitingChild part = {0, count, depth, no_node};
    for (;;) {
        if (part.count <= 1) {
            m_nodes[current].index = items[part.offset];
            m_nodes[current].flags = Node::leaf_flag;
            if (context.progress_bar)
                context.progress_bar->increment_if_step(++context.built_leaf_count);
            // The child that has waited least is next: depth first, first subtrees first.
            if (waiting == no_node)
                return;
            current = waiting;
            std::memcpy(&part, static_cast<const void*>(&m_nodes[current]), sizeof part);
            waiting = part.behind;
            continue;
        }

        const unsigned first_child = m_node_count;
        m_nodes[current].index = first_child;
        m_nodes[current].flags = 0;
        m_node_count += 2;
        ++part.depth;
        if (m_depth < part.depth)
            m_depth = part.depth;

        unsigned left_count = 1;
        if (part.count > 2) {
            m_split_callback(context, items + part.offset, part.count, left_count);
            if (left_count == 0 || left_count >= part.count)
                left_count = part.count / 2;
        }

        const WaitingChild second = {part.offset + left_count, part.count - left_count, part.depth,
                                     waiting};
        waiting = first_child + 1;
        std::memcpy(static_cast<void*>(&m_nodes[waiting]), &second, sizeof second);
        current = first_child;
        part.count = left_count;
    }
}

void GasTree::compute_bboxes(const GMathBbox3<float>* bboxes) {
    SimdF ordered = SimdF(0.0f) <= SimdF(0.0f);
    gas_pass_upwards(
        m_nodes, m_node_count, bboxes,
        [&](unsigned i) {
            Node& node = m_nodes[i];
            SimdF min;
            SimdF max;
            gas_load_box(bboxes[node.index], min, max);
            const SimdF center = (min + max) * SimdF(0.5f);
            ordered = ordered & (min <= max) & (center <= center);
            gas_store_node(node, min, max, node.index, node.flags);
        },
        [&](unsigned i) {
            Node& node = m_nodes[i];
            const unsigned previous_order = (node.flags & Node::order_mask) >> Node::order_shift;
            gas_unite_nodes(node, m_nodes[node.index], m_nodes[node.index + 1], node.index,
                            previous_order);
        },
        [&](unsigned first_node) {
            if (m_wide_nodes)
                m_wide_nodes->refit(m_nodes, first_node);
        });
    if (m_nodes)
        m_nodes[m_node_count].flags = ordered.get_mask() == 15 ? 1 : 0;
}

} // namespace gas_abi1
