#pragma once

#include <cstddef>

#include <gas/traversal/gas_wide_node.h>
#include <gas/tree/gas_tree.h>

/// The wide nodes of a GasTree: its boxes once more, four to a record. Which binary nodes become
/// wide ones is chosen by surface area, so that rays visit as few as possible.
class GasWideNodes {
  public:
    /// Over the nodes of a tree with at least two leaves.
    GasWideNodes(const GasTree::Node* nodes, unsigned node_count);
    GasWideNodes(const GasWideNodes&) = delete;
    GasWideNodes& operator=(const GasWideNodes&) = delete;
    ~GasWideNodes();

    /// Takes the boxes of the same nodes, changed.
    void refit(const GasTree::Node* nodes);

    /// The root first, every node before those below it.
    const GasWideNode* get_nodes() const { return m_nodes; }
    unsigned get_count() const { return m_count; }
    /// Whether every box has min <= max (no NaN): only then is the entry distance of a skipped
    /// parent the nearest of its children's, which walks of wide nodes rely on.
    bool are_boxes_ordered() const { return m_are_boxes_ordered; }

    /// The binary nodes in the lanes of wide node `wide`; `no_node` where there is none.
    static constexpr unsigned no_node = 0xFFFFFFFFu;
    void get_lanes(const GasTree::Node* nodes, unsigned wide, unsigned (&lanes)[4]) const;

    std::size_t get_memory_size() const;

  private:
    void* m_memory = nullptr;
    GasWideNode* m_nodes = nullptr;
    unsigned m_count = 0;
    bool m_are_boxes_ordered = false;
};

/// The wide nodes of one motion-blur sample.
struct GasWideSample {
    explicit GasWideSample(unsigned node_count);
    GasWideSample(const GasWideSample&) = delete;
    GasWideSample& operator=(const GasWideSample&) = delete;
    ~GasWideSample();

    /// Takes the sample's boxes, one for each of the tree's nodes.
    void fill(const GasWideNodes& wide_nodes, const GasTree::Node* nodes,
              const GMathBbox3<float>* boxes);

    std::size_t get_memory_size() const;

    void* memory = nullptr;
    GasWideSampleNode* nodes = nullptr;
    unsigned count = 0;
    /// Whether every box is finite and has min <= max, as GasWideNodes asks; a box that reaches to
    /// infinity could not be blended.
    bool are_boxes_ordered = false;
};
