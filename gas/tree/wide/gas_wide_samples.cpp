#include <gas/tree/wide/gas_wide_samples.h>

#include <cfloat>
#include <cstring>
#include <limits>

#include <gas/tree/wide/gas_wide_lane_boxes.h>

inline namespace gas_abi1 {

GasWideSamples::GasWideSamples(unsigned node_count, unsigned sample_count)
    : m_node_count(node_count), m_sources(new Source[sample_count]) {
    const std::size_t size =
        std::size_t{node_count} * GasWideSampleRecords::get_record_size(sample_count);
    m_records = GasWideSampleRecords(
        gas_allocate_aligned(size, GasWideSampleRecords::alignment, m_memory), sample_count);
}

GasWideSamples::~GasWideSamples() { sys_aligned_free(m_memory); }

void GasWideSamples::take(const GasWideSamples& other) {
    for (unsigned node = 0; node < m_node_count; ++node)
        std::memcpy(m_records.get_references(node), other.m_records.get_references(node),
                    GasWideNode::width * sizeof(unsigned));
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

void GasWideSamples::fill(unsigned sample, GasWideCursor& cursor, const GasWideNodes& wide_nodes,
                          const GMathBbox3<float>* sample_boxes, unsigned first_node) {
    constexpr float unbounded = std::numeric_limits<float>::infinity();
    const GasSampleBoxes source = {sample_boxes};
    GasWideLaneBoxes lanes;
    SimdF finite = lanes.ordered;
    gas_advance_wide(cursor, wide_nodes.get_nodes(), first_node, [&](unsigned i) {
        const GasWideNode& wide = wide_nodes.get_nodes()[i];
        gas_prefetch_ahead(m_records.get_record(0), m_records.get_record_size(), i);
        const unsigned half = wide.first_child;
        const SimdF first_min = source.get_min(half);
        const SimdF first_max = source.get_max(half);
        const SimdF second_min = source.get_min(half + 1);
        const SimdF second_max = source.get_max(half + 1);
        const SimdF min_xy = SimdF::interleave_low(first_min, second_min);
        const SimdF max_xy = SimdF::interleave_low(first_max, second_max);
        // Each store but the last is half covered by the next; behind the last lie other samples.
        float half_planes[4][GasWideNode::width];
        min_xy.store(half_planes[0]);
        max_xy.store(half_planes[0] + 2);
        min_xy.move_high().store(half_planes[1]);
        max_xy.move_high().store(half_planes[1] + 2);
        SimdF::interleave_high(first_min, second_min).store(half_planes[2]);
        SimdF::interleave_high(first_max, second_max).store(half_planes[2] + 2);
        std::memcpy(m_records.get_half_planes(i, sample), half_planes,
                    GasWideSampleRecords::half_planes_size);
        lanes.gather(wide, source, FLT_MAX);
        lanes.store(m_records.get_planes(i, sample));
        std::memcpy(m_records.get_references(i), wide.references, sizeof wide.references);
        finite = finite & (first_max < SimdF(unbounded)) & (second_max < SimdF(unbounded)) &
                 (SimdF(-unbounded) < first_min) & (SimdF(-unbounded) < second_min);
    });
    cursor.are_boxes_ordered =
        cursor.are_boxes_ordered && lanes.are_ordered() && (finite.get_mask() & 7) == 7;
    if (first_node == 0)
        m_sources[sample] = {sample_boxes, cursor.are_boxes_ordered};
}

std::size_t GasWideSamples::get_memory_size() const {
    return sizeof(GasWideSamples) + get_sample_count() * sizeof(Source) +
           std::size_t{m_node_count} * m_records.get_record_size() +
           GasWideSampleRecords::alignment;
}

} // namespace gas_abi1
