// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/build/gas_build_input.h>
#include <gas/build/gas_tree_node.h>

inline namespace gas_abi1 {

class GasParallelBuild;

/// `zero` or, when `bit` is 1, `one`, without a branch: leaves and inner nodes follow each other
/// without a pattern, and so do halves of wide nodes.
inline unsigned gas_pick(unsigned bit, unsigned zero, unsigned one) {
    return zero ^ ((zero ^ one) & (0u - bit));
}

/// The collapse of a binary tree: which of its nodes become wide ones, so that the areas of these
/// have the least sum: a wide node costs its own area and what its halves cost, each with its
/// children in its place or not, whichever is less. Decided from the leaves up, for two siblings at
/// a time; siblings are called by the number of the first.
class GasWideCollapse {
  public:
    /// For a tree with at least two leaves; with `parallel`, whose build the tree is of, on its
    /// threads.
    GasWideCollapse(const GasTreeNode* nodes, unsigned node_count, GasParallelBuild* parallel);

    /// How many wide nodes there are at and below a node that becomes one itself; 0 for a leaf.
    unsigned get_count(const GasTreeNode& node) const {
        const unsigned is_inner = ~node.flags & GasTreeNode::leaf_flag;
        return is_inner + get_pair_below(node).half_count;
    }
    /// Bit 0 or 1: as a half of its parent's wide node, the first or second sibling gives its place
    /// to its children.
    unsigned get_skips(unsigned siblings) const { return m_skips[siblings / 2]; }

  private:
    /// Sums over two siblings, of areas and of numbers of wide nodes: as the halves of their
    /// parent's wide node, and in its lanes. One is loaded and stored as four lanes.
    struct alignas(16) Pair {
        float half_cost;
        float lane_cost;
        unsigned half_count;
        unsigned lane_count;
    };

    /// For a leaf the pair behind all others.
    const Pair& get_pair_below(const GasTreeNode& node) const {
        return m_pairs[gas_pick(node.flags & GasTreeNode::leaf_flag, node.index / 2, m_pair_count)];
    }

    /// Decides for two siblings, once all below them is decided.
    void decide(unsigned pair);

    const GasTreeNode* m_nodes;
    unsigned m_pair_count;
    GasScratchArray<Pair> m_pairs;
    GasScratchArray<unsigned char> m_skips;
};

} // namespace gas_abi1
