#pragma once

#include <bit>
#include <cstdint>

#include <gas/build/gas_tree_node.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// An item on its way through a build: its box and its number, in the form of the leaf that it will
/// become. A node's list of items is a run of records, so that every pass over it reads memory in
/// order. No coordinate of a record's centre is a NaN: then no union depends on the order in which
/// boxes come together, but for the sign of a zero, which decides nothing.
using GasRecord = GasTreeNode;

/// The lanes of a record's or a node's box; each w holds bits of the record and is no number.
inline SimdF gas_load_min(const GasRecord& record) { return SimdF::load(&record.bbox_min.x); }
inline SimdF gas_load_max(const GasRecord& record) { return SimdF::load(&record.bbox_max.x); }

/// Overwrites a record's halves: lanes x, y, z and an integer.
inline SimdF gas_join_half(const SimdF& corner, std::uint32_t bits) {
    return (corner & SimdF::s_mask_xyz) | SimdF(0.0f, 0.0f, 0.0f, std::bit_cast<float>(bits));
}
inline void gas_store_node(GasRecord& node, const SimdF& min, const SimdF& max, unsigned index,
                           unsigned flags) {
    gas_join_half(min, index).store(&node.bbox_min.x);
    gas_join_half(max, flags).store(&node.bbox_max.x);
}

inline void gas_copy_record(GasRecord& target, const GasRecord& source) {
    const SimdF min = gas_load_min(source);
    const SimdF max = gas_load_max(source);
    min.store(&target.bbox_min.x);
    max.store(&target.bbox_max.x);
}

/// A box's six floats in two overlapping loads; each w is 0.
inline void gas_load_box(const GMathBbox3<float>& box, SimdF& min, SimdF& max) {
    const float* coordinates = &box.min.x;
    min = SimdF::load_unaligned(coordinates) & SimdF::s_mask_xyz;
    max = SimdF::load_unaligned(coordinates + 2).move_down() & SimdF::s_mask_xyz;
}

/// Points in lanes x, y, z, for bounds of centres; w stays 0.
struct GasLaneBounds {
    SimdF min;
    SimdF max;

    void add(const SimdF& point) {
        min = SimdF::min(point, min);
        max = SimdF::max(point, max);
    }
    void add(const GasLaneBounds& other) {
        min = SimdF::min(other.min, min);
        max = SimdF::max(other.max, max);
    }
};

/// The centre as gas_box_center has it; w is 0.
inline SimdF gas_record_center(const SimdF& min, const SimdF& max) {
    // The bits in w are often a denormal: arithmetic would be slow.
    return ((min & SimdF::s_mask_xyz) + (max & SimdF::s_mask_xyz)) * SimdF(0.5f);
}
inline SimdF gas_record_center(const GasRecord& record) {
    return gas_record_center(gas_load_min(record), gas_load_max(record));
}

inline GMathBbox3<float> gas_to_box(const GasLaneBounds& bounds) {
    float low[4];
    float high[4];
    bounds.min.store(low);
    bounds.max.store(high);
    return {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
}

} // namespace gas_abi1
