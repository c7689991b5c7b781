// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include <gas/build/gas_record.h>
#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/diagnostics/gas_check_runs.h>
#include <gas/diagnostics/gas_node_box_facts.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

/// What may be wrong with a node, or with all of them. `node` and `other` of a report say where.
enum class GasNodeFlaw {
    none,
    /// A lone leaf is not what it has to be.
    lone_leaf,
    /// The children of `node` are not nodes behind it, side by side where that is asked.
    children,
    flags,
    order_code,
    /// Of a leaf below `node`.
    leaf_flags,
    /// A leaf below `node` stands for item `other`, which there is not.
    missing_item,
    /// For an item of another leaf.
    second_leaf,
    /// A child of `node`, the node `other`, has another parent.
    second_parent,
    /// Not all nodes are reached.
    unreached_nodes,
    /// The tree has `other` levels, not as many as it says.
    depth
};

/// An inner node's children: nodes, or leaves' positions.
struct GasReadChildren {
    unsigned references[2];
    bool are_leaves[2];
};

/// Reads a GasTree's inner nodes.
class GasPlainNodeReader {
  public:
    explicit GasPlainNodeReader(const GasTreeArrays& arrays)
        : m_nodes(arrays.nodes), m_node_count(arrays.get_node_count()) {}

    /// Whatever is wrong, there are children unless the flaw is these.
    GasNodeFlaw read(unsigned inner, GasReadChildren& children) {
        const GasTreeNode& node = m_nodes[inner];
        // Siblings stand together, behind the root.
        if (node.index % 2 == 0 || node.index <= inner || node.index >= m_node_count)
            return GasNodeFlaw::children;
        GasNodeFlaw flaw = GasNodeFlaw::none;
        if ((node.flags & ~GasTreeNode::order_mask) != 0)
            flaw = GasNodeFlaw::flags;
        else if ((node.flags >> GasTreeNode::order_shift & 3) == 3)
            flaw = GasNodeFlaw::order_code;
        for (unsigned child = 0; child < 2; ++child) {
            const GasTreeNode& below = m_nodes[node.index + child];
            children.are_leaves[child] = (below.flags & GasTreeNode::leaf_flag) != 0;
            children.references[child] =
                children.are_leaves[child] ? below.index : node.index + child;
            if (children.are_leaves[child] && !read_leaf(below))
                flaw = GasNodeFlaw::leaf_flags;
        }
        m_facts.add_inner(gas_load_box(node), gas_load_box(m_nodes[node.index]),
                          gas_load_box(m_nodes[node.index + 1]));
        return flaw;
    }
    /// A tree of one leaf.
    bool read_lone_leaf() { return read_leaf(m_nodes[0]) && m_nodes[0].index == 0; }

    void add(const GasPlainNodeReader& other) { m_facts.add(other.m_facts); }
    /// Whether boxes are those that builds and refits make, as far as that is looked at.
    bool are_boxes_right() const { return !m_facts.are_ordered() || m_facts.are_unions(); }
    bool are_ordered() const { return m_facts.are_ordered(); }
    bool have_centers() const { return m_facts.are_ordered() && m_facts.are_centered(); }

  private:
    bool read_leaf(const GasTreeNode& leaf) {
        m_facts.add_leaf(gas_load_box(leaf));
        return leaf.flags == GasTreeNode::leaf_flag;
    }

    const GasTreeNode* m_nodes;
    unsigned m_node_count;
    GasNodeBoxFacts m_facts;
};

/// Reads a GasCompressedTree's nodes. Whatever the bytes of their boxes are, they are boxes.
class GasCompressedNodeReader {
  public:
    explicit GasCompressedNodeReader(const GasCompressedTreeArrays& arrays)
        : m_nodes(arrays.nodes), m_node_count(arrays.get_node_count()) {}

    GasNodeFlaw read(unsigned inner, GasReadChildren& children) const {
        const GasCompressedNode& node = m_nodes[inner];
        for (unsigned child = 0; child < 2; ++child) {
            children.references[child] = node.children[child];
            children.are_leaves[child] = (node.flags >> child & 1) != 0;
            if (!children.are_leaves[child] &&
                (node.children[child] <= inner || node.children[child] >= m_node_count))
                return GasNodeFlaw::children;
        }
        return find_flags_flaw(node);
    }
    /// A tree of one leaf.
    bool read_lone_leaf() const {
        const GasCompressedNode& node = m_nodes[0];
        constexpr unsigned both = GasCompressedNode::first_leaf | GasCompressedNode::second_leaf;
        return find_flags_flaw(node) == GasNodeFlaw::none && (node.flags & both) == both &&
               node.children[0] == 0 && node.children[1] == 0;
    }

    void add(const GasCompressedNodeReader&) {}
    static bool are_boxes_right() { return true; }

  private:
    static GasNodeFlaw find_flags_flaw(const GasCompressedNode& node) {
        constexpr unsigned all = GasCompressedNode::first_leaf | GasCompressedNode::second_leaf |
                                 GasCompressedNode::order_mask;
        if ((node.flags & ~all) != 0)
            return GasNodeFlaw::flags;
        return (node.flags >> GasCompressedNode::order_shift & 3) == 3 ? GasNodeFlaw::order_code
                                                                       : GasNodeFlaw::none;
    }

    const GasCompressedNode* m_nodes;
    unsigned m_node_count;
};

/// Walks a tree of unknown nodes from its root: every inner node and every leaf's position is met
/// once, and no path is longer than the tree says it is. Threads take subtrees. What is wrong is
/// told to `report`: `find(flaw, node, other)`, on any thread, and `is_enough()`, which ends it.
template <typename Reader, typename Report, typename Team> class GasNodeCheck {
  public:
    template <typename Arrays>
    GasNodeCheck(const Arrays& arrays, Report& report, Team& team)
        : m_leaf_count(arrays.leaf_count), m_depth(arrays.depth), m_report(report), m_team(team),
          m_reader(arrays), m_found(arrays), m_used_nodes(arrays.get_node_count()),
          m_used_leaves(arrays.leaf_count) {}

    void run() {
        if (m_leaf_count == 1) {
            if (!m_found.read_lone_leaf())
                m_report.find(GasNodeFlaw::lone_leaf, 0, 0);
            else if (m_depth != 1)
                m_report.find(GasNodeFlaw::depth, 0, 1);
            return;
        }
        // The top is divided into subtrees, breadth first.
        Walk top = {m_reader, {{0, 2}}, 0, 0};
        m_used_nodes.use(0);
        const std::size_t subtree_count = std::size_t{64} * m_team.get_size();
        std::size_t first = 0;
        for (; first < top.pending.size() && top.pending.size() - first < subtree_count; ++first)
            expand(top, top.pending[first]);
        const std::vector<Pending> subtrees(top.pending.begin() + static_cast<long>(first),
                                            top.pending.end());
        finish(top);
        m_team.run(static_cast<unsigned>(subtrees.size()),
                   [&](unsigned i) { walk_from(subtrees[i]); });
        if (m_is_memory_short.load())
            throw std::bad_alloc();
        if (m_report.is_enough())
            return;
        // Each was met once, so these are all.
        if (m_inner_count != m_leaf_count - 1)
            m_report.find(GasNodeFlaw::unreached_nodes, 0, m_leaf_count - 1 - m_inner_count);
        else if (m_found_depth != m_depth)
            m_report.find(GasNodeFlaw::depth, 0, m_found_depth);
    }
    /// What was read.
    const Reader& get_reader() const { return m_found; }
    bool is_leaf_met(unsigned leaf) const { return m_used_leaves.is_used(leaf); }

  private:
    /// An inner node, and the level of its children, counted from 1 for the root.
    struct Pending {
        unsigned inner;
        unsigned child_level;
    };
    struct Walk {
        Reader reader;
        std::vector<Pending> pending;
        unsigned depth;
        unsigned inner_count;
    };

    /// Adds the inner children to those that are pending, the first one last.
    void expand(Walk& walk, const Pending next) {
        GasReadChildren children;
        const GasNodeFlaw flaw = walk.reader.read(next.inner, children);
        if (flaw != GasNodeFlaw::none) {
            m_report.find(flaw, next.inner, 0);
            if (flaw == GasNodeFlaw::children || m_report.is_enough())
                return;
        }
        ++walk.inner_count;
        if (walk.depth < next.child_level)
            walk.depth = next.child_level;
        for (unsigned child = 2; child-- > 0;) {
            const unsigned reference = children.references[child];
            if (children.are_leaves[child]) {
                if (reference >= m_leaf_count)
                    m_report.find(GasNodeFlaw::missing_item, next.inner, reference);
                else if (!m_used_leaves.use(reference))
                    m_report.find(GasNodeFlaw::second_leaf, next.inner, reference);
            } else if (m_used_nodes.use(reference)) {
                walk.pending.push_back({reference, next.child_level + 1});
            } else {
                m_report.find(GasNodeFlaw::second_parent, next.inner, reference);
            }
        }
    }

    void walk_from(const Pending& root) noexcept {
        try {
            Walk walk = {m_reader, {root}, 0, 0};
            while (!walk.pending.empty() && !m_report.is_enough()) {
                const Pending next = walk.pending.back();
                walk.pending.pop_back();
                expand(walk, next);
            }
            finish(walk);
        } catch (const std::bad_alloc&) {
            m_is_memory_short = true;
        }
    }

    void finish(const Walk& walk) {
        const std::lock_guard guard(m_mutex);
        m_found.add(walk.reader);
        m_inner_count += walk.inner_count;
        if (m_found_depth < walk.depth)
            m_found_depth = walk.depth;
    }

    unsigned m_leaf_count;
    unsigned m_depth;
    Report& m_report;
    Team& m_team;
    /// One that has read nothing, and all that others have.
    const Reader m_reader;
    Reader m_found;
    GasUsedNumbers m_used_nodes;
    GasUsedNumbers m_used_leaves;
    std::atomic<bool> m_is_memory_short = false;
    std::mutex m_mutex;
    unsigned m_inner_count = 0;
    unsigned m_found_depth = 0;
};

} // namespace gas_abi1
