#include <gas/tree/gas_record_build.h>

#include <cfloat>
#include <cstring>

#include <gas/tree/gas_node_union.h>
#include <gas/tree/gas_record_bins.h>
#include <gas/tree/gas_split_items.h>
#include <gas/tree/gas_split_sah.h>

namespace {

GasLaneBounds get_center_bounds(const GasRecord* records, unsigned count) {
    GasLaneBounds bounds = gas_no_bounds();
    for (unsigned i = 0; i < count; ++i)
        bounds.add(gas_record_center(records[i]));
    return bounds;
}

struct Division {
    unsigned left_count;
    GasLaneBounds left;
    GasLaneBounds right;
};

class Divider {
  public:
    Divider(const GasRecordBuild& build, const GasBuildPart& part)
        : m_records(build.records + part.offset), m_numbers(build.numbers + part.offset),
          m_count(part.count), m_lanes(part.bounds), m_bounds(gas_to_box(part.bounds)) {}

    Division divide_at_median() const {
        const unsigned axis = gas_widest_axis(m_bounds);
        const float position = (m_bounds.min[axis] + m_bounds.max[axis]) * 0.5f;
        const float extent = m_bounds.max[axis] - m_bounds.min[axis];
        if (position > FLT_MAX || extent > FLT_MAX || !gas_is_divisible(extent))
            return halve();
        return partition(axis, position);
    }

    Division divide_fast() const {
        const unsigned axis = gas_widest_axis(m_bounds);
        // Whatever lies within has no larger extents, so it is not looked at again.
        if (!gas_is_divisible(m_bounds.max[axis] - m_bounds.min[axis]))
            return {m_count / 2, m_lanes, m_lanes};
        GasSahCut best;
        try_axis(axis, best, GasWinsIfCheaper());
        return best.has_won() ? partition(axis, best.position) : halve();
    }

    Division divide_fully() const {
        GasSahCut best;
        for (unsigned axis = 0; axis < 3; ++axis) {
            if (gas_is_divisible(m_bounds.max[axis] - m_bounds.min[axis]))
                try_axis(axis, best, GasWinsUnlessWorse());
        }
        return best.has_won() ? partition(best.axis, best.position) : halve();
    }

  private:
    /// As gas_try_binned_axis.
    template <typename Wins> void try_axis(unsigned axis, GasSahCut& best, const Wins& wins) const {
        const float low = m_bounds.min[axis];
        const double extent = static_cast<double>(m_bounds.max[axis] - low);
        const float scale = static_cast<float>(static_cast<double>(gas_sah_bin_scale) / extent);
        GasRecordBins bins;
        gas_fill_bins(m_records, m_count, {gas_coordinates[axis], low, scale}, bins);

        double costs[GasRecordBins::count];
        gas_compute_plane_costs(
            bins.min, bins.max, GasRecordBins::count,
            [&](unsigned bin) { return gas_bin_count(bins.counts[bin]); }, costs);
        const float width = static_cast<float>(extent * 0.0625);
        for (unsigned plane = 1; plane < GasRecordBins::count; ++plane) {
            if (wins(costs[plane], best.cost)) {
                best.cost = costs[plane];
                best.axis = axis;
                best.position = static_cast<float>(plane) * width + low;
            }
        }
    }

    Division partition(unsigned axis, float position) const {
        const GasRecordSides sides =
            gas_partition_records(m_records, m_count, axis, position, m_numbers);
        if (sides.low_count == 0 || sides.low_count == m_count)
            return halve();
        return {sides.low_count, sides.low, sides.high};
    }

    Division halve() const {
        const unsigned left_count = m_count / 2;
        return {left_count, get_center_bounds(m_records, left_count),
                get_center_bounds(m_records + left_count, m_count - left_count)};
    }

    GasRecord* m_records;
    unsigned* m_numbers;
    unsigned m_count;
    GasLaneBounds m_lanes;
    GMathBbox3<float> m_bounds;
};

Division divide(const GasRecordBuild& build, const GasBuildPart& part) {
    const Divider divider(build, part);
    switch (build.method) {
    case GasBuildMethod::median:
        return divider.divide_at_median();
    case GasBuildMethod::hybrid:
        return part.count > gas_hybrid_sah_limit ? divider.divide_at_median()
                                                 : divider.divide_fast();
    case GasBuildMethod::sah:
        return divider.divide_fully();
    case GasBuildMethod::sah_fast:
        break;
    }
    return divider.divide_fast();
}

void count_leaves(GasRecordBuild& build, unsigned count) {
    for (unsigned i = 0; i < count; ++i)
        build.progress_bar->increment_if_step(++build.built_leaf_count);
}

} // namespace

bool gas_make_records(const GMathBbox3<float>* bboxes, unsigned first, unsigned count,
                      GasRecord* records, GasLaneBounds& bounds) {
    SimdF numbers = SimdF(0.0f) <= SimdF(0.0f);
    for (unsigned item = first; item < first + count; ++item) {
        // A box's six floats in two overlapping loads.
        const float* coordinates = &bboxes[item].min.x;
        const SimdF min = SimdF::load_unaligned(coordinates) & SimdF::s_mask_xyz;
        const SimdF max = SimdF::load_unaligned(coordinates + 2).move_down() & SimdF::s_mask_xyz;
        const SimdF center = (min + max) * SimdF(0.5f);
        numbers = numbers & (center <= center);
        bounds.add(center);
        gas_store_node(records[item], min, max, item, GasTree::Node::leaf_flag);
    }
    return numbers.get_mask() == 15;
}

void gas_divide_part(GasRecordBuild& build, const GasBuildPart& part, GasBuildPart& first,
                     GasBuildPart& second) {
    const Division division = divide(build, part);
    const unsigned left_count = division.left_count;
    const unsigned depth = part.depth + 1;
    if (build.depth < depth)
        build.depth = depth;
    first = {part.offset, left_count, part.below, part.below + 2, depth, division.left};
    second = {part.offset + left_count,
              part.count - left_count,
              part.below + 1,
              part.below + 2 * left_count,
              depth,
              division.right};

    GasTree::Node& node = build.nodes[part.node];
    node.index = part.below;
    std::memcpy(&node.bbox_min.x, &build.last_open, sizeof build.last_open);
    build.last_open = part.node;
}

void gas_build_part(GasRecordBuild& build, const GasBuildPart& part) {
    const unsigned small_count = build.method == GasBuildMethod::median ? 2 : gas_small_count;
    // The smaller child goes first, so that what waits at least halves from one to the next.
    GasBuildPart waiting[32];
    unsigned waiting_count = 0;
    GasBuildPart now = part;
    for (;;) {
        if (now.count <= small_count) {
            gas_build_small(build, now);
            if (build.progress_bar)
                count_leaves(build, now.count);
            if (waiting_count == 0)
                break;
            now = waiting[--waiting_count];
            continue;
        }
        GasBuildPart& later = waiting[waiting_count++];
        GasBuildPart first;
        gas_divide_part(build, now, first, later);
        if (first.count > later.count) {
            now = later;
            later = first;
        } else {
            now = first;
        }
    }
}

void gas_close_nodes(GasRecordBuild& build) {
    while (build.last_open != UINT_MAX) {
        GasTree::Node& node = build.nodes[build.last_open];
        std::memcpy(&build.last_open, &node.bbox_min.x, sizeof build.last_open);
        gas_unite_nodes(node, build.nodes[node.index], build.nodes[node.index + 1], node.index, 0);
    }
}
