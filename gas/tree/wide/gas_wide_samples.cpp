// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/wide/gas_wide_samples.h>

#include <cstring>
#include <limits>

#include <gas/core/gas_lane_box.h>
#include <gas/tree/wide/gas_wide_pass.h>

inline namespace gas_abi1 {

GasWideSamples::GasWideSamples(unsigned node_count, unsigned sample_count)
    : m_node_count(node_count), m_sources(new Source[sample_count]) {
    const std::size_t size =
        std::size_t{node_count} * GasWideSampleRecords::get_record_size(sample_count);
    m_records = GasWideSampleRecords(
        gas_allocate_aligned(size, GasWideSampleRecords::alignment, m_memory), sample_count);
}

GasWideSamples::GasWideSamples(unsigned node_count, const GasWideSampleRecords& records)
    : m_node_count(node_count), m_sources(new Source[records.get_sample_count()]),
      m_records(records) {}

GasWideSamples::~GasWideSamples() { sys_aligned_free(m_memory); }

void GasWideSamples::take(const GasWideSamples& other) {
    for (unsigned node = 0; node < m_node_count; ++node)
        std::memcpy(m_records.get_references(node), other.m_records.get_references(node),
                    GasWideNode::width * sizeof(unsigned));
    m_has_references = other.m_has_references;
    for (unsigned sample = 0; sample < get_sample_count(); ++sample) {
        if (sample >= other.get_sample_count() || !other.m_sources[sample].boxes)
            continue;
        for (unsigned node = 0; node < m_node_count; ++node) {
            std::memcpy(m_records.get_half_planes(node, sample),
                        other.m_records.get_half_planes(node, sample),
                        GasWideSampleRecords::half_planes_size);
            std::memcpy(m_records.get_planes(node, sample),
                        other.m_records.get_planes(node, sample),
                        GasWideSampleRecords::planes_size);
        }
        m_sources[sample] = other.m_sources[sample];
    }
}

bool GasWideSamples::drop(unsigned count) {
    bool is_any_left = false;
    for (unsigned sample = 0; sample < get_sample_count(); ++sample) {
        if (sample >= count)
            m_sources[sample] = {};
        is_any_left = is_any_left || m_sources[sample].boxes;
    }
    return is_any_left;
}

void GasWideSamples::set(unsigned sample, const GMathBbox3<float>* boxes, bool are_boxes_ordered) {
    // Boxes in order are finite where their union is.
    const SimdF infinity(std::numeric_limits<float>::infinity());
    const GasLaneBox root = GasLaneBox::load(boxes[0]);
    const SimdF is_finite = (SimdF(0.0f) - infinity < root.min) & (root.max < infinity);
    m_has_references = true;
    m_sources[sample] = {boxes, are_boxes_ordered && is_finite.get_mask() == 15};
}

std::size_t GasWideSamples::get_memory_size() const {
    return sizeof(GasWideSamples) + get_sample_count() * sizeof(Source) +
           std::size_t{m_node_count} * m_records.get_record_size() +
           GasWideSampleRecords::alignment;
}

} // namespace gas_abi1
