// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include <gas/build/gas_depth_first.h>
#include <gas/build/gas_record_divider.h>
#include <gas/build/gas_small_build.h>

inline namespace gas_abi1 {

/// Builds trees from records: the same nodes that the split functions give, bit by bit, as long as
/// no centre is a NaN.

/// What is known of all boxes of a range.
struct GasBoxFacts {
    /// No centre is a NaN.
    bool is_comparable = true;
    /// Nor is a box inside out.
    bool is_ordered = true;

    void add(const GasBoxFacts& other) {
        is_comparable = is_comparable && other.is_comparable;
        is_ordered = is_ordered && other.is_ordered;
    }
};

/// Makes the records of a range of items from their boxes, floats or doubles that are rounded to
/// the nearest float; grows the bounds of their centres.
template <typename Box>
GasBoxFacts gas_make_records(const Box* bboxes, unsigned first, unsigned count, GasRecord* records,
                             GasLaneBox& bounds) {
    SimdF numbers = SimdF(0.0f) <= SimdF(0.0f);
    SimdF ordered = numbers;
    GasLaneBox grown = bounds;
    for (unsigned item = first; item < first + count; ++item) {
        const GasLaneBox box = GasLaneBox::load(bboxes[item]);
        const SimdF center = box.get_center();
        numbers = numbers & (center <= center);
        ordered = ordered & (box.min <= box.max);
        grown.add(center);
        gas_store_node(records[item], box, item, GasTreeNode::leaf_flag);
    }
    bounds = grown;
    return {numbers.get_mask() == 15, (numbers & ordered).get_mask() == 15};
}

/// The records of a build, as gas_build_depth_first takes items. Threads may share them: parts that
/// they work on overlap nobody else's.
class GasRecordBuild {
  public:
    /// `numbers` is scratch, one for each record.
    GasRecordBuild(GasBuildMethod method, GasRecord* records, unsigned* numbers)
        : m_method(method), m_records(records), m_numbers(numbers),
          m_small_count(gas_get_small_count(method)) {}

    unsigned get_item(unsigned offset) const { return m_records[offset].index; }
    bool is_small(unsigned count) const { return count <= m_small_count; }

    void divide(const GasBuildPart& part, GasBuildPart& first, GasBuildPart& second) const {
        divide_with(GasSerialPasses(), part, first, second);
    }
    template <typename Passes>
    void divide_with(const Passes& passes, const GasBuildPart& part, GasBuildPart& first,
                     GasBuildPart& second) const {
        GasRecordItems<Passes> items(passes, m_records + part.offset, part.count,
                                     m_numbers + part.offset, part.bounds);
        const GasDivision division = items.divide(gas_choose_cut(m_method, items, part.count));
        first.count = division.left_count;
        first.bounds = division.left;
        second.bounds = division.right;
    }
    template <typename Numbering>
    void build_small(Numbering& numbering, const GasBuildPart& part) const {
        if (part.count == 1)
            place(numbering, part);
        else
            gas_build_small(numbering, m_method, m_records + part.offset, part);
    }
    template <typename Numbering> void place(Numbering& numbering, const GasBuildPart& part) const {
        numbering.place_leaf(part.node, m_records[part.offset]);
    }

    template <typename Numbering>
    static void close_below_sibling(Numbering& numbering, const GasBuildPart& part) {
        numbering.close_below_sibling(part.node);
    }

    /// The scratch of a pending part's records keeps its bounds, where they are asked for later and
    /// have room.
    void keep_bounds(const GasBuildPart& part) const {
        if (!has_kept_bounds(part))
            return;
        const GMathBbox3<float> bounds = part.bounds.to_box();
        std::memcpy(m_numbers + part.offset, &bounds, sizeof bounds);
    }
    void restore_bounds(GasBuildPart& part) const {
        if (has_kept_bounds(part)) {
            GMathBbox3<float> bounds;
            std::memcpy(&bounds, m_numbers + part.offset, sizeof bounds);
            part.bounds = GasLaneBox::load(bounds);
        } else if (!is_small(part.count)) {
            part.bounds = gas_get_record_bounds(m_records + part.offset, part.count);
        }
    }

  private:
    bool has_kept_bounds(const GasBuildPart& part) const {
        constexpr unsigned words = sizeof(GMathBbox3<float>) / sizeof(unsigned);
        return !is_small(part.count) && part.count >= words;
    }

    GasBuildMethod m_method;
    GasRecord* m_records;
    unsigned* m_numbers;
    unsigned m_small_count;
};

} // namespace gas_abi1
