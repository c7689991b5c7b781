// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/compressed_checker.h>
#include <tests/support/drawn_progress.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::is_leaf;
using support::point_box;
using support::QuietProgress;

constexpr unsigned fast_setting = 2;

/// A node's children and which of them are leaves, by hand.
struct Children {
    unsigned first;
    unsigned second;
    unsigned leaf_flags;
};

void expect_children(const GasCompressedTree& tree, const std::vector<Children>& expected) {
    ASSERT_EQ(tree.get_node_count(), expected.size());
    for (unsigned i = 0; i < expected.size(); ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        EXPECT_EQ(node.children[0], expected[i].first) << i;
        EXPECT_EQ(node.children[1], expected[i].second) << i;
        EXPECT_EQ(node.flags & 3u, expected[i].leaf_flags) << i;
    }
}

/// Whether two subtrees hold the same leaves in the same places. A GasTree cuts the same way and
/// numbers otherwise.
void expect_same_cuts(const GasCompressedTree& tree, const naive::Tree& plain) {
    struct Pair {
        unsigned node;
        unsigned plain_node;
    };
    std::vector<Pair> pending = {{0, 0}};
    while (!pending.empty()) {
        const Pair pair = pending.back();
        pending.pop_back();
        const GasCompressedNode& node = tree.get_nodes()[pair.node];
        for (unsigned child = 0; child < 2; ++child) {
            const unsigned plain_child = plain.nodes[pair.plain_node].index + child;
            const naive::Node& other = plain.nodes[plain_child];
            ASSERT_EQ(is_leaf(node, child), other.leaf);
            if (other.leaf)
                ASSERT_EQ(node.children[child], other.index);
            else
                pending.push_back({node.children[child], plain_child});
        }
    }
}

/// What a build over `count` boxes draws in a bar that stands at 70 percent.
std::string get_drawn_lines(unsigned count) {
    support::DrawnProgress progress(Split::sah_fast);
    progress.bar.set_value(0.7f);
    GasCompressedTree tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, count, 1)), nullptr, &progress.bar);
    return progress.get_lines();
}

} // namespace

TEST(CompressedBuild, OneItemIsARecordOfTwoLeavesThatNobodyWalks) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {{{1, 2, 3}, {4, 5, 6}}};
        GasCompressedTree tree;
        support::build(tree, boxes, split);
        EXPECT_FALSE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 1u);
        EXPECT_EQ(tree.get_node_count(), 1u);
        EXPECT_EQ(tree.get_depth(), 1u);
        EXPECT_EQ(tree.get_root_index(), 0u);
        EXPECT_EQ(tree.get_bbox(), support::to_box(boxes[0]));
        EXPECT_EQ(support::get_bytes(tree),
                  (std::vector<unsigned char>{0xFF, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF, 3, 0, 0, 0, 0,
                                              0, 0, 0, 0}));
    }
}

TEST(CompressedBuild, TwoItemsKeepTheirOrder) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {point_box(9, 0, 0), point_box(0, 0, 0)};
        GasCompressedTree tree;
        support::build(tree, boxes, split);
        EXPECT_EQ(tree.get_leaf_count(), 2u);
        EXPECT_EQ(tree.get_depth(), 2u);
        expect_children(tree, {{0, 1, 3}});
        EXPECT_EQ(tree.get_nodes()[0].flags, 0x13); // both leaves, x, the first above
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
    }
}

// The median's partition exchanges what lies above the middle with items from the back.
TEST(CompressedBuild, ThreeItemsAreALeafAndANodeOrANodeAndALeaf) {
    GasCompressedTree tree;
    support::build(tree, {point_box(0, 0, 0), point_box(9, 0, 0), point_box(10, 0, 0)},
                   Split::median);
    expect_children(tree, {{0, 1, 1}, {2, 1, 3}});
    EXPECT_EQ(tree.get_depth(), 3u);
    support::build(tree, {point_box(0, 0, 0), point_box(1, 0, 0), point_box(10, 0, 0)},
                   Split::median);
    expect_children(tree, {{1, 2, 2}, {0, 1, 3}});
    EXPECT_EQ(tree.get_depth(), 3u);
}

TEST(CompressedBuild, FourItemsInPairsHaveNoLeafUnderTheRoot) {
    GasCompressedTree tree;
    support::build(
        tree, {point_box(0, 0, 0), point_box(1, 0, 0), point_box(9, 0, 0), point_box(10, 0, 0)},
        Split::median);
    expect_children(tree, {{1, 2, 0}, {0, 1, 3}, {3, 2, 3}});
    EXPECT_EQ(tree.get_depth(), 3u);
}

// Middle at 5: items 0, 2 and 3 on the low side, then 0 and 2 below 2.
TEST(CompressedBuild, BothChildrenAreNumberedBeforeEitherIsDivided) {
    const std::vector<Box> boxes = {point_box(0, 0, 0), point_box(10, 0, 0), point_box(1, 0, 0),
                                    point_box(4, 0, 0), point_box(8, 0, 0)};
    GasCompressedTree tree;
    support::build(tree, boxes, Split::median);
    expect_children(tree, {{1, 2, 0}, {3, 3, 2}, {4, 1, 3}, {0, 2, 3}});
    EXPECT_EQ(tree.get_depth(), 4u);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}

TEST(CompressedBuild, TheCutsAreThoseOfTheTreeWithFloatBoxes) {
    for (const Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {2u, 3u, 17u, 130u, 700u}) {
                const std::vector<Box> boxes = scenes::make(kind, count, count);
                const naive::Tree plain = naive::build(boxes, split);
                GasCompressedTree tree;
                support::build(tree, boxes, split);
                expect_same_cuts(tree, plain);
                EXPECT_EQ(tree.get_depth(), plain.depth);
            }
        }
    }
}

TEST(CompressedBuild, TheBarStepsOnceAPercentAtMostAndEndsFull) {
    const auto fill = [](unsigned count, unsigned interval, float increment) {
        QuietProgress progress(fast_setting);
        GasCompressedTree tree;
        tree.create(support::to_boxes(scenes::make(Kind::random, count, 1)), nullptr,
                    &progress.bar);
        EXPECT_EQ(progress.bar.get_step_interval(), interval) << count;
        EXPECT_EQ(progress.bar.get_step_increment(), increment) << count;
        EXPECT_EQ(progress.bar.get_value(), 1.0f) << count;
    };
    fill(1000, 10, 0.01f);
    fill(50, 1, 0.02f);
    fill(100, 1, 0.01f);
    fill(199, 1, 1.0f / 199.0f);
    fill(200, 2, 0.01f);
    fill(777, 7, 7.0f / 777.0f);
}

TEST(CompressedBuild, TheBarStartsFromNothingAndFillsUp) {
    const std::string tenths =
        " 10 %\n 20 %\n 30 %\n 40 %\n 50 %\n 60 %\n 70 %\n 80 %\n 90 %\n 100 %\n";
    EXPECT_EQ(get_drawn_lines(1000), " 70 %\n 0 %\n" + tenths);
    EXPECT_EQ(get_drawn_lines(2), " 70 %\n 0 %\n 50 %\n 100 %\n");
}

TEST(CompressedBuild, OneItemFillsTheBarAtOnce) {
    EXPECT_EQ(get_drawn_lines(1), " 70 %\n 100 %\n");
    QuietProgress progress(fast_setting);
    progress.bar.set_step_interval(5);
    progress.bar.set_step_increment(0.125f);
    GasCompressedTree tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, 1, 1)), nullptr, &progress.bar);
    EXPECT_EQ(progress.bar.get_step_interval(), 5u);
    EXPECT_EQ(progress.bar.get_step_increment(), 0.125f);
    EXPECT_EQ(progress.bar.get_value(), 1.0f);
}

TEST(CompressedBuild, BoundsOfListedItemsStartFromTheFirst) {
    const CoreArray<GMathBbox3<float>> boxes =
        support::to_boxes({point_box(50, 50, 50), {{1, 2, 3}, {4, 5, 6}}, {{0, 9, 3}, {2, 9, 7}}});
    const GMathVec3<float> centers[] = {{50, 50, 50}, {1, 2, 3}, {0, 9, 3}};
    const unsigned items[] = {1, 2};
    const auto bound = [&](unsigned count, const auto* of) {
        return GasCompressedTree::compute_items_bbox(items, count, of);
    };
    using Bounds = GMathBbox3<float>;
    EXPECT_EQ(bound(1, boxes.get_items()), (Bounds{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(bound(2, boxes.get_items()), (Bounds{{0, 2, 3}, {4, 9, 7}}));
    EXPECT_EQ(bound(1, centers), (Bounds{{1, 2, 3}, {1, 2, 3}}));
    EXPECT_EQ(bound(2, centers), (Bounds{{0, 2, 3}, {1, 9, 3}}));
}

TEST(CompressedBuild, SeveralThreadsGiveTheSameTree) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const CoreArray<GMathBbox3<float>> boxes =
            support::to_boxes(scenes::make(kind, support::scale(20000, 6000), 6));
        for (const naive::Split split : support::all_splits) {
            support::QuietProgress expected_progress(split);
            GasCompressedTree expected;
            expected.create(boxes, nullptr, &expected_progress.bar);
            for (const unsigned thread_count : {1u, 2u, 7u}) {
                support::QuietProgress progress(split);
                SysThreadTaskManager manager(nullptr);
                GasCompressedTree tree;
                tree.create(boxes, nullptr, &progress.bar, manager, thread_count);
                ASSERT_EQ(tree.get_node_count(), expected.get_node_count());
                EXPECT_EQ(tree.get_depth(), expected.get_depth());
                EXPECT_EQ(tree.get_bbox(), expected.get_bbox());
                EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                                      tree.get_node_count() * sizeof(GasCompressedNode)),
                          0)
                    << scenes::name(kind) << ", " << support::name(split) << ", " << thread_count;
                EXPECT_EQ(progress.bar.get_value(), 1.0f);
            }
        }
    }
}

TEST(CompressedBuild, SeveralThreadsGiveTheSameTreeOverANaN) {
    std::vector<naive::Box> scene = scenes::make(scenes::Kind::random, 20000, 6);
    scene[12345].min[1] = std::numeric_limits<float>::quiet_NaN();
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(scene);
    GasCompressedTree expected;
    expected.create(boxes, nullptr, nullptr);
    SysThreadTaskManager manager(nullptr);
    GasCompressedTree tree;
    tree.create(boxes, nullptr, nullptr, manager, 3);
    EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                          tree.get_node_count() * sizeof(GasCompressedNode)),
              0);
    tree.create(CoreArray<GMathBbox3<float>>(), nullptr, nullptr, manager, 3);
    EXPECT_TRUE(tree.is_empty());
}
