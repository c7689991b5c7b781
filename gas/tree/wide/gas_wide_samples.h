// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <gas/tree/wide/gas_wide_nodes.h>

inline namespace gas_abi1 {

/// What filling a motion-blur sample takes and where it goes.
struct GasSampleRefit {
    const GasTreeNode* nodes;
    unsigned node_count;
    /// The items' boxes; null where the nodes have theirs.
    const GMathBbox3<float>* bboxes;
    /// One for each node, and a float that is read behind them.
    GMathBbox3<float>* boxes;
    /// Null where there are none, and then there are no records.
    const GasWideNode* wide_nodes;
    unsigned wide_count;
    GasWideSampleRecords records;
    /// Whether the records have their references, from another sample.
    bool has_references;
    unsigned sample;
};

/// The boxes of a GasTree's wide nodes in its motion-blur samples.
class GasWideSamples {
  public:
    /// Room for `sample_count` samples, none of which is filled.
    GasWideSamples(unsigned node_count, unsigned sample_count);
    /// The same with records that lie elsewhere, and longer than this does.
    GasWideSamples(unsigned node_count, const GasWideSampleRecords& records);
    GasWideSamples(const GasWideSamples&) = delete;
    GasWideSamples& operator=(const GasWideSamples&) = delete;
    ~GasWideSamples();

    const GasWideSampleRecords& get_records() const { return m_records; }
    /// Whether the records have their references, which all samples share.
    bool has_references() const { return m_has_references; }
    unsigned get_sample_count() const { return m_records.get_sample_count(); }

    /// Whether a sample was filled from `boxes`, and each of these is finite and has min <= max, as
    /// GasWideNodes asks; a box that reaches to infinity could not be blended.
    bool has(unsigned sample, const GMathBbox3<float>* boxes) const {
        return sample < get_sample_count() && m_sources[sample].boxes == boxes &&
               m_sources[sample].are_boxes_ordered;
    }

    /// Takes over what `other`, with samples of the same nodes, has of the first samples.
    void take(const GasWideSamples& other);
    /// Forgets the samples from `count` on. False: none is left.
    bool drop(unsigned count);

    /// The sample's records are filled from `boxes`, one for each of the tree's nodes, the root's
    /// first; whether each item's has min <= max.
    void set(unsigned sample, const GMathBbox3<float>* boxes, bool are_boxes_ordered);

    std::size_t get_memory_size() const;

  private:
    struct Source {
        /// Null until the sample is filled.
        const GMathBbox3<float>* boxes = nullptr;
        bool are_boxes_ordered = false;
    };

    unsigned m_node_count;
    bool m_has_references = false;
    std::unique_ptr<Source[]> m_sources;
    void* m_memory = nullptr;
    GasWideSampleRecords m_records;
};

} // namespace gas_abi1
