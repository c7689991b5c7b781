// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include <gas/tree/gas_tree.h>

#include <tests/support/axis_cases.h>
#include <tests/support/tree_checker.h>

namespace {

using Corner = GMathVec3<float>;

constexpr unsigned all_bits = 0xffffffffu;

GasTree::Node make_node(const Corner& min, const Corner& max) { return {min, 0, max, 0}; }

/// The code that a parent with these flags gets.
unsigned order_code(const GasTree::Node& first, const GasTree::Node& second, unsigned flags = 0) {
    GasTree::Node parent = make_node({0, 0, 0}, {0, 0, 0});
    parent.flags = flags;
    GasTree::compute_node_traversal_order(parent, first, second);
    EXPECT_EQ(parent.flags & ~0xeu, flags & ~0xeu) << "bits other than 1 to 3 change";
    return support::get_order_code(parent);
}

/// Unit boxes at two points.
unsigned code_of_unit_boxes(const Corner& first, const Corner& second) {
    return order_code(make_node(first, first + Corner{1, 1, 1}),
                      make_node(second, second + Corner{1, 1, 1}));
}

} // namespace

TEST(TraversalOrder, TheAxisOfTheLargestGapAndTheLowChildDecide) {
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {5, 2, 2}), 0u);
    EXPECT_EQ(code_of_unit_boxes({5, 2, 2}, {0, 0, 0}), 4u);
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {2, 5, 2}), 1u);
    EXPECT_EQ(code_of_unit_boxes({2, 5, 2}, {0, 0, 0}), 5u);
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {2, 2, 5}), 2u);
    EXPECT_EQ(code_of_unit_boxes({2, 2, 5}, {0, 0, 0}), 6u);
}

TEST(TraversalOrder, EqualGapsKeepTheEarlierCandidate) {
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {3, 3, 3}), 0u);
    EXPECT_EQ(code_of_unit_boxes({3, 3, 3}, {0, 0, 0}), 4u);
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {-3, 3, 3}), 4u);
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {0, -3, 3}), 5u);
    EXPECT_EQ(code_of_unit_boxes({0, 0, 0}, {0, 3, -3}), 1u);
}

TEST(TraversalOrder, OverlappingChildrenGetTheLeastOverlap) {
    const GasTree::Node first = make_node({0, 0, 0}, {4, 4, 4});
    EXPECT_EQ(order_code(first, make_node({1, 2, 3}, {5, 6, 7})), 2u);
    EXPECT_EQ(order_code(first, make_node({-1, -3, -2}, {3, 1, 2})), 5u);
}

TEST(TraversalOrder, IdenticalBoxesGetTheirThinnestAxis) {
    support::expect_axes(support::thinnest_axes, [](float x, float y, float z) {
        const GasTree::Node node = make_node({0, 0, 0}, {x, y, z});
        return order_code(node, node);
    });
}

TEST(TraversalOrder, OtherFlagsStay) {
    const GasTree::Node low = make_node({0, 0, 0}, {1, 1, 1});
    const GasTree::Node high = make_node({0, 9, 0}, {1, 10, 1});
    EXPECT_EQ(order_code(low, high, all_bits), 1u);
    EXPECT_EQ(order_code(high, low, 1), 5u);
    EXPECT_EQ(order_code(high, low, 0), 5u);
}

TEST(TraversalOrder, TheOldCodeStaysWhereNoGapCompares) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Corner nowhere = {not_a_number, not_a_number, not_a_number};
    const GasTree::Node lost = make_node(nowhere, nowhere);
    const GasTree::Node endless =
        make_node({-infinity, -infinity, -infinity}, {infinity, infinity, infinity});
    const GasTree::Node largest = make_node({-3e38f, -3e38f, -3e38f}, {3e38f, 3e38f, 3e38f});
    for (const unsigned code : {0u, 1u, 2u, 4u, 5u, 6u}) {
        EXPECT_EQ(order_code(lost, lost, code << 1), code);
        EXPECT_EQ(order_code(endless, endless, code << 1), code);
        // -3e38 - 3e38 is -infinity, which is not above the lowest float.
        EXPECT_EQ(order_code(largest, largest, code << 1), code);
    }
}

TEST(TraversalOrder, AnAxisThatComparesWinsOverOnesThatDoNot) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    const GasTree::Node first = make_node({not_a_number, 0, not_a_number}, {1, 9, 1});
    const GasTree::Node second = make_node({0, 1, 0}, {not_a_number, 2, not_a_number});
    // x: 0 - 1 compares, from second min and first max; so does z. y overlaps by 2 - 0 and 9 - 1.
    EXPECT_EQ(order_code(first, second), 0u);
    EXPECT_EQ(order_code(second, first), 4u);
}
