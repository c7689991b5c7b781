// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/wide/gas_wide_nodes.h>

#include <memory>

#include <gas/build/gas_parallel_build.h>
#include <gas/build/gas_record.h>
#include <gas/tree/wide/gas_wide_collapse.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>
#include <gas/tree/wide/gas_wide_pass.h>

inline namespace gas_abi1 {

/// A binary node that becomes a wide one.
struct GasWideNodes::Pending {
    unsigned node;
    /// Where its wide node is referred to.
    unsigned* reference;
};

/// One with everything below it: `count` wide nodes from `first` on.
struct GasWideNodes::Subtree {
    unsigned node;
    unsigned first;
    unsigned count;
    bool are_boxes_ordered;
};

/// Makes wide nodes, depth first. Their numbers follow from the counts of the collapse.
class GasWideNodes::Placing {
  public:
    Placing(const GasTreeNode* nodes, const GasWideCollapse& collapse, GasWideNode* wide_nodes)
        : m_nodes(nodes), m_collapse(collapse), m_wide_nodes(wide_nodes) {}

    /// Makes a subtree. `pending` is scratch for as many entries, for no more can be pending than
    /// have no place yet.
    void place(Subtree& subtree, Pending* pending) const {
        place(subtree, pending, [](const Pending&, unsigned) { return 0u; });
    }
    /// The same, but `leave_out(next, first)` may say how many wide nodes of a pending node are
    /// made elsewhere, from `first` on.
    template <typename LeaveOut>
    void place(Subtree& subtree, Pending* pending, const LeaveOut& leave_out) const {
        unsigned no_reference;
        pending[0] = {subtree.node, &no_reference};
        unsigned pending_count = 1;
        SimdF ordered = SimdF(0.0f) <= SimdF(0.0f);
        for (unsigned i = subtree.first; i < subtree.first + subtree.count;) {
            const Pending next = pending[--pending_count];
            *next.reference = i;
            if (const unsigned count = leave_out(next, i)) {
                i += count;
                continue;
            }
            pending_count = fill(m_wide_nodes[i++], next.node, pending, pending_count, ordered);
        }
        subtree.are_boxes_ordered = (ordered.get_mask() & 7) == 7;
    }

  private:
    /// Returns how many are pending then.
    unsigned fill(GasWideNode& wide, unsigned node, Pending* pending, unsigned pending_count,
                  SimdF& ordered) const {
        GasWideLaneBoxes boxes;
        wide.binary_node = node;
        wide.first_child = m_nodes[node].index;
        const unsigned skips = m_collapse.get_skips(wide.first_child);
        // The second half's second lane first, so that the first lane is next to have its place.
        // What stands in a lane is told apart without branches, which would be mispredicted.
        const auto refer_to = [&](unsigned lane, unsigned lane_node, unsigned is_there) {
            // An inner node's place is not known yet.
            wide.references[lane] =
                m_nodes[lane_node].index | GasWideNode::leaf_flag | (is_there - 1);
            pending[pending_count] = {lane_node, &wide.references[lane]};
            pending_count += is_there & ~m_nodes[lane_node].flags;
            const GasLaneBox box = gas_load_raw_box(m_nodes[lane_node]);
            ordered = ordered & (box.min <= box.max);
        };
        for (unsigned half = 2; half-- > 0;) {
            const unsigned is_skipped = skips >> half & 1;
            const unsigned child = wide.first_child + half;
            const unsigned lane_node = gas_pick(is_skipped, child, m_nodes[child].index);
            wide.lane_nodes[half] = lane_node;
            refer_to(2 * half + 1, lane_node + is_skipped, is_skipped);
            refer_to(2 * half, lane_node, 1);
            boxes.gather_half(half, lane_node, is_skipped, GasNodeBoxes{m_nodes});
        }
        boxes.store(wide.planes[0]);
        return pending_count;
    }

    const GasTreeNode* m_nodes;
    const GasWideCollapse& m_collapse;
    GasWideNode* m_wide_nodes;
};

GasWideNodes::GasWideNodes(const GasTreeNode* nodes, unsigned node_count,
                           GasParallelBuild* parallel) {
    const GasWideCollapse collapse(nodes, node_count, parallel);
    m_count = collapse.get_count(nodes[0]);
    // First of all: what comes last is not released if there is no memory for more.
    const GasScratchArray<Pending> pending = gas_allocate_scratch<Pending>(m_count + 1);
    const unsigned subtree_limit = parallel ? 32 * parallel->get_team().get_size() : 0;
    const std::unique_ptr<Subtree[]> subtrees(new Subtree[subtree_limit + 1]);
    m_nodes = static_cast<GasWideNode*>(gas_allocate_aligned(
        std::size_t{m_count} * sizeof(GasWideNode), alignof(GasWideNode), m_memory));

    const Placing placing(nodes, collapse, m_nodes);
    Subtree& whole = subtrees[subtree_limit];
    whole = {0, 0, m_count, true};
    if (!parallel) {
        placing.place(whole, pending.get());
        m_are_boxes_ordered = whole.are_boxes_ordered;
        return;
    }
    // Small enough subtrees are left to the threads, as long as there is room in the list.
    const unsigned most = m_count / (4 * parallel->get_team().get_size()) + 1;
    unsigned subtree_count = 0;
    placing.place(whole, pending.get(), [&](const Pending& next, unsigned first) {
        const unsigned count = collapse.get_count(nodes[next.node]);
        if (count > most || count < 64 || subtree_count == subtree_limit)
            return 0u;
        subtrees[subtree_count++] = {next.node, first, count, true};
        return count;
    });
    parallel->get_team().run(subtree_count, [&](unsigned i) {
        placing.place(subtrees[i], pending.get() + subtrees[i].first);
    });
    m_are_boxes_ordered = whole.are_boxes_ordered;
    for (unsigned i = 0; i < subtree_count; ++i)
        m_are_boxes_ordered = m_are_boxes_ordered && subtrees[i].are_boxes_ordered;
}

GasWideNodes::~GasWideNodes() { sys_aligned_free(m_memory); }

std::size_t GasWideNodes::get_memory_size() const {
    return sizeof(GasWideNodes) + std::size_t{m_count} * sizeof(GasWideNode) + alignof(GasWideNode);
}

} // namespace gas_abi1
