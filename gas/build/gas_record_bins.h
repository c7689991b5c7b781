// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/build/gas_record.h>
#include <gas/core/gas_numeric.h>
#include <gas/split/gas_split_sah.h>

inline namespace gas_abi1 {

/// The surface area heuristic over records. Costs, winners and positions are those of
/// gas_split_sah.h to the last bit, except that the factor of 2 in every area, which changes no
/// comparison, is left out.

/// What has fallen into the bins.
struct GasRecordBins {
    static constexpr unsigned count = GasSahWorkspace::bin_count;

    GasLaneBox boxes[count];
    unsigned counts[count];

    void clear() {
        for (unsigned i = 0; i < count; ++i) {
            boxes[i] = GasLaneBox::get_empty();
            counts[i] = 0;
        }
    }
    /// Counts of boxes are floats that stop at 2^24.
    float get_count(unsigned bin) const {
        constexpr unsigned limit = 1u << 24;
        return static_cast<float>(counts[bin] < limit ? counts[bin] : limit);
    }
    const GasLaneBox& get_box(unsigned bin) const { return boxes[bin]; }
    void add(const GasRecordBins& other) {
        for (unsigned i = 0; i < count; ++i) {
            boxes[i].add(other.boxes[i]);
            counts[i] += other.counts[i];
        }
    }
};

/// Fills `costs[k]` for the planes k = 1 to `count` - 1 between `count` boxes. Box k and the number
/// of its items are what `boxes` tells: get_box(k), get_count(k); every w is 0.
template <typename Boxes>
void gas_compute_plane_costs(const Boxes& boxes, unsigned count, double* costs) {
    SimdF extents[GasRecordBins::count];
    float counts[GasRecordBins::count];
    GasLaneBox box = boxes.get_box(0);
    float items = boxes.get_count(0);
    for (unsigned k = 1; k < count; ++k) {
        extents[k] = box.get_extent();
        counts[k] = items;
        box.add(boxes.get_box(k));
        items += boxes.get_count(k);
    }
    box = boxes.get_box(count - 1);
    items = boxes.get_count(count - 1);
    for (unsigned k = count - 1;; --k) {
        costs[k] = gas_half_area(extents[k]) * static_cast<double>(counts[k]) +
                   gas_half_area(box.get_extent()) * static_cast<double>(items);
        if (k == 1)
            break;
        box.add(boxes.get_box(k - 1));
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
        bins.boxes[bin].add(gas_load_raw_box(record));
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
    for (GasLaneBox& box : bins.boxes)
        box = box.mask_w();
}

} // namespace gas_abi1
