// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <limits>

#include <gas/core/gas_compiler.h>
#include <gas/core/gas_lane_pairs.h>
#include <gas/traversal/wide/gas_wide_boxes.h>
#include <gas/traversal/wide/gas_wide_orders.h>

inline namespace gas_abi1 {

/// A pending node, and where the ray enters it.
struct GasWideEntry {
    unsigned reference;
    float entry_distance;

    bool is_leaf() const { return (reference & GasWideNode::leaf_flag) != 0; }
    unsigned get_leaf() const { return reference & ~GasWideNode::leaf_flag; }
};

/// Below the last entry of a stack that has one to spare: it counts as a leaf, and is within
/// any limit but a NaN, for which nothing is pending.
inline constexpr GasWideEntry gas_wide_stack_end = {GasWideNode::no_reference,
                                                    -std::numeric_limits<float>::infinity()};

inline float gas_get_entry_distance(const GasWideEntry& entry) { return entry.entry_distance; }

/// Keeps those of the entries 1 to `size` that are within the limit, so that whatever is popped is.
/// Returns how many.
template <typename Entry>
GAS_FORCE_INLINE unsigned gas_drop_far_entries(Entry* entries, unsigned size, float limit) {
    unsigned kept = 0;
    for (unsigned i = 1; i <= size; ++i) {
        entries[kept + 1] = entries[i];
        kept += gas_get_entry_distance(entries[i]) <= limit;
    }
    return kept;
}

static_assert(2 * sizeof(GasStackEntry) == 5 * sizeof(GasWideEntry),
              "a frame that has two entries for each level has five of these");

/// Puts what a ray reaches of wide node `node` at `top`, the last one to be visited first, and
/// returns how many entries that are; four are written. Nothing branches on boxes, so that other
/// nodes can be on the way at the same time.
template <typename Boxes>
GAS_FORCE_INLINE unsigned gas_push_wide(const Boxes& boxes, const GasWideRay& ray,
                                        const SimdF& limit, unsigned node, GasWideEntry* top) {
    const typename Boxes::Record record = boxes.get_record(node);
    const GasWideHits hits = boxes.test(ray, limit, record);
    const SimdF halves = boxes.get_half_entries(ray, record, hits);
    const SimdF entries = hits.entries;
    const unsigned later = gas_get_mask_bits(entries.move_down() > entries,
                                             halves.broadcast<2>() > halves.broadcast<0>());
    const unsigned index = GasWideOrders::get_index(hits.reached, later);
    const void* const words = boxes.get_references(record);
    if constexpr (gas_moves_pairs_at_once) {
        gas_store_pairs(words, entries, gas_wide_lane_orders[index].lanes, top);
        return static_cast<unsigned>(std::popcount(hits.reached));
    }
    const GasWideOrder order = gas_wide_orders[index];
    const SimdF references = SimdF::load(static_cast<const float*>(words));
    alignas(16) GasWideEntry lanes[GasWideNode::width];
    void* const lane_words = lanes;
    SimdF::interleave_low(references, entries).store(static_cast<float*>(lane_words));
    SimdF::interleave_high(references, entries).store(static_cast<float*>(lane_words) + 4);
    for (unsigned i = 0; i < GasWideNode::width; ++i)
        top[i] = lanes[order.lanes[i]];
    return order.count;
}

} // namespace gas_abi1
