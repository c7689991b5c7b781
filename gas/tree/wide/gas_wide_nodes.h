#pragma once

#include <cstddef>

#include <gas/build/gas_tree_node.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

class GasWideChoice;

/// How far a pass over wide nodes, from the last to the first, has come.
struct GasWideProgress {
    /// Wide nodes that wait for their turn; none after the last step.
    unsigned waiting = 0;
    /// Whether all boxes of the wide nodes that had theirs are in order; false before the first.
    bool are_boxes_ordered = false;
};

/// The wide nodes of a GasTree: its boxes once more, four to a record. Which binary nodes become
/// wide ones is chosen by surface area, so that rays visit as few as possible.
class GasWideNodes {
  public:
    /// Over the nodes of a tree with at least two leaves.
    GasWideNodes(const GasTreeNode* nodes, unsigned node_count);
    GasWideNodes(const GasWideNodes&) = delete;
    GasWideNodes& operator=(const GasWideNodes&) = delete;
    ~GasWideNodes();

    /// Takes the boxes of the same nodes, changed, as far as they are there: those of `first_node`
    /// and the nodes behind. Called for blocks of nodes from the last to the first, so that each is
    /// still in the cache; the last call's `first_node` is 0.
    void refit(const GasTreeNode* nodes, unsigned first_node);

    /// The root first, every node before those below it.
    const GasWideNode* get_nodes() const { return m_nodes; }
    unsigned get_count() const { return m_count; }
    /// Whether every box has min <= max (no NaN): only then is the entry distance of a skipped
    /// parent the nearest of its children's, which walks of wide nodes rely on.
    bool are_boxes_ordered() const { return m_progress.are_boxes_ordered; }

    std::size_t get_memory_size() const;

  private:
    struct Waiting;

    /// Makes all wide nodes. `waiting` is scratch for as many, for no more can wait than have no
    /// place yet.
    void place(const GasTreeNode* nodes, const GasWideChoice& choice, Waiting* waiting);

    void* m_memory = nullptr;
    GasWideNode* m_nodes = nullptr;
    unsigned m_count = 0;
    GasWideProgress m_progress;
};

/// The wide nodes of one motion-blur sample.
struct GasWideSample {
    explicit GasWideSample(unsigned node_count);
    GasWideSample(const GasWideSample&) = delete;
    GasWideSample& operator=(const GasWideSample&) = delete;
    ~GasWideSample();

    /// Takes the sample's boxes, one for each of the tree's nodes, step by step as
    /// GasWideNodes::refit does.
    void fill(const GasWideNodes& wide_nodes, const GMathBbox3<float>* boxes, unsigned first_node);

    /// Whether every box is finite and has min <= max, as GasWideNodes asks; a box that reaches to
    /// infinity could not be blended.
    bool are_boxes_ordered() const { return progress.are_boxes_ordered; }

    std::size_t get_memory_size() const;

    void* memory = nullptr;
    GasWideSampleNode* nodes = nullptr;
    unsigned count = 0;
    GasWideProgress progress;
};

} // namespace gas_abi1
