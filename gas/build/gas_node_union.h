#pragma once

#include <bit>
#include <cfloat>

#include <gas/build/gas_record.h>

inline namespace gas_abi1 {

/// What gas_traversal_order says of two sibling boxes, four lanes at a time and without a branch on
/// which gap is the widest. Each w may hold anything.
inline unsigned gas_lane_traversal_order(unsigned previous, const SimdF& first_min,
                                         const SimdF& first_max, const SimdF& second_min,
                                         const SimdF& second_max) {
    const SimdF mask = SimdF::s_mask_xyz;
    const SimdF above = (second_min & mask) - (first_max & mask);
    const SimdF below = (first_min & mask) - (second_max & mask);
    // In the order of offers: x above, x below, y above, y below; then z above, z below, and w,
    // which is 0 and left out below.
    const SimdF xy = SimdF::interleave_low(above, below);
    const SimdF z = SimdF::interleave_high(above, below);
    const SimdF zz = SimdF::interleave_low(z, z);
    // The widest gap in every lane; a NaN never is the larger one.
    const SimdF lowest(-FLT_MAX);
    SimdF best = SimdF::max(zz, SimdF::max(xy, lowest));
    best = SimdF::max(best, best.move_high());
    best = SimdF::max(best.broadcast<0>(), best.broadcast<1>());
    const unsigned widest = static_cast<unsigned>((xy >= best).get_mask()) |
                            (static_cast<unsigned>((z >= best).get_mask()) & 3u) << 4;
    if (!(best.get_first() > -FLT_MAX))
        return previous;
    constexpr unsigned codes = 0x625140; // a hexadecimal digit per offer
    return codes >> 4 * std::countr_zero(widest) & 7u;
}

/// Gives `node` the box of its two children, as gas_unite does, and their traversal order; its
/// children are `index` and the node behind.
inline void gas_unite_nodes(GasTreeNode& node, const GasTreeNode& first, const GasTreeNode& second,
                            unsigned index, unsigned previous_order) {
    const SimdF first_min = gas_load_min(first);
    const SimdF first_max = gas_load_max(first);
    const SimdF second_min = gas_load_min(second);
    const SimdF second_max = gas_load_max(second);
    const unsigned order =
        gas_lane_traversal_order(previous_order, first_min, first_max, second_min, second_max);
    gas_store_node(node, SimdF::select(first_min >= second_min, second_min, first_min),
                   SimdF::max(first_max, second_max), index, order << GasTreeNode::order_shift);
}

} // namespace gas_abi1
