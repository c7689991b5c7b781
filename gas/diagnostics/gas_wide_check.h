// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>

#include <gas/diagnostics/gas_check_runs.h>
#include <gas/tree/gas_tree_arrays.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>

inline namespace gas_abi1 {

/// What may be wrong with a wide node of a tree whose binary nodes are right.
enum class GasWideFlaw {
    none,
    /// It does not stand for a binary node, nor its lanes for what is below that.
    links,
    /// A box is not that of its binary node.
    boxes
};

/// Zeros of either sign differ, as they do in a file.
inline bool gas_are_same_bits(const void* first, const void* second, std::size_t size) {
    return std::memcmp(first, second, size) == 0;
}

/// Whether each wide node stands for a binary one and its lanes for what is below that, so that a
/// walk from the first meets each leaf once.
class GasWideCheck {
  public:
    explicit GasWideCheck(const GasTreeArrays& arrays)
        : m_nodes(arrays.nodes), m_wide_nodes(arrays.wide_nodes),
          m_node_count(arrays.get_node_count()), m_count(arrays.wide_count), m_used(m_count) {}

    GasWideFlaw check(unsigned i) {
        const GasWideNode& wide = m_wide_nodes[i];
        if (wide.binary_node >= m_node_count || (i == 0) != (wide.binary_node == 0) ||
            is_leaf(wide.binary_node) || wide.first_child != m_nodes[wide.binary_node].index)
            return GasWideFlaw::links;
        // Refits go through them in the order of their first children.
        if (i > 0 && m_wide_nodes[i - 1].first_child >= wide.first_child)
            return GasWideFlaw::links;
        for (unsigned half = 0; half < 2; ++half) {
            if (!check_half(wide, i, half))
                return GasWideFlaw::links;
        }
        GasWideLaneBoxes boxes;
        boxes.gather(wide, GasNodeBoxes{m_nodes});
        alignas(32) float planes[6][GasWideNode::width];
        boxes.store(planes[0]);
        return gas_are_same_bits(planes, wide.planes, sizeof planes) ? GasWideFlaw::none
                                                                     : GasWideFlaw::boxes;
    }

    /// Whether another refers to it; for after the check of all.
    bool is_used(unsigned i) const { return m_used.is_used(i); }

  private:
    bool is_leaf(unsigned node) const {
        return (m_nodes[node].flags & GasTreeNode::leaf_flag) != 0;
    }

    bool check_half(const GasWideNode& wide, unsigned i, unsigned half) {
        const unsigned child = wide.first_child + half;
        const unsigned first = wide.lane_nodes[half];
        const unsigned* const references = wide.references + 2 * half;
        if (first == child)
            return check_lane(references[0], i, child) &&
                   references[1] == GasWideNode::no_reference;
        return !is_leaf(child) && first == m_nodes[child].index &&
               check_lane(references[0], i, first) && check_lane(references[1], i, first + 1);
    }
    bool check_lane(unsigned reference, unsigned i, unsigned node) {
        if (is_leaf(node))
            return reference == (m_nodes[node].index | GasWideNode::leaf_flag);
        return reference > i && reference < m_count &&
               m_wide_nodes[reference].binary_node == node && m_used.use(reference);
    }

    const GasTreeNode* m_nodes;
    const GasWideNode* m_wide_nodes;
    unsigned m_node_count;
    unsigned m_count;
    GasUsedNumbers m_used;
};

/// Whether a record has the boxes of its wide node in each filled sample.
class GasWideSampleCheck {
  public:
    explicit GasWideSampleCheck(const GasTreeArrays& arrays) : m_arrays(arrays) {}

    GasWideFlaw check(unsigned i) const {
        const GasWideNode& wide = m_arrays.wide_nodes[i];
        const GasWideSampleRecords& records = m_arrays.wide_samples;
        if (std::memcmp(records.get_references(i), wide.references, sizeof wide.references) != 0)
            return GasWideFlaw::links;
        for (unsigned sample = 0; sample < m_arrays.sample_count; ++sample) {
            if (m_arrays.samples[sample] && !check_sample(wide, i, sample))
                return GasWideFlaw::boxes;
        }
        return GasWideFlaw::none;
    }

  private:
    bool check_sample(const GasWideNode& wide, unsigned i, unsigned sample) const {
        const GasSampleBoxes source = {m_arrays.samples[sample]};
        constexpr unsigned width = GasWideNode::width;
        alignas(32) float half_planes[3][width];
        const unsigned half = wide.first_child;
        gas_store_rows({source.get_min(half), source.get_min(half + 1), source.get_max(half),
                        source.get_max(half + 1)},
                       half_planes[0], half_planes[1], half_planes[2]);
        GasWideLaneBoxes boxes;
        boxes.gather(wide, source);
        alignas(32) float planes[6][width];
        boxes.store(planes[0]);
        const GasWideSampleRecords& records = m_arrays.wide_samples;
        return gas_are_same_bits(half_planes, records.get_half_planes(i, sample),
                                 sizeof half_planes) &&
               gas_are_same_bits(planes, records.get_planes(i, sample), sizeof planes);
    }

    const GasTreeArrays& m_arrays;
};

/// Checks all wide nodes; `find(flaw, node)` is told on any thread, and answers whether to go on.
template <typename Check, typename Team, typename Find>
void gas_check_wide(Check& check, unsigned count, Team& team, const Find& find) {
    constexpr std::uint64_t run_length = 1 << 12;
    std::atomic<bool> is_enough = false;
    gas_for_each_run(team, count, run_length, [&](std::uint64_t i, std::uint64_t end) {
        for (; i < end && !is_enough.load(std::memory_order_relaxed); ++i) {
            const auto node = static_cast<unsigned>(i);
            const GasWideFlaw flaw = check.check(node);
            if (flaw != GasWideFlaw::none && !find(flaw, node))
                is_enough.store(true, std::memory_order_relaxed);
        }
    });
}

} // namespace gas_abi1
