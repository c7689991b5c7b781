// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstdint>

#include <gas/build/gas_tree_node.h>
#include <gas/core/gas_lane_box.h>
#include <gas/core/gas_traversal_order.h>

inline namespace gas_abi1 {

/// An item on its way through a build: its box and its number, in the form of a GasTree's leaf. A
/// node's list of items is a run of records, so that every pass over it reads memory in order. No
/// coordinate of a record's centre is a NaN: then no union depends on the order in which boxes come
/// together, but for the sign of a zero, which decides nothing.
using GasRecord = GasTreeNode;

/// The box of a record or a node; lanes w hold its integers.
inline GasLaneBox gas_load_raw_box(const GasRecord& record) {
    return {SimdF::load(&record.bbox_min.x), SimdF::load(&record.bbox_max.x)};
}
/// The same with lanes w 0. The integers are often denormal: arithmetic on them would be slow.
inline GasLaneBox gas_load_box(const GasRecord& record) {
    return gas_load_raw_box(record).mask_w();
}

/// Stores a box of which lanes w are the record's integers.
inline void gas_store_raw_box(GasRecord& record, const GasLaneBox& box) {
    box.min.store(&record.bbox_min.x);
    box.max.store(&record.bbox_max.x);
}
inline void gas_store_node(GasRecord& node, const GasLaneBox& box, unsigned index, unsigned flags) {
    const auto join = [](const SimdF& corner, std::uint32_t bits) {
        return (corner & SimdF::s_mask_xyz) | SimdF(0.0f, 0.0f, 0.0f, std::bit_cast<float>(bits));
    };
    gas_store_raw_box(node, {join(box.min, index), join(box.max, flags)});
}

inline void gas_copy_record(GasRecord& target, const GasRecord& source) {
    gas_store_raw_box(target, gas_load_raw_box(source));
}

inline SimdF gas_record_center(const GasRecord& record) {
    return gas_load_box(record).get_center();
}

/// Gives `node` the box of its two children, as gas_unite does, and their traversal order; its
/// children are `index` and the node behind.
inline void gas_unite_nodes(GasTreeNode& node, const GasTreeNode& first, const GasTreeNode& second,
                            unsigned index, unsigned previous_order) {
    GasLaneBox box = gas_load_raw_box(first);
    const GasLaneBox other = gas_load_raw_box(second);
    const unsigned order = gas_traversal_order(previous_order, box, other);
    box.unite(other);
    gas_store_node(node, box, index, order << GasTreeNode::order_shift);
}

} // namespace gas_abi1
