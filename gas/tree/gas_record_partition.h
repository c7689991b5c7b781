#pragma once

#include <limits>

#include <gas/tree/gas_record.h>

/// Divides records in the order in which gas_partition_items divides a list of items.
///
/// That order follows from the sides alone. Records at or below the position stay where they are
/// until the first that lies above it, a hole; from there on records are taken from the far end,
/// each record above the position moving one place down, until one belongs below and fills the
/// hole; the next hole's record then continues the row at the far end. So the holes are found in
/// one pass that needs no branch, and only the upper part moves.

/// Both sides' records: how many lie below, and the bounds of their centres.
struct GasRecordSides {
    unsigned low_count;
    GasLaneBounds low;
    GasLaneBounds high;
};

inline GasLaneBounds gas_no_bounds() {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    return {SimdF(infinity), SimdF(-infinity)};
}

/// Lists the records above `position` in `high_records`, numbered from `first` on. A NaN has every
/// record above it, and no bounds.
template <unsigned axis>
GasRecordSides gas_find_sides(const GasRecord* records, unsigned count, float position,
                              unsigned first, unsigned* high_records) {
    const SimdF plane(position);
    GasLaneBounds low = gas_no_bounds();
    GasLaneBounds high = gas_no_bounds();
    unsigned high_count = 0;
    for (unsigned i = 0; i < count; ++i) {
        const SimdF center = gas_record_center(records[i]);
        const SimdF coordinate = center.broadcast<axis>();
        const SimdF is_low = coordinate <= plane;
        // All bits set make a NaN, which bounds leave out.
        low.add(center | (plane < coordinate));
        high.add(center | is_low);
        high_records[high_count] = first + i;
        high_count += ~static_cast<unsigned>(is_low.get_mask()) & 1u;
    }
    return {count - high_count, low, high};
}

/// Moves records once their sides are known: `low_count` (1 to count - 1) belong below, the numbers
/// of the others are in `high_records`, ascending, which has room for `count` numbers.
template <unsigned axis>
void gas_move_records(GasRecord* records, unsigned count, float position, unsigned low_count,
                      unsigned* high_records) {
    const SimdF plane(position);
    const unsigned high_count = count - low_count;
    const unsigned* hole = high_records;
    high_records[high_count] = 0; // is read, not used
    SimdF carried_min = gas_load_min(records[*hole]);
    SimdF carried_max = gas_load_max(records[*hole]);
    for (unsigned i = count - 1; i > low_count; --i) {
        GasRecord& record = records[i];
        const SimdF min = gas_load_min(record);
        const SimdF max = gas_load_max(record);
        carried_min.store(&record.bbox_min.x);
        carried_max.store(&record.bbox_max.x);
        // What does not belong into the hole is overwritten later.
        min.store(&records[*hole].bbox_min.x);
        max.store(&records[*hole].bbox_max.x);
        const SimdF coordinate = gas_record_center(min, max).template broadcast<axis>();
        const SimdF is_high = plane < coordinate;
        const GasRecord& next = records[hole[1]];
        carried_min = SimdF::select(is_high, min, gas_load_min(next));
        carried_max = SimdF::select(is_high, max, gas_load_max(next));
        hole += ~static_cast<unsigned>(is_high.get_mask()) & 1u;
    }
    // The last place: its own record fills the last hole, unless it is that hole itself.
    GasRecord& record = records[low_count];
    if (*hole < low_count)
        gas_copy_record(records[*hole], record);
    carried_min.store(&record.bbox_min.x);
    carried_max.store(&record.bbox_max.x);
}

/// All records lie above: the first goes to the end, behind the others.
inline void gas_rotate_records(GasRecord* records, unsigned count) {
    const GasRecord first = records[0];
    for (unsigned i = 1; i < count; ++i)
        gas_copy_record(records[i - 1], records[i]);
    records[count - 1] = first;
}

template <unsigned axis>
GasRecordSides gas_partition_records(GasRecord* records, unsigned count, float position,
                                     unsigned* high_records) {
    const GasRecordSides sides = gas_find_sides<axis>(records, count, position, 0, high_records);
    if (sides.low_count == 0)
        gas_rotate_records(records, count);
    else if (sides.low_count < count)
        gas_move_records<axis>(records, count, position, sides.low_count, high_records);
    return sides;
}

inline GasRecordSides gas_partition_records(GasRecord* records, unsigned count, unsigned axis,
                                            float position, unsigned* high_records) {
    switch (axis) {
    case 0:
        return gas_partition_records<0>(records, count, position, high_records);
    case 1:
        return gas_partition_records<1>(records, count, position, high_records);
    default:
        return gas_partition_records<2>(records, count, position, high_records);
    }
}
