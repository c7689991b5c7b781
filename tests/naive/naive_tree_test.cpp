#include <tests/naive/naive_tree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include <tests/support/axis_cases.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using naive::Split;
using naive::Tree;
using Items = std::vector<unsigned>;

constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
Box point(float x, float y, float z) { return {{x, y, z}, {x, y, z}}; }

bool same_bits(const Box& a, const Box& b) { return std::memcmp(&a, &b, sizeof(Box)) == 0; }

TEST(NaiveCode, NamesTheWidestGapAndTheLowChild) {
    const Box low = {{0, 0, 0}, {1, 1, 1}};
    const Box along_y = {{2, 4, 0}, {3, 5, 1}};
    EXPECT_EQ(naive::traversal_code(0, low, along_y), 1u);
    EXPECT_EQ(naive::traversal_code(0, along_y, low), 5u);
    const Box along_z = {{0, 0, -3}, {1, 1, -2}};
    EXPECT_EQ(naive::traversal_code(0, low, along_z), 6u);
    EXPECT_EQ(naive::traversal_code(0, along_z, low), 2u);
}

TEST(NaiveCode, IdenticalBoxesGetTheirThinnestAxis) {
    support::expect_axes(support::thinnest_axes, [](float x, float y, float z) {
        const Box box = {{0, 0, 0}, {x, y, z}};
        return naive::traversal_code(7, box, box);
    });
}

TEST(NaiveCode, StaysWhenNoGapCompares) {
    const Box box = point(not_a_number, not_a_number, not_a_number);
    EXPECT_EQ(naive::traversal_code(6, box, box), 6u);
}

TEST(NaiveProgress, StepsAndIncrements) {
    const naive::Progress thousand = naive::progress_settings(1000, 1.0f);
    EXPECT_EQ(thousand.step_interval, 10u);
    EXPECT_EQ(thousand.step_increment, 10.0f / 1000.0f);
    const naive::Progress fifty = naive::progress_settings(50, 1.0f);
    EXPECT_EQ(fifty.step_interval, 1u);
    EXPECT_EQ(fifty.step_increment, 1.0f / 50.0f);
    EXPECT_EQ(naive::progress_settings(1000, 0.01f).step_interval, 1000u);
    EXPECT_EQ(naive::progress_settings(1000, 0.001f).step_interval, 1000u);
}

TEST(NaiveBuild, NoneOneTwoAndThree) {
    EXPECT_TRUE(naive::build({}, Split::sah).nodes.empty());

    const Tree one = naive::build({point(1, 2, 3)}, Split::sah);
    ASSERT_EQ(one.nodes.size(), 1u);
    EXPECT_TRUE(one.nodes[0].leaf);
    EXPECT_EQ(one.nodes[0].index, 0u);
    EXPECT_EQ(one.depth, 1u);

    // Two items are not sorted: the first one is the first child.
    const Tree two = naive::build({point(5, 0, 0), point(1, 0, 0)}, Split::sah);
    ASSERT_EQ(two.nodes.size(), 3u);
    EXPECT_EQ(two.depth, 2u);
    EXPECT_EQ(two.nodes[0].index, 1u);
    EXPECT_EQ(two.nodes[0].order_code, 4u);
    EXPECT_EQ(two.nodes[1].index, 0u);
    EXPECT_EQ(two.nodes[2].index, 1u);

    const Tree three =
        naive::build({point(0, 0, 0), point(0, 0, 0), point(10, 0, 0)}, Split::median);
    ASSERT_EQ(three.nodes.size(), 5u);
    EXPECT_EQ(three.nodes[0].index, 1u);
    EXPECT_EQ(three.nodes[1].index, 3u);
    EXPECT_TRUE(three.nodes[2].leaf);
    EXPECT_EQ(three.nodes[2].index, 2u);
    EXPECT_EQ(three.nodes[0].order_code, 0u);
    EXPECT_EQ(three.progress_calls, (Items{1, 2, 3}));
}

TEST(NaiveBuild, NarrowRoundsToTheNearestFloat) {
    const std::vector<Box> boxes = naive::narrow({{{0.1, -0.1, 1.0}, {1e-60, 16777217.0, 2.0}}});
    EXPECT_TRUE(same_bits(boxes[0], {{0.1f, -0.1f, 1.0f}, {0.0f, 16777216.0f, 2.0f}}));
}

void check_tree(const Tree& tree, const std::vector<Box>& boxes) {
    const unsigned count = static_cast<unsigned>(boxes.size());
    ASSERT_EQ(tree.leaf_count, count);
    ASSERT_EQ(tree.nodes.size(), 2 * boxes.size() - 1);
    std::vector<unsigned> level(tree.nodes.size(), 1);
    std::vector<bool> seen(count, false);
    unsigned next_pair = 1;
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        const naive::Node& node = tree.nodes[i];
        if (node.leaf) {
            ASSERT_LT(node.index, count);
            EXPECT_FALSE(seen[node.index]);
            seen[node.index] = true;
            EXPECT_TRUE(same_bits(node.box, boxes[node.index]));
            continue;
        }
        ASSERT_GT(node.index, i);
        ASSERT_LT(node.index + 1, tree.nodes.size());
        EXPECT_EQ(node.index % 2, 1u);
        level[node.index] = level[node.index + 1] = level[i] + 1;
        const Box& first = tree.nodes[node.index].box;
        const Box& second = tree.nodes[node.index + 1].box;
        EXPECT_TRUE(same_bits(node.box, naive::unite(first, second)));
        EXPECT_EQ(node.order_code, naive::traversal_code(0, first, second));
        next_pair += 2;
    }
    EXPECT_EQ(next_pair, tree.nodes.size());
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<std::ptrdiff_t>(count));
    EXPECT_EQ(*std::max_element(level.begin(), level.end()), tree.depth);
    EXPECT_EQ(tree.progress_calls.size(), boxes.size());
}

TEST(NaiveBuild, EverySceneGivesASoundTree) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (unsigned count = 1; count <= 300; count += count < 40 ? 1 : 37) {
            const std::vector<Box> boxes = scenes::make(kind, count, count);
            ASSERT_EQ(boxes.size(), count);
            for (const Split split : naive::all_splits) {
                SCOPED_TRACE(std::string(scenes::name(kind)) + " " + std::to_string(count));
                check_tree(naive::build(boxes, split), boxes);
            }
        }
    }
}

TEST(NaiveBuild, DeepTreesNeedNoCallStack) {
    const std::vector<Box> boxes = scenes::sheet(2500, 0.9375f);
    const Tree tree = naive::build(boxes, Split::sah);
    EXPECT_GT(tree.depth, 1000u);
    check_tree(tree, boxes);
}

TEST(NaiveRefit, RefusesTheWrongNumberOfBoxes) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 10, 1);
    Tree tree = naive::build(boxes, Split::sah);
    naive::set_sample_count(tree, 2);
    for (const unsigned count : {9u, 11u}) {
        const std::vector<Box> others = scenes::make(scenes::Kind::random, count, 2);
        EXPECT_FALSE(naive::refit(tree, others));
        EXPECT_FALSE(naive::refit_sample(tree, others, 0));
    }
    EXPECT_FALSE(naive::refit_sample(tree, boxes, 2));
    EXPECT_TRUE(tree.samples[0].empty());
    check_tree(tree, boxes);
    Tree empty;
    EXPECT_TRUE(naive::refit(empty, {}));
    EXPECT_FALSE(naive::refit_sample(empty, {}, 0));
}

TEST(NaiveRefit, KeepsTheTopologyAndFollowsTheBoxes) {
    Tree tree = naive::build(scenes::make(scenes::Kind::random, 100, 1), Split::sah_fast);
    const std::vector<Box> moved = scenes::make(scenes::Kind::clustered, 100, 2);
    const Tree before = tree;
    ASSERT_TRUE(naive::refit(tree, moved));
    check_tree(tree, moved);
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        EXPECT_EQ(tree.nodes[i].index, before.nodes[i].index);
    }
    Tree with_sample = before;
    naive::set_sample_count(with_sample, 1);
    ASSERT_TRUE(naive::refit_sample(with_sample, moved, 0));
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        EXPECT_TRUE(same_bits(with_sample.samples[0][i], tree.nodes[i].box));
        EXPECT_TRUE(same_bits(with_sample.nodes[i].box, before.nodes[i].box));
    }
}

TEST(NaiveRefit, ResizingTheSampleTableKeepsWhatStays) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 5, 1);
    Tree tree = naive::build(boxes, Split::median);
    naive::set_sample_count(tree, 3);
    for (unsigned sample = 0; sample < 3; ++sample) {
        ASSERT_TRUE(naive::refit_sample(tree, boxes, sample));
    }
    naive::set_sample_count(tree, 5);
    EXPECT_EQ(tree.samples[2].size(), 9u);
    EXPECT_TRUE(tree.samples[3].empty());
    naive::set_sample_count(tree, 1);
    EXPECT_EQ(tree.samples[0].size(), 9u);
    naive::set_sample_count(tree, 0);
    EXPECT_TRUE(tree.samples.empty());
}

} // namespace
