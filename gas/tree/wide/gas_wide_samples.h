#pragma once

#include <memory>

#include <gas/tree/wide/gas_wide_nodes.h>

inline namespace gas_abi1 {

/// The boxes of a GasTree's wide nodes in its motion-blur samples.
class GasWideSamples {
  public:
    /// Room for `sample_count` samples, none of which is filled.
    GasWideSamples(unsigned node_count, unsigned sample_count);
    GasWideSamples(const GasWideSamples&) = delete;
    GasWideSamples& operator=(const GasWideSamples&) = delete;
    ~GasWideSamples();

    const GasWideSampleRecords& get_records() const { return m_records; }
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

    /// A step of a pass that takes the boxes of a sample, one for each of the tree's nodes, as
    /// GasWideNodes::refit does.
    void fill(unsigned sample, GasWideCursor& cursor, const GasWideNodes& wide_nodes,
              const GMathBbox3<float>* sample_boxes, unsigned first_node);

    std::size_t get_memory_size() const;

  private:
    struct Source {
        /// Null until the first pass is through.
        const GMathBbox3<float>* boxes = nullptr;
        bool are_boxes_ordered = false;
    };

    unsigned m_node_count;
    std::unique_ptr<Source[]> m_sources;
    void* m_memory = nullptr;
    GasWideSampleRecords m_records;
};

} // namespace gas_abi1
