// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <mutex>
#include <new>
#include <vector>

#include <gas/build/gas_record.h>
#include <gas/core/gas_lane_box.h>
#include <gas/files/gas_file_check.h>

inline namespace gas_abi1 {

/// What boxes of nodes are found to be.
class GasFileBoxFacts {
  public:
    void add_leaf(const GasLaneBox& box) {
        m_ordered = m_ordered & (box.min <= box.max);
        const SimdF center = box.get_center();
        m_centered = m_centered & (center <= center);
    }
    void add_inner(const GasLaneBox& box, const GasLaneBox& first, const GasLaneBox& second) {
        GasLaneBox both = first;
        both.unite(second);
        // Zeros of both signs are the same here.
        m_united = m_united & (both.min <= box.min) & (box.min <= both.min) &
                   (both.max <= box.max) & (box.max <= both.max);
    }
    void add(const GasFileBoxFacts& other) {
        m_ordered = m_ordered & other.m_ordered;
        m_centered = m_centered & other.m_centered;
        m_united = m_united & other.m_united;
    }
    /// Of all leaves: min <= max, which no NaN has.
    bool are_ordered() const { return holds(m_ordered); }
    /// Of all leaves: no centre is a NaN.
    bool are_centered() const { return holds(m_centered); }
    /// Whether each other box is what refits make it, where leaves are ordered.
    bool are_unions() const { return holds(m_united); }

  private:
    static bool holds(const SimdF& lanes) { return (lanes.get_mask() & 7) == 7; }

    SimdF m_ordered = SimdF(0.0f) <= SimdF(0.0f);
    SimdF m_centered = SimdF(0.0f) <= SimdF(0.0f);
    SimdF m_united = SimdF(0.0f) <= SimdF(0.0f);
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

    /// False: it is not as the library makes it.
    bool read(unsigned inner, GasReadChildren& children) {
        const GasTreeNode& node = m_nodes[inner];
        // Siblings stand together, behind the root.
        if ((node.flags & ~GasTreeNode::order_mask) != 0 ||
            (node.flags >> GasTreeNode::order_shift & 3) == 3 || node.index % 2 == 0 ||
            node.index <= inner || node.index >= m_node_count)
            return false;
        for (unsigned child = 0; child < 2; ++child) {
            const GasTreeNode& below = m_nodes[node.index + child];
            children.are_leaves[child] = (below.flags & GasTreeNode::leaf_flag) != 0;
            if (children.are_leaves[child]) {
                if (!read_leaf(below))
                    return false;
                children.references[child] = below.index;
            } else {
                children.references[child] = node.index + child;
            }
        }
        m_facts.add_inner(gas_load_box(node), gas_load_box(m_nodes[node.index]),
                          gas_load_box(m_nodes[node.index + 1]));
        return true;
    }
    /// A tree of one leaf.
    bool read_lone_leaf() { return read_leaf(m_nodes[0]) && m_nodes[0].index == 0; }

    void add(const GasPlainNodeReader& other) { m_facts.add(other.m_facts); }
    const char* find_flaw() const {
        return m_facts.are_ordered() && !m_facts.are_unions()
                   ? "has a box that is not the union of those below it"
                   : nullptr;
    }
    bool are_ordered() const { return m_facts.are_ordered(); }
    bool have_centers() const { return m_facts.are_ordered() && m_facts.are_centered(); }

  private:
    bool read_leaf(const GasTreeNode& leaf) {
        m_facts.add_leaf(gas_load_box(leaf));
        return leaf.flags == GasTreeNode::leaf_flag;
    }

    const GasTreeNode* m_nodes;
    unsigned m_node_count;
    GasFileBoxFacts m_facts;
};

/// Reads a GasCompressedTree's nodes. Whatever the bytes of their boxes are, they are boxes.
class GasCompressedNodeReader {
  public:
    explicit GasCompressedNodeReader(const GasCompressedTreeArrays& arrays)
        : m_nodes(arrays.nodes), m_node_count(arrays.get_node_count()) {}

    bool read(unsigned inner, GasReadChildren& children) const {
        const GasCompressedNode& node = m_nodes[inner];
        if (!has_right_flags(node))
            return false;
        for (unsigned child = 0; child < 2; ++child) {
            children.references[child] = node.children[child];
            children.are_leaves[child] = (node.flags >> child & 1) != 0;
            if (!children.are_leaves[child] &&
                (node.children[child] <= inner || node.children[child] >= m_node_count))
                return false;
        }
        return true;
    }
    /// A tree of one leaf.
    bool read_lone_leaf() const {
        const GasCompressedNode& node = m_nodes[0];
        constexpr unsigned both = GasCompressedNode::first_leaf | GasCompressedNode::second_leaf;
        return has_right_flags(node) && (node.flags & both) == both && node.children[0] == 0 &&
               node.children[1] == 0;
    }

    void add(const GasCompressedNodeReader&) {}
    static const char* find_flaw() { return nullptr; }

  private:
    static bool has_right_flags(const GasCompressedNode& node) {
        constexpr unsigned all = GasCompressedNode::first_leaf | GasCompressedNode::second_leaf |
                                 GasCompressedNode::order_mask;
        return (node.flags & ~all) == 0 && (node.flags >> GasCompressedNode::order_shift & 3) != 3;
    }

    const GasCompressedNode* m_nodes;
    unsigned m_node_count;
};

/// Walks a tree of unknown nodes from its root: every inner node and every leaf's position is met
/// once, and no path is longer than the tree says it is. Threads take subtrees.
template <typename Reader> class GasNodeCheck {
  public:
    template <typename Arrays>
    GasNodeCheck(const Arrays& arrays, GasBuildTeam& team)
        : m_leaf_count(arrays.leaf_count), m_depth(arrays.depth), m_team(team), m_reader(arrays),
          m_found(arrays), m_used_nodes(arrays.get_node_count()), m_used_leaves(arrays.leaf_count) {
    }

    const char* run() {
        constexpr const char* wrong_depth = "says that its tree has another depth than it has";
        constexpr const char* wrong_node = "has a node that no tree has";
        if (m_leaf_count == 1) {
            if (!m_found.read_lone_leaf())
                return wrong_node;
            return m_depth == 1 ? nullptr : wrong_depth;
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
        if (m_flaw.is_found())
            return m_flaw.get();
        // Each was met once, so these are all.
        if (m_inner_count != m_leaf_count - 1)
            return wrong_node;
        if (m_found_depth != m_depth)
            return wrong_depth;
        return m_found.find_flaw();
    }
    /// What was read.
    const Reader& get_reader() const { return m_found; }

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
        if (!walk.reader.read(next.inner, children))
            return m_flaw.find("has a node that no tree has");
        ++walk.inner_count;
        if (walk.depth < next.child_level)
            walk.depth = next.child_level;
        for (unsigned child = 2; child-- > 0;) {
            const unsigned reference = children.references[child];
            if (children.are_leaves[child]) {
                if (reference >= m_leaf_count || !m_used_leaves.use(reference))
                    return m_flaw.find("has a leaf that stands for no item, or for another's");
            } else {
                if (!m_used_nodes.use(reference))
                    return m_flaw.find("has a node with two parents");
                walk.pending.push_back({reference, next.child_level + 1});
            }
        }
    }

    void walk_from(const Pending& root) noexcept {
        try {
            Walk walk = {m_reader, {root}, 0, 0};
            while (!walk.pending.empty() && !m_flaw.is_found()) {
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
    GasBuildTeam& m_team;
    /// One that has read nothing, and all that others have.
    const Reader m_reader;
    Reader m_found;
    GasUsedNumbers m_used_nodes;
    GasUsedNumbers m_used_leaves;
    GasFileFlaw m_flaw;
    std::atomic<bool> m_is_memory_short = false;
    std::mutex m_mutex;
    unsigned m_inner_count = 0;
    unsigned m_found_depth = 0;
};

} // namespace gas_abi1
