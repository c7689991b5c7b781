// SPDX-License-Identifier: Apache-2.0
#pragma once

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
    GasLaneBox low;
    GasLaneBox high;
};

/// Lists the records above `position` in `high_records`, numbered from `first` on. A NaN has every
/// record above it, and no bounds.
template <unsigned axis>
GasRecordSides gas_find_sides(const GasRecord* records, unsigned count, float position,
                              unsigned first, unsigned* high_records) {
    const SimdF plane(position);
    GasLaneBox low = GasLaneBox::get_empty();
    GasLaneBox high = GasLaneBox::get_empty();
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
    GasLaneBox carried;
};

template <unsigned axis>
void gas_move_records(GasRecord* records, float position, const GasRecordMove& move) {
    const SimdF plane(position);
    const unsigned* hole = move.hole;
    GasLaneBox carried = move.carried;
    for (unsigned i = move.top; i > move.bottom; --i) {
        const GasLaneBox box = gas_load_raw_box(records[i]);
        gas_store_raw_box(records[i], carried);
        // What does not belong into the hole is overwritten later.
        gas_store_raw_box(records[*hole], box);
        const SimdF coordinate = box.mask_w().get_center().template broadcast<axis>();
        const SimdF is_high = plane < coordinate;
        const GasLaneBox next = gas_load_raw_box(records[hole[hole != move.last_hole]]);
        carried.min = SimdF::select(is_high, box.min, next.min);
        carried.max = SimdF::select(is_high, box.max, next.max);
        hole += ~static_cast<unsigned>(is_high.get_mask()) & 1u;
    }
    // The last place: its own record fills the last hole, unless it is that hole itself.
    GasRecord& record = records[move.bottom];
    if (*hole != move.bottom)
        gas_copy_record(records[*hole], record);
    gas_store_raw_box(record, carried);
}

/// The whole upper part, once the sides are known: `low_count` (1 to count - 1) records belong
/// below, the numbers of the others are in `high_records`, ascending.
inline GasRecordMove gas_plan_move(const GasRecord* records, unsigned count, unsigned low_count,
                                   const unsigned* high_records) {
    return {count - 1, low_count, high_records, high_records + (count - low_count - 1),
            gas_load_raw_box(records[high_records[0]])};
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
