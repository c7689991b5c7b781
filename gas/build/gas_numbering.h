// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstring>

#include <gas/build/gas_record.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// How a tree numbers its nodes, and what a node's record takes from a build: all in which the
/// builds of the trees differ. GasPairNumbering is GasTree's; a compressed tree has its own. One
/// object serves one thread of a build.
///
/// A numbering offers: Node; count_below(count), the nodes below a node of that many items;
/// number_children, for a node that is divided; keep_open, close_below_sibling and close_all, for
/// nodes whose boxes come later; finish_small, for those of a small subtree; place_leaf and
/// place_item; get_nodes, and what GasNumberingBase has.

/// The numbers of two children, of use where they are nodes.
struct GasChildren {
    unsigned first;
    unsigned second;
};

/// What all numberings count. Leaves are told to a progress bar, which may be null, and counted
/// with a bar only.
class GasNumberingBase {
  public:
    GasNumberingBase(unsigned next, AppProgressBar* progress_bar, unsigned& built_leaf_count)
        : m_next(next), m_progress_bar(progress_bar), m_built_leaf_count(built_leaf_count) {}

    /// The number of the next node.
    unsigned get_next() const { return m_next; }
    /// Goes on at another number. A depth-first build in the order of the items never has to.
    void set_next(unsigned next) { m_next = next; }
    /// The deepest level so far; 1 for a lone root.
    unsigned get_depth() const { return m_depth; }

  protected:
    void reach(unsigned depth) {
        if (m_depth < depth)
            m_depth = depth;
    }
    void report(unsigned leaf_count) {
        if (m_progress_bar)
            m_progress_bar->increment_if_step(m_built_leaf_count += leaf_count);
    }

    unsigned m_next;

  private:
    unsigned m_depth = 1;
    AppProgressBar* m_progress_bar;
    unsigned& m_built_leaf_count;
};

/// 2n - 1 nodes for n items: two siblings side by side, the nodes below the first child before
/// those below the second, leaves among them.
class GasPairNumbering : public GasNumberingBase {
  public:
    using Node = GasTreeNode;

    GasPairNumbering(Node* nodes, unsigned next, AppProgressBar* progress_bar,
                     unsigned& built_leaf_count)
        : GasNumberingBase(next, progress_bar, built_leaf_count), m_nodes(nodes) {}

    static unsigned count_below(unsigned item_count) { return 2 * item_count - 2; }
    Node* get_nodes() const { return m_nodes; }

    /// `first_item` and `second_item` are of use where a child is a leaf. `depth` is the
    /// children's.
    GasChildren number_children(unsigned, unsigned, unsigned, unsigned, unsigned, unsigned depth) {
        reach(depth);
        const GasChildren children = {m_next, m_next + 1};
        m_next += 2;
        return children;
    }
    /// The node's children are made next, and then it is closed, which gives it a box. Meanwhile it
    /// holds the node that was opened before in its box.
    void keep_open(unsigned node, const GasChildren& children) {
        m_nodes[node].index = children.first;
        m_nodes[node].flags = 0;
        std::memcpy(&m_nodes[node].bbox_min.x, &m_last_open, sizeof m_last_open);
        m_last_open = node;
    }
    /// Everything below the first sibling of `second` is made: gives all nodes there their boxes.
    void close_below_sibling(unsigned second) {
        while (m_nodes[m_last_open].index + 1 != second)
            close_last();
    }
    void close_all() {
        while (m_last_open != UINT_MAX)
            close_last();
    }
    /// The inner nodes of a small subtree, in the order in which they were divided; the children of
    /// the first are `below`.
    void finish_small(const unsigned* inner_nodes, unsigned count, unsigned below) {
        while (count-- > 0)
            unite(inner_nodes[count], below + 2 * count);
    }
    void place_leaf(unsigned node, const GasRecord& record) {
        gas_copy_record(m_nodes[node], record);
        report(1);
    }
    /// A leaf whose box comes later.
    void place_item(unsigned node, unsigned item) {
        m_nodes[node].index = item;
        m_nodes[node].flags = Node::leaf_flag;
        report(1);
    }

  private:
    void close_last() {
        const unsigned node = m_last_open;
        std::memcpy(&m_last_open, &m_nodes[node].bbox_min.x, sizeof m_last_open);
        unite(node, m_nodes[node].index);
    }
    void unite(unsigned node, unsigned first) {
        gas_unite_nodes(m_nodes[node], m_nodes[first], m_nodes[first + 1], first, 0);
    }

    Node* m_nodes;
    unsigned m_last_open = UINT_MAX;
};

} // namespace gas_abi1
