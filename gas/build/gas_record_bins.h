#pragma once

#include <gas/build/gas_record.h>
#include <gas/build/gas_record_partition.h>
#include <gas/split/gas_split_sah.h>

inline namespace gas_abi1 {

/// The surface area heuristic over records. Costs, winners and positions are those of
/// gas_split_sah.h to the last bit, except that the factor of 2 in every area, which changes no
/// comparison, is left out.

/// The boxes of bins.
struct GasRecordBins {
    static constexpr unsigned count = GasSahWorkspace::bin_count;

    SimdF min[count];
    SimdF max[count];
    unsigned counts[count];

    void clear() {
        const GasLaneBounds none = gas_no_bounds();
        for (unsigned i = 0; i < count; ++i) {
            min[i] = none.min;
            max[i] = none.max;
            counts[i] = 0;
        }
    }
    /// Counts of boxes are floats that stop at 2^24.
    float get_count(unsigned bin) const {
        constexpr unsigned limit = 1u << 24;
        return static_cast<float>(counts[bin] < limit ? counts[bin] : limit);
    }
    const SimdF& get_min(unsigned bin) const { return min[bin]; }
    const SimdF& get_max(unsigned bin) const { return max[bin]; }
    void add(const GasRecordBins& other) {
        for (unsigned i = 0; i < count; ++i) {
            min[i] = SimdF::min(other.min[i], min[i]);
            max[i] = SimdF::max(other.max[i], max[i]);
            counts[i] += other.counts[i];
        }
    }
};

/// Half the surface area of a box with this extent.
inline double gas_half_area(const SimdF& extent) {
    float sides[4];
    extent.store(sides);
    const double dx = static_cast<double>(sides[0]);
    const double dy = static_cast<double>(sides[1]);
    const double dz = static_cast<double>(sides[2]);
    return (dx + dy) * dz + dx * dy;
}

/// Fills `costs[k]` for the planes k = 1 to `count` - 1 between `count` boxes. Box k and the number
/// of its items are what `boxes` tells: get_min(k), get_max(k), get_count(k); every w is 0.
template <typename Boxes>
void gas_compute_plane_costs(const Boxes& boxes, unsigned count, double* costs) {
    SimdF extents[GasRecordBins::count];
    float counts[GasRecordBins::count];
    SimdF min = boxes.get_min(0);
    SimdF max = boxes.get_max(0);
    float items = boxes.get_count(0);
    for (unsigned k = 1; k < count; ++k) {
        extents[k] = max - min;
        counts[k] = items;
        min = SimdF::min(boxes.get_min(k), min);
        max = SimdF::max(boxes.get_max(k), max);
        items += boxes.get_count(k);
    }
    min = boxes.get_min(count - 1);
    max = boxes.get_max(count - 1);
    items = boxes.get_count(count - 1);
    for (unsigned k = count - 1;; --k) {
        costs[k] = gas_half_area(extents[k]) * static_cast<double>(counts[k]) +
                   gas_half_area(max - min) * static_cast<double>(items);
        if (k == 1)
            break;
        min = SimdF::min(boxes.get_min(k - 1), min);
        max = SimdF::max(boxes.get_max(k - 1), max);
        items += boxes.get_count(k - 1);
    }
}

/// Puts one record into its bin along an axis.
struct GasBinning {
    GasCoordinate coordinate;
    float low;
    float scale;

    void add(const GasRecord& record, GasRecordBins& bins) const {
        constexpr float last = static_cast<float>(GasRecordBins::count - 1);
        const float center = (record.bbox_min.*coordinate + record.bbox_max.*coordinate) * 0.5f;
        // gas_truncate in lanes, for compilers make branches of comparisons of lone floats.
        const SimdF place =
            SimdF::min(SimdF::max(SimdF((center - low) * scale), SimdF(0.0f)), SimdF(last));
        const auto bin = static_cast<unsigned>(static_cast<int>(place.get_first()));
        bins.min[bin] = SimdF::min(gas_load_min(record), bins.min[bin]);
        bins.max[bin] = SimdF::max(gas_load_max(record), bins.max[bin]);
        ++bins.counts[bin];
    }
};

/// Sorts records into bins along one axis.
inline void gas_fill_bins(const GasRecord* records, unsigned count, const GasBinning& binning,
                          GasRecordBins& bins) {
    // Neighbours in the list often share a bin: two sets of bins keep one from waiting for another.
    constexpr unsigned small_count = 64;
    bins.clear();
    unsigned i = 0;
    if (count > small_count) {
        GasRecordBins others;
        others.clear();
        for (; i + 1 < count; i += 2) {
            binning.add(records[i], bins);
            binning.add(records[i + 1], others);
        }
        bins.add(others);
    }
    for (; i < count; ++i)
        binning.add(records[i], bins);
    for (unsigned bin = 0; bin < GasRecordBins::count; ++bin) {
        bins.min[bin] = bins.min[bin] & SimdF::s_mask_xyz;
        bins.max[bin] = bins.max[bin] & SimdF::s_mask_xyz;
    }
}

} // namespace gas_abi1
