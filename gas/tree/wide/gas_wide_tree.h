// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <gas/isa/gas_refit_function.h>
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
    /// Takes wide nodes that were made elsewhere; samples may be null.
    void take(std::unique_ptr<GasWideNodes> nodes, std::unique_ptr<GasWideSamples> samples);
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
    /// All that there is, walked or not; null where there are none.
    const GasWideNodes* find_nodes() const { return m_nodes.get(); }
    const GasWideSamples* find_samples() const { return m_samples.get(); }

    /// A refit of the tree's nodes, wide ones included, and what follows it: whether every item's
    /// box has min <= max, and then whether no centre is a NaN.
    GasNodeRefit get_refit(GasTreeNode* nodes, unsigned node_count,
                           const GMathBbox3<float>* bboxes) const;
    void end_refit(bool are_boxes_ordered, bool have_boxes_centers);

    /// Makes room for `count` samples; all that can fail of filling one.
    void reserve_samples(unsigned count);
    /// The same for the boxes of a sample.
    GasSampleRefit get_sample_refit(const GasTreeNode* nodes, unsigned node_count,
                                    const GMathBbox3<float>* bboxes, unsigned sample,
                                    GMathBbox3<float>* boxes) const;
    void end_sample(const GasSampleRefit& refit, bool are_boxes_ordered);
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
