// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_compiler.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// A run of nodes that stays in the cache, its leaves apart from its inner nodes: these follow each
/// other without a pattern, and sorting them out first, by no branch, takes less time than a branch
/// on each that is often predicted wrongly.
class GasNodeBlock {
  public:
    /// Takes the last nodes before `end`, none if that is 0, and asks for those before them.
    void take(const GasTreeNode* nodes, unsigned end) {
        const unsigned first = end > size ? end - size : 0;
        const unsigned ahead = first > size ? size : first;
        // Leaves fill the list from its front, inner nodes from its back. Each node is written at
        // both ends; where it does not belong, another takes its place.
        unsigned leaf_count = 0;
        unsigned* back = m_nodes + size;
        for (unsigned i = end; i-- > first;) {
            gas_prefetch(&nodes[i - ahead]);
            m_nodes[leaf_count] = i;
            (--back)[leaf_count] = i;
            leaf_count += nodes[i].flags & GasTreeNode::leaf_flag;
        }
        m_first = first;
        m_leaf_count = leaf_count;
        m_inner_count = end - first - leaf_count;
    }
    /// Asks for the boxes of items, which lie anywhere: that of leaf `k`, if there is one.
    GAS_FORCE_INLINE void fetch_box(const GasTreeNode* nodes, const GMathBbox3<float>* bboxes,
                                    unsigned k) const {
        if (k >= m_leaf_count)
            return;
        // Many boxes lie in two cache lines.
        const GMathBbox3<float>& box = bboxes[nodes[get_leaf(k)].index];
        gas_prefetch(&box.min.x);
        gas_prefetch(&box.max.z);
    }

    unsigned get_first() const { return m_first; }
    unsigned get_leaf_count() const { return m_leaf_count; }
    unsigned get_inner_count() const { return m_inner_count; }
    /// The last node first, here and there.
    unsigned get_leaf(unsigned k) const { return m_nodes[k]; }
    unsigned get_inner(unsigned k) const { return m_nodes[size - 1 - k]; }

  private:
    static constexpr unsigned size = 128;

    unsigned m_first;
    unsigned m_leaf_count;
    unsigned m_inner_count;
    unsigned m_nodes[size];
};

/// Lanes x, y, z are set while every box so far has min <= max there.
class GasBoxOrder {
  public:
    GAS_FORCE_INLINE void add(const SimdF& min, const SimdF& max) {
        m_ordered = m_ordered & (min <= max);
    }
    bool is_kept() const { return (m_ordered.get_mask() & 7) == 7; }

  private:
    SimdF m_ordered = SimdF(0.0f) <= SimdF(0.0f);
};

/// Goes over nodes from the last to the first, so that children come before their parent, block by
/// block: calls `on_leaf(i)` for the leaves of a block, then `on_inner(i)` for its other nodes,
/// then `on_block(first)`, which is told the block's first node. The boxes of a block's items are
/// asked for between the inner nodes of the block before, few at a time, for a core can wait for
/// few.
template <typename OnLeaf, typename OnInner, typename OnBlock>
GAS_FORCE_INLINE void gas_pass_upwards(const GasTreeNode* nodes, unsigned node_count,
                                       const GMathBbox3<float>* bboxes, const OnLeaf& on_leaf,
                                       const OnInner& on_inner, const OnBlock& on_block) {
    GasNodeBlock blocks[2];
    blocks[0].take(nodes, node_count);
    for (unsigned k = 0; k < blocks[0].get_leaf_count(); ++k)
        blocks[0].fetch_box(nodes, bboxes, k);
    for (unsigned turn = 0;; turn ^= 1) {
        const GasNodeBlock& block = blocks[turn];
        GasNodeBlock& next = blocks[turn ^ 1];
        const unsigned first = block.get_first();
        next.take(nodes, first);
        for (unsigned k = 0; k < block.get_leaf_count(); ++k)
            on_leaf(block.get_leaf(k));
        for (unsigned k = 0; k < block.get_inner_count(); ++k) {
            next.fetch_box(nodes, bboxes, k);
            on_inner(block.get_inner(k));
        }
        for (unsigned k = block.get_inner_count(); k < next.get_leaf_count(); ++k)
            next.fetch_box(nodes, bboxes, k);
        on_block(first);
        if (first == 0)
            return;
    }
}

} // namespace gas_abi1
