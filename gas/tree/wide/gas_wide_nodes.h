// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/build/gas_tree_node.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

class GasParallelBuild;
class GasWideCollapse;

/// The wide nodes of a GasTree: its boxes once more, four to a record. Which binary nodes become
/// wide ones is chosen by surface area, so that rays visit as few as possible.
class GasWideNodes {
  public:
    /// Over the nodes of a tree with at least two leaves; with `parallel`, whose build the tree is
    /// of, on its threads.
    GasWideNodes(const GasTreeNode* nodes, unsigned node_count, GasParallelBuild* parallel);
    /// Over `count` wide nodes that lie elsewhere, and longer than this does.
    GasWideNodes(GasWideNode* nodes, unsigned count, bool are_boxes_ordered)
        : m_nodes(nodes), m_count(count), m_are_boxes_ordered(are_boxes_ordered) {}
    GasWideNodes(const GasWideNodes&) = delete;
    GasWideNodes& operator=(const GasWideNodes&) = delete;
    ~GasWideNodes();

    /// The root first, every node before those below it.
    GasWideNode* get_nodes() const { return m_nodes; }
    unsigned get_count() const { return m_count; }
    /// Whether every box has min <= max (no NaN): only then is the entry distance of a skipped
    /// parent the nearest of its children's, which walks of wide nodes rely on.
    bool are_boxes_ordered() const { return m_are_boxes_ordered; }
    /// After a refit.
    void set_boxes_ordered(bool ordered) { m_are_boxes_ordered = ordered; }

    std::size_t get_memory_size() const;

  private:
    struct Pending;
    struct Subtree;
    class Placing;

    void* m_memory = nullptr;
    GasWideNode* m_nodes = nullptr;
    unsigned m_count = 0;
    bool m_are_boxes_ordered = false;
};

} // namespace gas_abi1
