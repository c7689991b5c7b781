// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/wide/gas_wide_collapse.h>

#include <bit>
#include <limits>

#include <gas/build/gas_parallel_build.h>

inline namespace gas_abi1 {

namespace {

/// Half the areas of two boxes in lanes x and y.
SimdF get_half_areas(const GasTreeNode& first, const GasTreeNode& second) {
    const auto get_extent = [](const GasTreeNode& node) { return gas_load_box(node).get_extent(); };
    const SimdF first_extent = get_extent(first);
    const SimdF second_extent = get_extent(second);
    const SimdF x = SimdF::interleave_low(first_extent, second_extent);
    const SimdF y = x.move_high();
    const SimdF z = SimdF::interleave_high(first_extent, second_extent);
    return (x + y) * z + x * y;
}

/// Lanes x and y are set for inner nodes.
SimdF get_inner_mask(const GasTreeNode& first, const GasTreeNode& second) {
    constexpr int leaf = GasTreeNode::leaf_flag;
    const SimdF flags =
        SimdF::interleave_high(gas_load_raw_box(first).max, gas_load_raw_box(second).max)
            .move_high();
    return (SimdI::from_mask(flags) & SimdI(leaf, leaf, leaf, leaf)) == SimdI(0, 0, 0, 0);
}

} // namespace

GasWideCollapse::GasWideCollapse(const GasTreeNode* nodes, unsigned node_count,
                                 GasParallelBuild* parallel)
    : m_nodes(nodes), m_pair_count(node_count / 2),
      m_pairs(gas_allocate_scratch<Pair>(m_pair_count + 1)),
      m_skips(gas_allocate_scratch<unsigned char>(m_pair_count)) {
    // What stands below a leaf: nothing, and it never takes the leaf's place.
    m_pairs[m_pair_count] = {0.0f, std::numeric_limits<float>::infinity(), 0, 0};
    if (!parallel) {
        for (unsigned pair = m_pair_count; pair-- > 0;)
            decide(pair);
        return;
    }
    // A part of n items has n - 1 pairs below it, one behind the other.
    parallel->for_each_part([this](const GasBuildPart& part) {
        for (unsigned pair = part.count - 1; pair-- > 0;)
            decide(part.below / 2 + pair);
    });
    for (unsigned i = parallel->get_divided_count(); i-- > 0;)
        decide(parallel->get_divided_parts()[i].below / 2);
}

void GasWideCollapse::decide(unsigned pair) {
    const SimdF mask_xy = SimdF::s_mask_xyz.move_down();
    const GasTreeNode& first = m_nodes[2 * pair + 1];
    const GasTreeNode& second = m_nodes[2 * pair + 2];
    const Pair& first_below = get_pair_below(first);
    const Pair& second_below = get_pair_below(second);

    // Lanes x and y: the two siblings.
    const SimdF below = SimdF::interleave_low(SimdF::load(&first_below.half_cost),
                                              SimdF::load(&second_below.half_cost));
    const SimdF cost = (get_half_areas(first, second) & get_inner_mask(first, second)) + below;
    const SimdF through = below.move_high();
    const SimdF is_skipped = through <= cost;
    const SimdF half_cost = SimdF::select(is_skipped, through, cost);
    const SimdF costs = SimdF::interleave_low(half_cost, cost);
    const SimdF sums = costs + costs.move_high();

    const auto skips = static_cast<unsigned>(is_skipped.get_mask()) & 3;
    const unsigned first_count = get_count(first);
    const unsigned second_count = get_count(second);
    const unsigned half_count = gas_pick(skips & 1, first_count, first_below.lane_count) +
                                gas_pick(skips >> 1, second_count, second_below.lane_count);
    // One store, so that one load can have it at once.
    const SimdF counts(0.0f, 0.0f, std::bit_cast<float>(half_count),
                       std::bit_cast<float>(first_count + second_count));
    ((sums & mask_xy) | counts).store(&m_pairs[pair].half_cost);
    m_skips[pair] = static_cast<unsigned char>(skips);
}

} // namespace gas_abi1
