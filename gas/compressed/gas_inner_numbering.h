// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/build/gas_numbering.h>
#include <gas/compressed/gas_compressed_node.h>

inline namespace gas_abi1 {

/// The numbering of compressed trees (see gas_numbering.h): n - 1 nodes for n items, inner nodes
/// all, whose leaves are references in them. Both children are numbered before either is divided.
/// Boxes come after the build, so that nothing is kept open.
class GasInnerNumbering : public GasNumberingBase {
  public:
    using Node = GasCompressedNode;

    GasInnerNumbering(Node* nodes, unsigned next, AppProgressBar* progress_bar,
                      unsigned& built_leaf_count)
        : GasNumberingBase(next, progress_bar, built_leaf_count), m_nodes(nodes) {}

    static unsigned count_below(unsigned item_count) { return item_count > 2 ? item_count - 2 : 0; }
    Node* get_nodes() const { return m_nodes; }

    /// A node's leaves are told to the progress bar together.
    GasChildren number_children(unsigned node, unsigned left_count, unsigned right_count,
                                unsigned first_item, unsigned second_item, unsigned depth) {
        reach(depth);
        const unsigned first_is_leaf = left_count == 1;
        const unsigned second_is_leaf = right_count == 1;
        const unsigned first = first_is_leaf ? first_item : m_next++;
        const unsigned second = second_is_leaf ? second_item : m_next++;
        const unsigned flags = first_is_leaf * GasCompressedNode::first_leaf |
                               second_is_leaf * GasCompressedNode::second_leaf;
        m_nodes[node] = {{}, static_cast<unsigned char>(flags), {first, second}};
        if (flags != 0)
            report(first_is_leaf + second_is_leaf);
        return {first, second};
    }

    void keep_open(unsigned, const GasChildren&) {}
    void close_below_sibling(unsigned) {}
    void close_all() {}
    void finish_small(const unsigned*, unsigned, unsigned) {}
    void place_leaf(unsigned, const GasRecord&) {}
    void place_item(unsigned, unsigned) {}

  private:
    Node* m_nodes;
};

} // namespace gas_abi1
