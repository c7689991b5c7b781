#include <cassert>
#include <climits>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>

#include <gas/build/gas_build_input.h>
#include <gas/compressed/gas_compressed_build_steps.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/core/gas_numeric.h>
#include <gas/split/gas_sah_workspace.h>
#include <gas/split/gas_split_choice.h>

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

static_assert(sizeof(WaitingChild) <= sizeof(GasCompressedNode));

struct ClearTree {
    void operator()(GasCompressedTree* tree) const { tree->clear(); }
};

} // namespace

void GasCompressedTree::create(const GMathBbox3<float>* bboxes, const unsigned& count,
                               const unsigned* indices, AppProgressBar* progress_bar) {
    const unsigned item_count = count; // the caller's count may live in what `clear` releases
    clear();
    assert(item_count > 0 && "a tree is built over at least one box");
    if (item_count == 0)
        return;

    GasHeapArray<unsigned> index_copy = gas_copy_indices(indices, item_count);
    const unsigned capacity = item_count == 1 ? 1 : item_count - 1;
    m_nodes = static_cast<GasCompressedNode*>(
        sys_aligned_malloc(std::size_t{capacity} * sizeof(GasCompressedNode)));
    m_items = index_copy.release();
    m_leaf_count = item_count;
    m_node_count = 1;
    m_depth = 1;
    m_root_index = 0;
    // From here on, memory that cannot be had leaves an empty tree.
    std::unique_ptr<GasCompressedTree, ClearTree> unfinished(this);

    if (item_count == 1) {
        create_single_leaf(bboxes[0]);
    } else {
        split_items(bboxes, progress_bar);
        // One array serves both passes, and only once the splits have released theirs.
        const GasScratchArray<GMathBbox3<float>> boxes =
            gas_allocate_scratch<GMathBbox3<float>>(m_node_count);
        GasCompressedTreeComputeBboxContext exact = {bboxes, boxes.get()};
        compute_bboxes(exact, m_root_index, m_bbox);
        GasCompressedTreeQuantizeBboxContext context = {bboxes, boxes.get(), boxes.get()};
        quantize_tree(context, m_root_index, m_bbox);
    }
    unfinished.release();
    if (progress_bar)
        progress_bar->set_value(1.0f);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    gas_create_over(*this, bboxes, indices, progress_bar);
}

void GasCompressedTree::create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    gas_create_over(*this, bboxes, indices, progress_bar);
}

void GasCompressedTree::create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                               AppProgressBar* progress_bar) {
    gas_create_over_doubles(*this, bboxes, indices, progress_bar);
}

void GasCompressedTree::create_single_leaf(const GMathBbox3<float>& bbox) {
    m_bbox = bbox;
    m_nodes[0] = {{{0xFF, 0xFF, 0xFF}, 0, {0xFF, 0xFF, 0xFF}},
                  GasCompressedNode::first_leaf | GasCompressedNode::second_leaf,
                  {0, 0}};
}

void GasCompressedTree::split_items(const GMathBbox3<float>* bboxes, AppProgressBar* progress_bar) {
    const GasScratchArray<unsigned> items = gas_allocate_scratch<unsigned>(m_leaf_count);
    const GasScratchArray<GMathVec3<float>> centers =
        gas_allocate_scratch<GMathVec3<float>>(m_leaf_count);
    std::iota(items.get(), items.get() + m_leaf_count, 0u);
    for (unsigned i = 0; i < m_leaf_count; ++i)
        centers[i] = gas_box_center(bboxes[i]);

    m_split_callback = split_sah_bins_fast;
    if (progress_bar) {
        const unsigned step = m_leaf_count <= 100 ? 1 : m_leaf_count / 100;
        progress_bar->set_value(0.0f);
        gas_host::set_progress_steps(*progress_bar, step,
                                     static_cast<float>(step) / static_cast<float>(m_leaf_count));
        m_split_callback =
            gas_choose_split<GasCompressedTree>(gas_host::get_build_method(*progress_bar));
    }
    std::optional<GasSahWorkspace> workspace;
    if (m_split_callback != split_median)
        workspace.emplace(centers.get());
    GasCompressedTreeSplitContext context = {bboxes, centers.get(),
                                             workspace ? &*workspace : nullptr, progress_bar, 0};
    recurse_split(context, m_root_index, m_depth, items.get(), m_leaf_count);
    ++m_depth; // the leaves below the last node
}

void GasCompressedTree::recurse_split(GasCompressedTreeSplitContext& context, const unsigned& node,
                                      unsigned depth, unsigned* items, const unsigned& count) {
    unsigned current = node;
    unsigned waiting = no_node;
    WaitingChild part = {0, count, depth, no_node};
    for (;;) {
        if (m_depth < part.depth)
            m_depth = part.depth;
        unsigned left_count = 1;
        if (part.count > 2) {
            m_split_callback(context, items + part.offset, part.count, left_count);
            if (left_count == 0 || left_count >= part.count)
                left_count = part.count / 2;
        }

        // Both children are numbered before either is divided.
        const unsigned right_count = part.count - left_count;
        const bool first_is_leaf = left_count == 1;
        const bool second_is_leaf = right_count == 1;
        const unsigned first = first_is_leaf ? items[part.offset] : m_node_count++;
        const unsigned second = second_is_leaf ? items[part.offset + left_count] : m_node_count++;
        unsigned flags = 0;
        if (first_is_leaf)
            flags |= GasCompressedNode::first_leaf;
        if (second_is_leaf)
            flags |= GasCompressedNode::second_leaf;
        m_nodes[current] = {{}, static_cast<unsigned char>(flags), {first, second}};
        if (context.progress_bar && flags != 0) {
            context.built_leaf_count += first_is_leaf + second_is_leaf;
            context.progress_bar->increment_if_step(context.built_leaf_count);
        }

        const unsigned child_depth = part.depth + 1;
        if (!first_is_leaf) {
            if (!second_is_leaf) {
                const WaitingChild later = {part.offset + left_count, right_count, child_depth,
                                            waiting};
                std::memcpy(static_cast<void*>(&m_nodes[second]), &later, sizeof later);
                waiting = second;
            }
            current = first;
            part.count = left_count;
            part.depth = child_depth;
        } else if (!second_is_leaf) {
            current = second;
            part.offset += left_count;
            part.count = right_count;
            part.depth = child_depth;
        } else {
            // The child that has waited least is next: depth first, first subtrees first.
            if (waiting == no_node)
                return;
            current = waiting;
            std::memcpy(&part, static_cast<const void*>(&m_nodes[current]), sizeof part);
            waiting = part.behind;
        }
    }
}

void GasCompressedTree::compute_bboxes(GasCompressedTreeComputeBboxContext& context,
                                       const unsigned& node, GMathBbox3<float>& out) const {
    // Children follow their parents, so this order meets both children before their parent.
    for (unsigned i = m_node_count; i-- > node;) {
        const GasCompressedNode& record = m_nodes[i];
        const auto get_bbox = [&](unsigned child, unsigned leaf_flag) -> const GMathBbox3<float>& {
            return record.flags & leaf_flag ? context.item_bboxes[record.children[child]]
                                            : context.node_bboxes[record.children[child]];
        };
        GMathBbox3<float>& bbox = context.node_bboxes[i];
        bbox = get_bbox(0, GasCompressedNode::first_leaf);
        gas_unite(bbox, get_bbox(1, GasCompressedNode::second_leaf));
    }
    out = context.node_bboxes[node];
}

} // namespace gas_abi1
