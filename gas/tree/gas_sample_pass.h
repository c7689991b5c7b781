// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include <gas/core/gas_numeric.h>
#include <gas/tree/gas_upward_pass.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>
#include <gas/tree/wide/gas_wide_pass.h>
#include <gas/tree/wide/gas_wide_samples.h>

inline namespace gas_abi1 {

/// Filling a motion-blur sample. Memory bounds it: other instruction sets take as long.

/// Where the records of wide nodes take their boxes in a sample.
class GasSampleRecords {
  public:
    explicit GasSampleRecords(const GasSampleRefit& refit)
        : m_wide_nodes(refit.wide_nodes), m_source{refit.boxes}, m_records(refit.records),
          m_half_planes(m_records.find_half_planes(refit.sample)),
          m_planes(m_records.find_planes(refit.sample)), m_references(m_records.find_references()),
          m_has_references(refit.has_references) {}

    /// Fills record `i`, whose boxes are there; asks for what comes a while after it.
    GAS_FORCE_INLINE void fill(unsigned i) const {
        fetch(gas_get_ahead(i));
        const GasWideNode& wide = m_wide_nodes[i];
        char* const record = m_records.get_record(i);
        // A row along each axis: the mins of both halves and their maxs.
        const unsigned half = wide.first_child;
        auto* const half_planes = reinterpret_cast<float*>(record + m_half_planes);
        constexpr unsigned width = GasWideNode::width;
        gas_store_rows({m_source.get_min(half), m_source.get_min(half + 1), m_source.get_max(half),
                        m_source.get_max(half + 1)},
                       half_planes, half_planes + width, half_planes + 2 * width);
        GasWideLaneBoxes boxes;
        boxes.gather(wide, m_source);
        boxes.store(reinterpret_cast<float*>(record + m_planes));
        if (!m_has_references)
            std::memcpy(record + m_references, wide.references, sizeof wide.references);
    }

  private:
    GAS_FORCE_INLINE void fetch(unsigned i) const {
        // Of a wide node only what stands behind the planes is read, in its second cache line.
        gas_prefetch(&m_wide_nodes[i].references);
        const char* const record = m_records.get_record(i);
        gas_prefetch(record + m_half_planes);
        gas_prefetch(record + m_half_planes + GasWideSampleRecords::half_planes_size - 1);
        gas_prefetch(record + m_planes);
        gas_prefetch(record + m_planes + GasWideSampleRecords::planes_size - 1);
    }

    const GasWideNode* m_wide_nodes;
    GasSampleBoxes m_source;
    GasWideSampleRecords m_records;
    std::size_t m_half_planes;
    std::size_t m_planes;
    std::size_t m_references;
    bool m_has_references;
};

/// Gives `box` the union of two siblings' boxes, as gas_unite does. Its floats are stored as they
/// are loaded here, four and then one by one: a load across two stores waits until both are done.
GAS_FORCE_INLINE void gas_unite_siblings(const GMathBbox3<float>* siblings,
                                         GMathBbox3<float>& box) {
    const SimdF first = SimdF::load_unaligned(&siblings[0].min.x);
    const SimdF second = SimdF::load_unaligned(&siblings[1].min.x);
    const SimdF smaller = SimdF::select(first >= second, second, first);
    SimdF::select(SimdF::s_mask_xyz, smaller, SimdF::max(first, second)).store(&box.min.x);
    box.max.y = gas_max(siblings[0].max.y, siblings[1].max.y);
    box.max.z = gas_max(siblings[0].max.z, siblings[1].max.z);
}

/// Whether every item's box has min <= max, here and below.
inline bool gas_refit_sample(const GasSampleRefit& refit) {
    GMathBbox3<float>* const boxes = refit.boxes;
    const GasTreeNode* const nodes = refit.nodes;
    const GMathBbox3<float>* const bboxes = refit.bboxes;
    const GasWideNode* const wide_nodes = refit.wide_nodes;
    unsigned wide_count = refit.wide_count;
    const GasSampleRecords records(refit);
    GasBoxOrder order;
    gas_pass_upwards(
        nodes, refit.node_count, bboxes,
        [boxes, nodes, bboxes, &order](unsigned i) GAS_FORCE_INLINE_LAMBDA {
            const GMathBbox3<float>& box = bboxes[nodes[i].index];
            order.add(SimdF::load_unaligned(&box.min.x),
                      SimdF::load_unaligned(&box.min.z).move_down());
            boxes[i] = box;
        },
        [boxes, nodes](unsigned i)
            GAS_FORCE_INLINE_LAMBDA { gas_unite_siblings(boxes + nodes[i].index, boxes[i]); },
        [&](unsigned first_node) GAS_FORCE_INLINE_LAMBDA {
            gas_advance_wide(wide_count, wide_nodes, first_node,
                             [&](unsigned i) GAS_FORCE_INLINE_LAMBDA { records.fill(i); });
        });
    return order.is_kept();
}

/// The same where the sample has its boxes already.
inline bool gas_fill_sample_records(const GasSampleRefit& refit) {
    GasBoxOrder order;
    for (unsigned i = 0; i < refit.node_count; ++i) {
        const GasLaneBox box = GasLaneBox::load(refit.boxes[i]);
        order.add(box.min, box.max);
    }
    const GasSampleRecords records(refit);
    for (unsigned i = refit.wide_count; i-- > 0;)
        records.fill(i);
    return order.is_kept();
}

} // namespace gas_abi1
