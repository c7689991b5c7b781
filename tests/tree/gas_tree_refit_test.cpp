#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::get_order_code;
using support::point_box;
using support::to_boxes;

constexpr unsigned item_count = 33;

std::vector<Box> first_boxes() { return scenes::make(Kind::random, item_count, 1); }
std::vector<Box> moved_boxes(unsigned seed) {
    return scenes::make(Kind::clustered, item_count, seed);
}

std::vector<GasTree::Node> get_nodes(const GasTree& tree) {
    return {tree.get_nodes(), tree.get_nodes() + tree.get_node_count()};
}

bool are_same_bytes(const std::vector<GasTree::Node>& first,
                    const std::vector<GasTree::Node>& second) {
    return first.size() == second.size() &&
           std::memcmp(first.data(), second.data(), first.size() * sizeof(first[0])) == 0;
}

std::vector<Box> get_sample(const GasTree& tree, unsigned sample) {
    std::vector<Box> boxes;
    for (unsigned node = 0; node < tree.get_node_count(); ++node)
        boxes.push_back(support::get_sample_box(tree, node, sample));
    return boxes;
}

void expect_same_boxes(const std::vector<Box>& boxes, const std::vector<Box>& expected) {
    ASSERT_EQ(boxes.size(), expected.size());
    for (std::size_t i = 0; i < boxes.size(); ++i)
        EXPECT_TRUE(support::has_same_bits(boxes[i], expected[i])) << i;
}

} // namespace

TEST(Refit, AnotherNumberOfBoxesIsRefusedAndChangesNothing) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    const std::vector<GasTree::Node> before = get_nodes(tree);
    std::vector<Box> boxes = moved_boxes(2);
    boxes.pop_back();
    EXPECT_FALSE(tree.refit(to_boxes(boxes)));
    boxes.resize(item_count + 1, point_box(0, 0, 0));
    EXPECT_FALSE(tree.refit(to_boxes(boxes)));
    EXPECT_FALSE(tree.refit({}));
    EXPECT_TRUE(are_same_bytes(get_nodes(tree), before));
}

TEST(Refit, AnEmptyTreeTakesNoBoxes) {
    GasTree tree;
    EXPECT_TRUE(tree.refit({}));
    EXPECT_FALSE(tree.refit(to_boxes({point_box(0, 0, 0)})));
    EXPECT_TRUE(tree.is_empty());
}

TEST(Refit, BoxesAndOrderCodesFollowTheItemsAndTheTopologyStays) {
    for (const Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, first_boxes(), split);
        const std::vector<GasTree::Node> before = get_nodes(tree);
        const std::vector<Box> boxes = moved_boxes(2);
        ASSERT_TRUE(tree.refit(to_boxes(boxes)));
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
        EXPECT_FALSE(are_same_bytes(get_nodes(tree), before));
        for (unsigned i = 0; i < tree.get_node_count(); ++i) {
            EXPECT_EQ(tree.get_nodes()[i].index, before[i].index);
            EXPECT_EQ(tree.get_nodes()[i].flags & 1, before[i].flags & 1);
        }
    }
}

TEST(Refit, TheFirstBoxesBringTheFirstTreeBack) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::hybrid);
    const std::vector<GasTree::Node> before = get_nodes(tree);
    ASSERT_TRUE(tree.refit(to_boxes(moved_boxes(3))));
    ASSERT_TRUE(tree.refit(to_boxes(first_boxes())));
    EXPECT_TRUE(are_same_bytes(get_nodes(tree), before));
}

TEST(Refit, ALoneLeafTakesItsBox) {
    GasTree tree;
    support::build(tree, {point_box(1, 2, 3)}, Split::sah);
    ASSERT_TRUE(tree.refit(to_boxes({{{4, 5, 6}, {7, 8, 9}}})));
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{4, 5, 6}, {7, 8, 9}}));
    EXPECT_EQ(tree.get_nodes()[0].flags & 15, 1u);
}

TEST(Refit, OrderCodesStayWhereNoGapCompares) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    const Box lost = point_box(not_a_number, not_a_number, not_a_number);
    GasTree tree;
    support::build(tree, {point_box(0, 9, 0), point_box(0, 1, 0)}, Split::sah);
    ASSERT_EQ(get_order_code(tree.get_nodes()[0]), 5u);
    ASSERT_TRUE(tree.refit(to_boxes({lost, lost})));
    EXPECT_EQ(get_order_code(tree.get_nodes()[0]), 5u);
    EXPECT_EQ(tree.get_nodes()[0].flags & 1, 0u);
    ASSERT_TRUE(tree.refit(to_boxes({point_box(0, 0, 1), point_box(0, 0, 9)})));
    EXPECT_EQ(get_order_code(tree.get_nodes()[0]), 2u);

    // A fresh tree starts from code 0.
    support::build(tree, {lost, lost}, Split::sah);
    EXPECT_EQ(tree.get_nodes()[0].flags & 15, 0u);
}

// The minimum takes the second child's value unless the first is smaller or nothing compares, the
// maximum the first child's only when it is larger.
TEST(Refit, UnionsOrderEqualAndUnorderedValues) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    GasTree tree;
    support::build(tree, {point_box(0, 0, 0), point_box(1, 0, 0)}, Split::sah);
    ASSERT_TRUE(tree.refit(to_boxes({{{0.0f, -0.0f, not_a_number}, {0.0f, -0.0f, not_a_number}},
                                     {{-0.0f, 0.0f, 2.0f}, {-0.0f, 0.0f, 2.0f}}})));
    const GMathBbox3<float> first_lost = tree.get_bbox();
    EXPECT_TRUE(std::signbit(first_lost.min.x));
    EXPECT_FALSE(std::signbit(first_lost.min.y));
    EXPECT_TRUE(std::isnan(first_lost.min.z));
    EXPECT_TRUE(std::signbit(first_lost.max.x));
    EXPECT_FALSE(std::signbit(first_lost.max.y));
    EXPECT_EQ(first_lost.max.z, 2.0f);

    ASSERT_TRUE(tree.refit(
        to_boxes({{{0, 0, 2}, {0, 0, 2}}, {{0, 0, not_a_number}, {0, 0, not_a_number}}})));
    EXPECT_EQ(tree.get_bbox().min.z, 2.0f);
    EXPECT_TRUE(std::isnan(tree.get_bbox().max.z));
}

TEST(Refit, TheBoxOfATreeIsItsRoots) {
    EXPECT_EQ(GasTree().get_bbox(), GMathBbox3<float>());
    GasTree tree;
    support::build(tree, {{{-1, 2, 0}, {0, 3, 1}}, {{5, -2, 0}, {6, 1, 4}}}, Split::median);
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{-1, -2, 0}, {6, 3, 4}}));
}

TEST(MotionSamples, AFilledSampleHoldsTheUnionsOfItsBoxes) {
    for (const Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, first_boxes(), split);
        naive::Tree expected = naive::build(first_boxes(), split);
        tree.set_motion_blur_sample_count(3);
        naive::set_sample_count(expected, 3);
        for (const unsigned sample : {2u, 0u, 1u}) {
            ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(sample)), sample));
            ASSERT_TRUE(naive::refit_sample(expected, moved_boxes(sample), sample));
            EXPECT_EQ(support::find_difference(tree, expected), "");
        }
        EXPECT_EQ(tree.get_blurred_bbox(1), support::to_box(expected.samples[1][0]));
    }
}

TEST(MotionSamples, FillingLeavesTheMainBoxesAlone) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    const std::vector<GasTree::Node> before = get_nodes(tree);
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    EXPECT_TRUE(are_same_bytes(get_nodes(tree), before));
    // And refitting those leaves the sample alone.
    const std::vector<Box> sample = get_sample(tree, 0);
    ASSERT_TRUE(tree.refit(to_boxes(moved_boxes(3))));
    expect_same_boxes(get_sample(tree, 0), sample);
}

TEST(MotionSamples, AnotherNumberOfBoxesIsRefusedAndChangesNothing) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    const std::vector<Box> sample = get_sample(tree, 0);
    std::vector<Box> boxes = moved_boxes(3);
    boxes.pop_back();
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(boxes), 0));
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(boxes), 1));
    expect_same_boxes(get_sample(tree, 0), sample);
    EXPECT_EQ(tree.get_blurred_bbox(1), GMathBbox3<float>());
}

TEST(MotionSamples, ASampleBeyondTheCountIsRefused) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 0));
    tree.set_motion_blur_sample_count(2);
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 2));
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 0xffffffffu));
    EXPECT_TRUE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 1));
}

TEST(MotionSamples, BoxesOfMissingSamplesAreZero) {
    EXPECT_EQ(GasTree().get_blurred_bbox(0), GMathBbox3<float>());
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    EXPECT_EQ(tree.get_blurred_bbox(0), GMathBbox3<float>());
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 1));
    EXPECT_EQ(tree.get_blurred_bbox(0), GMathBbox3<float>()) << "never filled";
    EXPECT_EQ(tree.get_blurred_bbox(1), tree.get_bbox());
    EXPECT_EQ(tree.get_blurred_bbox(2), GMathBbox3<float>()) << "beyond the samples";
}

TEST(MotionSamples, GrowingAndShrinkingKeepsTheLowerSamples) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::hybrid);
    naive::Tree expected = naive::build(first_boxes(), Split::hybrid);
    const auto resize = [&](unsigned count) {
        tree.set_motion_blur_sample_count(count);
        naive::set_sample_count(expected, count);
        EXPECT_EQ(tree.get_motion_blur_sample_count(), count);
        EXPECT_EQ(support::find_difference(tree, expected), "") << count;
    };
    resize(3);
    for (unsigned sample = 0; sample < 3; ++sample) {
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(sample)), sample));
        ASSERT_TRUE(naive::refit_sample(expected, moved_boxes(sample), sample));
    }
    resize(3);
    resize(5);
    resize(1);
    resize(4);
    resize(0);
    resize(2);
}

TEST(MotionSamples, RefillingReplacesTheBoxes) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(1);
    for (const unsigned seed : {4u, 5u}) {
        naive::Tree expected = naive::build(first_boxes(), Split::sah);
        naive::set_sample_count(expected, 1);
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(seed)), 0));
        ASSERT_TRUE(naive::refit_sample(expected, moved_boxes(seed), 0));
        EXPECT_EQ(support::find_difference(tree, expected), "");
    }
}

TEST(MotionSamples, AnEmptyTreeTakesNoBoxes) {
    GasTree tree;
    tree.set_motion_blur_sample_count(2);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 2u);
    EXPECT_TRUE(tree.refit_motion_blur_sample({}, 1));
    EXPECT_TRUE(tree.refit_motion_blur_sample({}, 1));
    EXPECT_FALSE(tree.refit_motion_blur_sample({}, 2));
    EXPECT_EQ(tree.get_blurred_bbox(1), GMathBbox3<float>());
    tree.clear();
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
}

TEST(MotionSamples, TheCountMayBeTheTreesOwn) {
    GasTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(3);
    tree.set_motion_blur_sample_count(tree.get_motion_blur_sample_count());
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 3u);
}
