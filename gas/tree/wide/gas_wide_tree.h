#pragma once

#include <memory>

#include <gas/tree/wide/gas_wide_samples.h>

inline namespace gas_abi1 {

/// What a GasTree keeps beside its nodes, and its copies share with it: whether the boxes are
/// ordered, and the wide nodes with those of the motion-blur samples, where they are wanted.
class GasWideTree {
  public:
    /// Whether every box has min <= max and a centre that is no NaN.
    bool are_boxes_ordered() const { return m_are_boxes_ordered; }
    void set_boxes_ordered(bool ordered) { m_are_boxes_ordered = ordered; }

    /// Makes wide nodes over a tree of two leaves or more, unless they are there. `parallel`: the
    /// build that the tree is just out of; null: on the calling thread.
    void make_nodes(const GasTreeNode* nodes, unsigned node_count, GasParallelBuild* parallel);
    void drop_nodes();
    bool has_nodes() const { return m_nodes != nullptr; }

    /// The wide nodes where walks may take them, else null.
    const GasWideNode* get_nodes() const { return m_walked_nodes; }
    /// Whether walks may take them in a sample with these boxes; and their boxes in all samples,
    /// if there is such a one.
    bool has_sample(unsigned sample, const GMathBbox3<float>* boxes) const {
        return m_samples && m_samples->has(sample, boxes);
    }
    const GasWideSampleRecords& get_samples() const { return m_samples->get_records(); }

    /// A pass over the tree's nodes from the last to the first, after which wide nodes have their
    /// boxes: nothing to do where there are none.
    class Refit {
      public:
        Refit(GasWideTree& wide_tree, const GasTreeNode* nodes)
            : m_wide_tree(wide_tree),
              m_nodes(nodes), m_cursor{wide_tree.m_nodes ? wide_tree.m_nodes->get_count() : 0,
                                       true} {}

        /// The nodes from `first_node` on have their boxes; 0 ends the pass.
        void advance(unsigned first_node) {
            if (m_wide_tree.m_nodes)
                m_wide_tree.m_nodes->refit(m_cursor, m_nodes, first_node);
            if (first_node == 0)
                m_wide_tree.find_walked_nodes();
        }

      private:
        GasWideTree& m_wide_tree;
        const GasTreeNode* m_nodes;
        GasWideCursor m_cursor;
    };
    Refit begin_refit(const GasTreeNode* nodes) { return Refit(*this, nodes); }

    /// The same for the boxes of a sample.
    class SampleRefit {
      public:
        SampleRefit(const GasWideNodes* wide_nodes, GasWideSamples* samples, unsigned sample,
                    const GMathBbox3<float>* boxes)
            : m_wide_nodes(wide_nodes), m_samples(samples), m_sample(sample),
              m_boxes(boxes), m_cursor{wide_nodes ? wide_nodes->get_count() : 0, true} {}

        void advance(unsigned first_node) {
            if (m_wide_nodes)
                m_samples->fill(m_sample, m_cursor, *m_wide_nodes, m_boxes, first_node);
        }

      private:
        const GasWideNodes* m_wide_nodes;
        GasWideSamples* m_samples;
        unsigned m_sample;
        const GMathBbox3<float>* m_boxes;
        GasWideCursor m_cursor;
    };
    /// Makes room for `count` samples; all that can fail of filling one.
    void reserve_samples(unsigned count);
    SampleRefit begin_sample(unsigned sample, const GMathBbox3<float>* boxes) {
        return SampleRefit(m_nodes.get(), m_samples.get(), sample, boxes);
    }
    /// Drops the samples from `count` on; their memory goes with the last one, or when another is
    /// filled.
    void drop_samples(unsigned count) {
        if (m_samples && !m_samples->drop(count))
            m_samples.reset();
    }

    /// Bytes of the wide nodes and their samples.
    std::size_t get_memory_size() const;

  private:
    void find_walked_nodes() {
        const bool is_walked = m_nodes && m_nodes->are_boxes_ordered();
        m_walked_nodes = is_walked ? m_nodes->get_nodes() : nullptr;
    }

    const GasWideNode* m_walked_nodes = nullptr;
    bool m_are_boxes_ordered = false;
    std::unique_ptr<GasWideNodes> m_nodes;
    /// Null where none was filled.
    std::unique_ptr<GasWideSamples> m_samples;
};

} // namespace gas_abi1
