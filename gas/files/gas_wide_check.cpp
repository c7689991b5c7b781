// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <gas/files/gas_file_check.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>

inline namespace gas_abi1 {

namespace {

constexpr std::uint64_t run_length = 1 << 12;

/// Whether each wide node stands for a binary one and its lanes for what is below that, so that a
/// walk from the first meets each leaf once.
class WideCheck {
  public:
    explicit WideCheck(const GasTreeArrays& arrays)
        : m_nodes(arrays.nodes), m_wide_nodes(arrays.wide_nodes),
          m_node_count(arrays.get_node_count()), m_count(arrays.wide_count), m_used(m_count) {}

    bool check(unsigned i) {
        const GasWideNode& wide = m_wide_nodes[i];
        if (wide.binary_node >= m_node_count || (i == 0) != (wide.binary_node == 0) ||
            is_leaf(wide.binary_node) || wide.first_child != m_nodes[wide.binary_node].index)
            return false;
        // Refits go through them in the order of their first children.
        if (i > 0 && m_wide_nodes[i - 1].first_child >= wide.first_child)
            return false;
        for (unsigned half = 0; half < 2; ++half) {
            if (!check_half(wide, i, half))
                return false;
        }
        GasWideLaneBoxes boxes;
        boxes.gather(wide, GasNodeBoxes{m_nodes});
        alignas(32) float planes[6][GasWideNode::width];
        boxes.store(planes[0]);
        return std::memcmp(planes, wide.planes, sizeof planes) == 0;
    }

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
class WideSampleCheck {
  public:
    explicit WideSampleCheck(const GasTreeArrays& arrays) : m_arrays(arrays) {}

    bool check(unsigned i) const {
        const GasWideNode& wide = m_arrays.wide_nodes[i];
        const GasWideSampleRecords& records = m_arrays.wide_samples;
        if (std::memcmp(records.get_references(i), wide.references, sizeof wide.references) != 0)
            return false;
        for (unsigned sample = 0; sample < m_arrays.sample_count; ++sample) {
            if (m_arrays.samples[sample] && !check_sample(wide, i, sample))
                return false;
        }
        return true;
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
        return std::memcmp(half_planes, records.get_half_planes(i, sample), sizeof half_planes) ==
                   0 &&
               std::memcmp(planes, records.get_planes(i, sample), sizeof planes) == 0;
    }

    const GasTreeArrays& m_arrays;
};

template <typename Check> bool check_all(Check& check, unsigned count, GasBuildTeam& team) {
    GasFileFlaw flaw;
    gas_for_each_run(team, count, run_length, [&](std::uint64_t i, std::uint64_t end) {
        for (; i < end && !flaw.is_found(); ++i) {
            if (!check.check(static_cast<unsigned>(i)))
                flaw.find("");
        }
    });
    return !flaw.is_found();
}

} // namespace

const char* gas_check_wide_nodes(const GasTreeArrays& arrays, GasBuildTeam& team) {
    WideCheck check(arrays);
    return check_all(check, arrays.wide_count, team)
               ? nullptr
               : "has wide nodes that are not those of its tree";
}

const char* gas_check_wide_samples(const GasTreeArrays& arrays, GasBuildTeam& team) {
    WideSampleCheck check(arrays);
    return check_all(check, arrays.wide_count, team)
               ? nullptr
               : "has wide nodes whose samples are not those of its tree";
}

} // namespace gas_abi1
