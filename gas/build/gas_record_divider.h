// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/build/gas_record_bins.h>
#include <gas/build/gas_record_partition.h>
#include <gas/split/gas_split_methods.h>

inline namespace gas_abi1 {

/// Two halves of a part's records, with the bounds of their centres.
struct GasDivision {
    unsigned left_count;
    GasLaneBox left;
    GasLaneBox right;
};

inline GasLaneBox gas_get_record_bounds(const GasRecord* records, unsigned count) {
    GasLaneBox bounds = GasLaneBox::get_empty();
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
    GasLaneBox get_bounds(const GasRecord* records, unsigned count) const {
        return gas_get_record_bounds(records, count);
    }
};

/// The records of a part of more than `gas_small_count` items, or of 3 and more by the median, as
/// the methods of gas_split_methods.h take them.
template <typename Passes> class GasRecordItems {
  public:
    GasRecordItems(const Passes& passes, GasRecord* records, unsigned count, unsigned* numbers,
                   const GasLaneBox& bounds)
        : m_passes(passes), m_records(records), m_count(count), m_numbers(numbers),
          m_bounds(bounds) {}

    static constexpr bool is_exact() { return false; }
    GMathBbox3<float> get_center_bounds() const { return m_bounds.to_box(); }

    /// Tries the 15 planes between 16 bins.
    template <typename Wins>
    void try_axis(unsigned axis, const GMathBbox3<float>& bounds, const Wins& wins,
                  GasBestCut& best) const {
        const float low = bounds.min[axis];
        const double extent = static_cast<double>(bounds.max[axis] - low);
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

    /// A one-sided plane is replaced by halves.
    GasDivision divide(const GasCut& cut) const {
        if (cut.kind == GasCut::Kind::halves_all_below)
            return {m_count / 2, m_bounds, m_bounds}; // not looked at again
        if (cut.kind == GasCut::Kind::plane) {
            const GasRecordSides sides =
                m_passes.partition(m_records, m_count, cut.axis, cut.position, m_numbers);
            if (sides.low_count != 0 && sides.low_count != m_count)
                return {sides.low_count, sides.low, sides.high};
        }
        const unsigned left_count = m_count / 2;
        return {left_count, m_passes.get_bounds(m_records, left_count),
                m_passes.get_bounds(m_records + left_count, m_count - left_count)};
    }

  private:
    const Passes& m_passes;
    GasRecord* m_records;
    unsigned m_count;
    unsigned* m_numbers;
    GasLaneBox m_bounds;
};

} // namespace gas_abi1
