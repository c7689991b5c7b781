#pragma once

#include <limits>
#include <type_traits>

#include <gas/build/gas_record.h>

inline namespace gas_abi1 {

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

/// A stretch of the upper part on the move: the places from `top` down to `bottom`, which ends the
/// upper part or holds a record that belongs below; the holes that its records fill, and the record
/// that goes into its first place. Several stretches can move at the same time.
struct GasRecordMove {
    unsigned top;
    unsigned bottom;
    const unsigned* hole;
    const unsigned* last_hole;
    SimdF carried_min;
    SimdF carried_max;
};

template <unsigned axis>
void gas_move_records(GasRecord* records, float position, const GasRecordMove& move) {
    const SimdF plane(position);
    const unsigned* hole = move.hole;
    SimdF carried_min = move.carried_min;
    SimdF carried_max = move.carried_max;
    for (unsigned i = move.top; i > move.bottom; --i) {
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
        const GasRecord& next = records[hole[hole != move.last_hole]];
        carried_min = SimdF::select(is_high, min, gas_load_min(next));
        carried_max = SimdF::select(is_high, max, gas_load_max(next));
        hole += ~static_cast<unsigned>(is_high.get_mask()) & 1u;
    }
    // The last place: its own record fills the last hole, unless it is that hole itself.
    GasRecord& record = records[move.bottom];
    if (*hole != move.bottom)
        gas_copy_record(records[*hole], record);
    carried_min.store(&record.bbox_min.x);
    carried_max.store(&record.bbox_max.x);
}

/// The whole upper part, once the sides are known: `low_count` (1 to count - 1) records belong
/// below, the numbers of the others are in `high_records`, ascending.
inline GasRecordMove gas_plan_move(const GasRecord* records, unsigned count, unsigned low_count,
                                   const unsigned* high_records) {
    const GasRecord& first = records[high_records[0]];
    return {count - 1,           low_count,
            high_records,        high_records + (count - low_count - 1),
            gas_load_min(first), gas_load_max(first)};
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
        gas_move_records<axis>(records, position,
                               gas_plan_move(records, count, sides.low_count, high_records));
    return sides;
}

/// Calls `action(std::integral_constant<unsigned, axis>())` for an axis 0 to 2.
template <typename Action> auto gas_with_axis(unsigned axis, const Action& action) {
    switch (axis) {
    case 0:
        return action(std::integral_constant<unsigned, 0>());
    case 1:
        return action(std::integral_constant<unsigned, 1>());
    default:
        return action(std::integral_constant<unsigned, 2>());
    }
}

inline GasRecordSides gas_partition_records(GasRecord* records, unsigned count, unsigned axis,
                                            float position, unsigned* high_records) {
    return gas_with_axis(axis, [&](auto fixed_axis) {
        return gas_partition_records<fixed_axis()>(records, count, position, high_records);
    });
}

} // namespace gas_abi1
