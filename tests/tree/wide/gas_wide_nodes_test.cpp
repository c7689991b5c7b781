// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include <gas/tree/wide/gas_wide_nodes.h>

#include <tests/support/hostile_rays.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/wide_checker.h>

namespace {

using naive::Box;
using support::find_wide_flaw;
using support::WideChecker;

std::size_t get_expected_size(unsigned count, unsigned sample_count) {
    const std::size_t of_nodes = sizeof(GasWideNodes) + count * std::size_t{128} + 64;
    if (sample_count == 0)
        return of_nodes;
    // Six planes, three pairs of half planes, and once the references.
    const std::size_t of_record = (sample_count * (96 + 48) + 16 + 63) / 64 * 64;
    return of_nodes + sizeof(GasWideSamples) + sample_count * std::size_t{16} + count * of_record +
           64;
}

/// The area sums of every way to choose wide nodes at and below a binary node that has one.
class Choices {
  public:
    explicit Choices(const GasTree& tree) : m_nodes(tree.get_nodes()) {}

    std::vector<double> list(unsigned node) const {
        if (is_leaf(node))
            return {0.0};
        const unsigned child = m_nodes[node].index;
        return add({WideChecker::get_half_area(m_nodes[node])},
                   add(list_half(child), list_half(child + 1)));
    }

  private:
    bool is_leaf(unsigned node) const {
        return (m_nodes[node].flags & GasTree::Node::leaf_flag) != 0;
    }
    std::vector<double> list_half(unsigned node) const {
        std::vector<double> sums = list(node);
        if (!is_leaf(node)) {
            const unsigned child = m_nodes[node].index;
            const std::vector<double> through = add(list(child), list(child + 1));
            sums.insert(sums.end(), through.begin(), through.end());
        }
        return sums;
    }
    static std::vector<double> add(const std::vector<double>& first,
                                   const std::vector<double>& second) {
        std::vector<double> sums;
        for (const double a : first) {
            for (const double b : second)
                sums.push_back(a + b);
        }
        return sums;
    }

    const GasTree::Node* m_nodes;
};

class WideNodes : public testing::TestWithParam<scenes::Kind> {};

TEST_P(WideNodes, HoldEveryLeafOnceWithTheBoxesOfTheTree) {
    for (unsigned count = 2; count <= 300; count += count < 64 ? 1 : 59) {
        GasTree tree;
        tree.set_wide_nodes(true);
        const std::vector<Box> boxes = scenes::make(GetParam(), count, count);
        support::build(tree, boxes, support::all_splits[count % 4]);
        support::fill_samples(tree, {boxes, scenes::make(GetParam(), count, count + 1)});
        const WideChecker checker(tree);
        ASSERT_EQ(checker.get_flaw(), "") << count;
        EXPECT_NE(support::get_wide_sample(tree, 0), nullptr);
        EXPECT_NE(support::get_wide_sample(tree, 1), nullptr);
        EXPECT_EQ(tree.get_wide_nodes_size(), get_expected_size(checker.get_count(), 2)) << count;
    }
}

TEST_P(WideNodes, AreChosenWithTheLeastSumOfAreas) {
    for (unsigned count = 2; count <= 12; ++count) {
        for (unsigned seed = 0; seed < 10; ++seed) {
            GasTree tree;
            support::build(tree, scenes::make(GetParam(), count, seed));
            tree.set_wide_nodes(true);
            const WideChecker checker(tree);
            ASSERT_EQ(checker.get_flaw(), "") << count;
            const std::vector<double> areas = Choices(tree).list(0);
            const double least = *std::min_element(areas.begin(), areas.end());
            // They are added up in floats, where the largest scenes' areas overflow and the
            // smallest ones' vanish.
            if (least > 1e37 || least < 1e-37)
                continue;
            EXPECT_GE(checker.get_area(), least * (1.0 - 1e-6)) << count << ", seed " << seed;
            EXPECT_LE(checker.get_area(), least * (1.0 + 1e-6)) << count << ", seed " << seed;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, WideNodes, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

TEST(WideNodesOfARow, HaveTheLanesThatOneExpects) {
    // Two leaves: a lane of each half. Four in a row: all lanes.
    for (const unsigned count : {2u, 4u}) {
        GasTree tree;
        tree.set_wide_nodes(true);
        support::build(tree, support::row_of_boxes(count));
        const GasWideNode* const nodes = support::get_wide_nodes(tree);
        ASSERT_NE(nodes, nullptr);
        EXPECT_EQ(nodes[0].binary_node, 0u);
        constexpr unsigned none = GasWideNode::no_reference;
        const auto leaf = [](unsigned item) { return item | GasWideNode::leaf_flag; };
        const std::vector<unsigned> expected =
            count == 2 ? std::vector<unsigned>{leaf(0), none, leaf(1), none}
                       : std::vector<unsigned>{leaf(0), leaf(1), leaf(2), leaf(3)};
        EXPECT_EQ(std::vector<unsigned>(nodes[0].references, nodes[0].references + 4), expected);
        if (count == 4) {
            const float min_x[] = {0.0f, 10.0f, 20.0f, 30.0f};
            EXPECT_TRUE(std::equal(min_x, min_x + 4, nodes[0].planes[0]));
        }
        EXPECT_EQ(tree.get_wide_nodes_size(), get_expected_size(1, 0));
    }
}

TEST(WideNodesOrder, ServeATreeWhileEveryBoxIsInOrder) {
    for (const support::Twist twist : support::all_twists) {
        unsigned served = 0;
        for (unsigned seed = 0; seed < 20; ++seed) {
            support::SeededRandom random(seed);
            std::vector<Box> boxes = scenes::make(scenes::Kind::random, 40, seed);
            support::twist_boxes(boxes, twist, random);
            bool in_order = true;
            for (const Box& box : boxes) {
                for (unsigned axis = 0; axis < 3; ++axis)
                    in_order = in_order && box.min[axis] <= box.max[axis];
            }
            GasTree tree;
            tree.set_wide_nodes(true);
            support::build(tree, boxes);
            EXPECT_TRUE(tree.has_wide_nodes());
            EXPECT_EQ(support::get_wide_nodes(tree) != nullptr, in_order) << seed;
            served += in_order;
            if (in_order) {
                EXPECT_EQ(find_wide_flaw(tree), "") << seed;
            }
        }
        EXPECT_EQ(served == 20, support::keeps_order(twist));
    }
}

TEST(WideNodesOrder, OneInvertedOrNaNCoordinateAnywhereIsEnough) {
    const std::vector<Box> good = scenes::make(scenes::Kind::random, 9, 1);
    GasTree tree;
    tree.set_wide_nodes(true);
    support::build(tree, good);
    support::fill_samples(tree, {good, good});
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    for (unsigned item = 0; item < 9; ++item) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            for (const float value : {1e30f, not_a_number, -infinity}) {
                for (const bool is_min : {true, false}) {
                    std::vector<Box> boxes = good;
                    (is_min ? boxes[item].min : boxes[item].max)[axis] = value;
                    const bool in_order = boxes[item].min[axis] <= boxes[item].max[axis];
                    ASSERT_TRUE(tree.refit(support::to_boxes(boxes)));
                    EXPECT_EQ(support::get_wide_nodes(tree) != nullptr, in_order);
                    // Samples are finite as well.
                    const bool is_finite = value != -infinity;
                    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(boxes), 1));
                    EXPECT_EQ(support::get_wide_sample(tree, 1) != nullptr, in_order && is_finite);
                    EXPECT_NE(support::get_wide_sample(tree, 0), nullptr);
                }
            }
        }
    }
    ASSERT_TRUE(tree.refit(support::to_boxes(good)));
    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(good), 1));
    EXPECT_NE(support::get_wide_sample(tree, 1), nullptr);
    EXPECT_EQ(find_wide_flaw(tree), "");
}

} // namespace
