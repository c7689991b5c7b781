// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <limits>
#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/tree_checker.h>

namespace support {

/// The wide nodes that walks take; null where they take the tree's own.
inline const GasWideNode* get_wide_nodes(const GasTree& tree) {
    return GasTraversalAccess::get_wide_nodes(tree);
}
/// The boxes of the first wide node in a sample, likewise.
inline const float* get_wide_sample(const GasTree& tree, unsigned sample) {
    if (!GasTraversalAccess::has_wide_sample(tree, sample))
        return nullptr;
    return GasTraversalAccess::get_wide_samples(tree).get_planes(0, sample)[0];
}

/// Goes through a tree's wide nodes from the root, against its own nodes.
class WideChecker {
  public:
    explicit WideChecker(const GasTree& tree) : m_tree(tree), m_nodes(get_wide_nodes(tree)) {
        if (!m_nodes) {
            m_flaw = "there are no wide nodes to walk";
            return;
        }
        m_leaf_visits.resize(tree.get_leaf_count());
        check_node(0, 0);
        for (unsigned item = 0; m_flaw.empty() && item < m_leaf_visits.size(); ++item)
            expect(m_leaf_visits[item] == 1, "a leaf is not there once", item);
        for (unsigned wide = 0; m_flaw.empty() && wide < m_visits.size(); ++wide)
            expect(m_visits[wide] == 1, "a wide node is not below one other", wide);
    }

    /// Empty when nothing is wrong.
    const std::string& get_flaw() const { return m_flaw; }
    unsigned get_count() const { return static_cast<unsigned>(m_visits.size()); }
    /// The sum of the half areas of the binary nodes that wide ones stand for.
    double get_area() const { return m_area; }

    static double get_half_area(const GasTree::Node& node) {
        const double x =
            static_cast<double>(node.bbox_max.x) - static_cast<double>(node.bbox_min.x);
        const double y =
            static_cast<double>(node.bbox_max.y) - static_cast<double>(node.bbox_min.y);
        const double z =
            static_cast<double>(node.bbox_max.z) - static_cast<double>(node.bbox_min.z);
        return x * y + y * z + z * x;
    }

  private:
    static constexpr unsigned none = GasWideNode::no_reference;

    void expect(bool holds, const char* what, unsigned where) {
        if (!holds && m_flaw.empty())
            m_flaw = std::string(what) + ", at " + std::to_string(where);
    }
    static bool is_same(float a, float b) {
        return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
    }
    const GasTree::Node& get_binary(unsigned node) const { return m_tree.get_nodes()[node]; }
    bool is_leaf(unsigned node) const {
        return (get_binary(node).flags & GasTree::Node::leaf_flag) != 0;
    }

    void check_node(unsigned wide, unsigned binary) {
        if (!m_flaw.empty())
            return;
        if (m_visits.size() <= wide)
            m_visits.resize(wide + 1);
        ++m_visits[wide];
        const GasWideNode& node = m_nodes[wide];
        expect(node.binary_node == binary, "another binary node", wide);
        expect(!is_leaf(binary), "a wide node stands for a leaf", wide);
        if (!m_flaw.empty())
            return;
        m_area += get_half_area(get_binary(binary));
        for (unsigned sample = 0; sample < m_tree.get_motion_blur_sample_count(); ++sample)
            check_halves(wide, binary, sample);
        for (unsigned half = 0; half < 2; ++half) {
            const unsigned child = get_binary(binary).index + half;
            const unsigned lane = 2 * half;
            if (node.references[lane + 1] == none) {
                check_lane(wide, lane, child);
                check_empty_lane(wide, lane + 1);
                continue;
            }
            expect(!is_leaf(child), "a leaf is skipped", wide);
            if (!m_flaw.empty())
                return;
            check_lane(wide, lane, get_binary(child).index);
            check_lane(wide, lane + 1, get_binary(child).index + 1);
        }
    }

    void check_lane(unsigned wide, unsigned lane, unsigned binary) {
        const GasWideNode& node = m_nodes[wide];
        const GasTree::Node& record = get_binary(binary);
        for (unsigned axis = 0; axis < 3; ++axis) {
            expect(is_same(node.planes[2 * axis][lane], record.bbox_min[axis]) &&
                       is_same(node.planes[2 * axis + 1][lane], record.bbox_max[axis]),
                   "another box", wide);
        }
        for (unsigned sample = 0; sample < m_tree.get_motion_blur_sample_count(); ++sample)
            check_sample_lane(wide, lane, binary, sample);
        const unsigned reference = node.references[lane];
        if (is_leaf(binary)) {
            expect(reference == (record.index | GasWideNode::leaf_flag), "another leaf", wide);
            if (m_flaw.empty())
                ++m_leaf_visits[record.index];
            return;
        }
        expect(reference < GasWideNode::leaf_flag && reference > wide,
               "a reference does not point downwards", wide);
        if (m_flaw.empty())
            check_node(reference, binary);
    }

    void check_sample_lane(unsigned wide, unsigned lane, unsigned binary, unsigned sample) {
        if (!get_wide_sample(m_tree, sample))
            return;
        const auto& planes = GasTraversalAccess::get_wide_samples(m_tree).get_planes(wide, sample);
        const naive::Box box = get_sample_box(m_tree, binary, sample);
        for (unsigned axis = 0; axis < 3; ++axis) {
            expect(is_same(planes[2 * axis][lane], box.min[axis]) &&
                       is_same(planes[2 * axis + 1][lane], box.max[axis]),
                   "another box in a sample", wide);
        }
    }

    void check_halves(unsigned wide, unsigned binary, unsigned sample) {
        if (!get_wide_sample(m_tree, sample))
            return;
        const GasWideSampleRecords& records = GasTraversalAccess::get_wide_samples(m_tree);
        const auto& half_planes = records.get_half_planes(wide, sample);
        for (unsigned lane = 0; lane < 4; ++lane)
            expect(records.get_references(wide)[lane] == m_nodes[wide].references[lane],
                   "another reference in a sample", wide);
        for (unsigned half = 0; half < 2; ++half) {
            const naive::Box box = get_sample_box(m_tree, get_binary(binary).index + half, sample);
            for (unsigned axis = 0; axis < 3; ++axis) {
                expect(is_same(half_planes[axis][half], box.min[axis]) &&
                           is_same(half_planes[axis][2 + half], box.max[axis]),
                       "another half in a sample", wide);
            }
        }
    }

    void check_empty_lane(unsigned wide, unsigned lane) {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        for (unsigned axis = 0; axis < 3; ++axis) {
            expect(m_nodes[wide].planes[2 * axis][lane] == infinity &&
                       m_nodes[wide].planes[2 * axis + 1][lane] == -infinity,
                   "an empty lane has a box", wide);
        }
    }

    const GasTree& m_tree;
    const GasWideNode* m_nodes;
    std::vector<unsigned> m_visits;
    std::vector<unsigned> m_leaf_visits;
    std::string m_flaw;
    double m_area = 0.0;
};

inline std::string find_wide_flaw(const GasTree& tree) { return WideChecker(tree).get_flaw(); }

} // namespace support
