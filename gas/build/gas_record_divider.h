#pragma once

#include <cfloat>

#include <gas/build/gas_record_bins.h>
#include <gas/build/gas_record_build.h>
#include <gas/split/gas_split_items.h>
#include <gas/split/gas_split_sah.h>

inline namespace gas_abi1 {

/// The split functions over records: where they cut a part of more than `gas_small_count` items, or
/// of 3 and more by the median.

inline GasLaneBounds gas_get_center_bounds(const GasRecord* records, unsigned count) {
    GasLaneBounds bounds = gas_no_bounds();
    for (unsigned i = 0; i < count; ++i)
        bounds.add(gas_record_center(records[i]));
    return bounds;
}

/// The passes over a part's records, on the calling thread.
struct GasSerialPasses {
    void fill_bins(const GasRecord* records, unsigned count, const GasBinning& binning,
                   GasRecordBins& bins) const {
        gas_fill_bins(records, count, binning, bins);
    }
    GasRecordSides partition(GasRecord* records, unsigned count, unsigned axis, float position,
                             unsigned* numbers) const {
        return gas_partition_records(records, count, axis, position, numbers);
    }
    GasLaneBounds get_center_bounds(const GasRecord* records, unsigned count) const {
        return gas_get_center_bounds(records, count);
    }
};

template <typename Passes> class GasRecordDivider {
  public:
    GasRecordDivider(const Passes& passes, const GasRecordBuild& build, const GasBuildPart& part)
        : m_passes(passes), m_records(build.records + part.offset),
          m_numbers(build.numbers + part.offset), m_count(part.count), m_lanes(part.bounds),
          m_bounds(gas_to_box(part.bounds)) {}

    GasDivision divide_at_median() const {
        const unsigned axis = gas_widest_axis(m_bounds);
        const float position = (m_bounds.min[axis] + m_bounds.max[axis]) * 0.5f;
        const float extent = m_bounds.max[axis] - m_bounds.min[axis];
        if (position > FLT_MAX || extent > FLT_MAX || !gas_is_divisible(extent))
            return halve();
        return partition(axis, position);
    }

    GasDivision divide_fast() const {
        const unsigned axis = gas_widest_axis(m_bounds);
        // Whatever lies within has no larger extents, so it is not looked at again.
        if (!gas_is_divisible(m_bounds.max[axis] - m_bounds.min[axis]))
            return {m_count / 2, m_lanes, m_lanes};
        GasSahCut best;
        try_axis(axis, best, GasWinsIfCheaper());
        return best.has_won() ? partition(axis, best.position) : halve();
    }

    GasDivision divide_fully() const {
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
        m_passes.fill_bins(m_records, m_count, {gas_coordinates[axis], low, scale}, bins);

        double costs[GasRecordBins::count];
        gas_compute_plane_costs(bins, GasRecordBins::count, costs);
        const float width = static_cast<float>(extent * 0.0625);
        for (unsigned plane = 1; plane < GasRecordBins::count; ++plane) {
            if (wins(costs[plane], best.cost)) {
                best.cost = costs[plane];
                best.axis = axis;
                best.position = static_cast<float>(plane) * width + low;
            }
        }
    }

    GasDivision partition(unsigned axis, float position) const {
        const GasRecordSides sides =
            m_passes.partition(m_records, m_count, axis, position, m_numbers);
        if (sides.low_count == 0 || sides.low_count == m_count)
            return halve();
        return {sides.low_count, sides.low, sides.high};
    }

    GasDivision halve() const {
        const unsigned left_count = m_count / 2;
        return {left_count, m_passes.get_center_bounds(m_records, left_count),
                m_passes.get_center_bounds(m_records + left_count, m_count - left_count)};
    }

    const Passes& m_passes;
    GasRecord* m_records;
    unsigned* m_numbers;
    unsigned m_count;
    GasLaneBounds m_lanes;
    GMathBbox3<float> m_bounds;
};

/// Divides a part's records as the build's method says.
template <typename Passes>
GasDivision gas_divide_records(const Passes& passes, const GasRecordBuild& build,
                               const GasBuildPart& part) {
    const GasRecordDivider<Passes> divider(passes, build, part);
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

} // namespace gas_abi1
