#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::point_box;
using support::QuietProgress;

constexpr unsigned fast_setting = 2;

struct BarState {
    unsigned step_interval;
    float step_increment;
    float value;
};

/// How a build over `count` boxes leaves a bar.
BarState fill_bar(unsigned count, float share) {
    QuietProgress progress(fast_setting);
    GasTree tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, count, 1)), nullptr, &progress.bar,
                share);
    return {progress.bar.get_step_interval(), progress.bar.get_step_increment(),
            progress.bar.get_value()};
}

/// Whether the boxes and topology of two trees are equal.
void expect_equal(const GasTree& tree, const GasTree& expected) {
    ASSERT_EQ(tree.get_node_count(), expected.get_node_count());
    EXPECT_EQ(tree.get_leaf_count(), expected.get_leaf_count());
    EXPECT_EQ(tree.get_depth(), expected.get_depth());
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        const GasTree::Node& other = expected.get_nodes()[i];
        EXPECT_EQ(node.index, other.index) << i;
        EXPECT_EQ(node.flags & 15, other.flags & 15) << i;
        EXPECT_EQ(node.bbox_min, other.bbox_min) << i;
        EXPECT_EQ(node.bbox_max, other.bbox_max) << i;
    }
}

} // namespace

TEST(Build, OneItemIsALeafAtTheRoot) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {{{1, 2, 3}, {4, 5, 6}}};
        GasTree tree;
        support::build(tree, boxes, split);
        EXPECT_FALSE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 1u);
        EXPECT_EQ(tree.get_node_count(), 1u);
        EXPECT_EQ(tree.get_depth(), 1u);
        EXPECT_EQ(tree.get_nodes()[0].flags & 15, 1u);
        EXPECT_EQ(tree.get_nodes()[0].index, 0u);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
    }
}

TEST(Build, TwoItemsKeepTheirOrder) {
    for (const Split split : support::all_splits) {
        const std::vector<Box> boxes = {point_box(9, 0, 0), point_box(0, 0, 0)};
        GasTree tree;
        support::build(tree, boxes, split);
        EXPECT_EQ(tree.get_node_count(), 3u);
        EXPECT_EQ(tree.get_depth(), 2u);
        EXPECT_EQ(tree.get_nodes()[0].index, 1u);
        EXPECT_EQ(tree.get_nodes()[0].flags & 15, 4u << 1);
        EXPECT_EQ(tree.get_nodes()[1].index, 0u);
        EXPECT_EQ(tree.get_nodes()[1].flags & 15, 1u);
        EXPECT_EQ(tree.get_nodes()[2].index, 1u);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
    }
}

// Middle at 5: items 0, 2 and 3 on the low side, then 0 and 2 below 2.
TEST(Build, ChildrenAreNumberedInPairsFirstSubtreesFirst) {
    const std::vector<Box> boxes = {point_box(0, 0, 0), point_box(10, 0, 0), point_box(1, 0, 0),
                                    point_box(4, 0, 0), point_box(8, 0, 0)};
    GasTree tree;
    support::build(tree, boxes, Split::median);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
    EXPECT_EQ(tree.get_depth(), 4u);
    // By node: first child or item, and whether it is a leaf.
    const unsigned expected[9][2] = {{1, 0}, {3, 0}, {7, 0}, {5, 0}, {3, 1},
                                     {0, 1}, {2, 1}, {4, 1}, {1, 1}};
    for (unsigned i = 0; i < 9; ++i) {
        EXPECT_EQ(tree.get_nodes()[i].index, expected[i][0]) << i;
        EXPECT_EQ(tree.get_nodes()[i].flags & 1, expected[i][1]) << i;
    }
}

TEST(Build, ASplitThatLeavesOneSideEmptyIsReplacedByHalves) {
    // The full split leaves the side above the planes at infinity empty, and the one below planes
    // that are no numbers.
    for (const float outlier :
         {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()}) {
        std::vector<Box> boxes(17, point_box(0, 0, 0));
        boxes[16] = point_box(outlier, 0, 0);
        GasTree tree;
        support::build(tree, boxes, Split::sah);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
        // 8 leaves and so 15 nodes below the first child, after the root and its two children.
        EXPECT_EQ(tree.get_nodes()[0].index, 1u);
        EXPECT_EQ(tree.get_nodes()[1].index, 3u);
        EXPECT_EQ(tree.get_nodes()[2].index, 17u);
    }
}

TEST(Build, EveryCountKeepsTheInvariants) {
    for (const Split split : support::all_splits) {
        GasTree tree;
        for (unsigned count = 1; count <= 200; ++count) {
            const std::vector<Box> boxes = scenes::make(Kind::clustered, count, count);
            support::build(tree, boxes, split);
            ASSERT_EQ(support::find_flaw(tree, boxes), "") << count;
        }
    }
}

TEST(Build, TheIndexArrayIsCopied) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 5, 1);
    std::vector<unsigned> indices = {50, 40, 30, 20, 10};
    GasTree tree;
    tree.create(support::to_boxes(boxes), indices.data(), nullptr, 1.0f);
    indices.assign(5, 0);
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{50, 40, 30, 20, 10}));
    // The nodes hold the positions all the same.
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}

TEST(Build, WithoutABarTheSplitIsTheFastSah) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 300, 1);
    GasTree tree;
    tree.create(support::to_boxes(boxes), nullptr, nullptr, 1.0f);
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_sah_bins_fast);
    EXPECT_EQ(support::find_difference(tree, naive::build(boxes, Split::sah_fast)), "");
}

TEST(Build, TheSettingOfTheBarsApplicationChoosesTheSplit) {
    const auto chosen = [](unsigned setting) {
        QuietProgress progress(setting);
        GasTree tree;
        tree.create(support::to_boxes(scenes::make(Kind::random, 9, 1)), nullptr, &progress.bar,
                    1.0f);
        return tree.get_split_callback();
    };
    EXPECT_EQ(chosen(0), &GasTree::split_median);
    EXPECT_EQ(chosen(1), &GasTree::split_hybrid);
    EXPECT_EQ(chosen(2), &GasTree::split_sah_bins_fast);
    EXPECT_EQ(chosen(3), &GasTree::split_sah_bins);
    EXPECT_EQ(chosen(4), &GasTree::split_sah_bins_fast);
    EXPECT_EQ(chosen(7), &GasTree::split_sah_bins_fast);
    EXPECT_EQ(chosen(UINT_MAX), &GasTree::split_sah_bins_fast);
}

TEST(Build, AThousandItemsStepAHundredTimes) {
    const BarState bar = fill_bar(1000, 1.0f);
    EXPECT_EQ(bar.step_interval, 10u);
    EXPECT_EQ(bar.step_increment, 0.01f);
    float value = 0.0f;
    for (unsigned step = 0; step < 100; ++step)
        value += 0.01f;
    EXPECT_EQ(bar.value, value);
}

TEST(Build, FewItemsStepOneByOne) {
    const BarState bar = fill_bar(50, 1.0f);
    EXPECT_EQ(bar.step_interval, 1u);
    EXPECT_EQ(bar.step_increment, 0.02f);
    EXPECT_NEAR(bar.value, 1.0f, 1e-6f);
    EXPECT_EQ(fill_bar(100, 1.0f).step_interval, 1u);
    EXPECT_EQ(fill_bar(199, 1.0f).step_interval, 1u);
    EXPECT_EQ(fill_bar(200, 1.0f).step_interval, 2u);
}

TEST(Build, ABuildFillsItsShareOfTheBar) {
    const BarState quarter = fill_bar(1000, 0.25f);
    EXPECT_EQ(quarter.step_interval, 40u);
    EXPECT_EQ(quarter.step_increment, 0.01f);
    EXPECT_NEAR(quarter.value, 0.25f, 1e-6f);
    // In floats, 0.29 times 100 is exactly 29.
    EXPECT_EQ(fill_bar(1000, 0.29f).step_interval, 1000u / 29);

    const BarState smallest = fill_bar(1000, 0.01f);
    EXPECT_EQ(smallest.step_interval, 1000u);
    EXPECT_EQ(smallest.step_increment, 0.01f);
    EXPECT_EQ(smallest.value, 0.01f);
}

TEST(Build, TwoBuildsShareABar) {
    QuietProgress progress(fast_setting);
    GasTree first;
    GasTree second;
    first.create(support::to_boxes(scenes::make(Kind::random, 100, 1)), nullptr, &progress.bar,
                 0.5f);
    EXPECT_NEAR(progress.bar.get_value(), 0.5f, 1e-5f);
    second.create(support::to_boxes(scenes::make(Kind::random, 70, 1)), nullptr, &progress.bar,
                  0.5f);
    EXPECT_NEAR(progress.bar.get_value(), 1.0f, 1e-5f);
}

TEST(Build, EmptyArraysClearTheTree) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 9, 1);
    const auto expect_cleared = [&](const auto& empty) {
        GasTree tree;
        support::build(tree, boxes, Split::sah, std::vector<unsigned>(9, 1));
        QuietProgress progress(fast_setting);
        tree.create(empty, nullptr, &progress.bar, 1.0f);
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 0u);
        EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree));
        EXPECT_EQ(tree.get_split_callback(), &GasTree::split_sah_bins);
        EXPECT_EQ(progress.bar.get_value(), 0.0f);
    };
    expect_cleared(CoreArray<GMathBbox3<float>>());
    expect_cleared(CoreVector<GMathBbox3<float>>());
    expect_cleared(CoreArray<GMathBbox3<double>>());
}

TEST(Build, AllFormsOfBoxesGiveTheSameTree) {
    const CoreArray<GMathBbox3<float>> array =
        support::to_boxes(scenes::make(Kind::clustered, 100, 5));
    CoreVector<GMathBbox3<float>> vector;
    CoreArray<GMathBbox3<double>> doubles(array.get_count());
    for (unsigned i = 0; i < array.get_count(); ++i) {
        vector.add(array[i]);
        for (unsigned axis = 0; axis < 3; ++axis) {
            doubles[i].min[axis] = static_cast<double>(array[i].min[axis]);
            doubles[i].max[axis] = static_cast<double>(array[i].max[axis]);
        }
    }
    const unsigned count = array.get_count();
    GasTree from_pointer;
    from_pointer.create(array.get_items(), count, nullptr, nullptr, 1.0f);
    GasTree from_array;
    from_array.create(array, nullptr, nullptr, 1.0f);
    GasTree from_vector;
    from_vector.create(vector, nullptr, nullptr, 1.0f);
    GasTree from_doubles;
    from_doubles.create(doubles, nullptr, nullptr, 1.0f);
    expect_equal(from_array, from_pointer);
    expect_equal(from_vector, from_pointer);
    expect_equal(from_doubles, from_pointer);
}

TEST(Build, DoublesAreRoundedToTheNearestFloat) {
    // Halfway between two floats the even one wins; past the largest float lies infinity.
    const double ulp = 0x1p-23;
    const CoreArray<GMathBbox3<double>> doubles = {
        {{0.1, 1.0 + 0.25 * ulp, 1.0 + 0.5 * ulp}, {1.0 + 0.75 * ulp, 1.0 + 1.5 * ulp, 1e300}}};
    GasTree tree;
    const unsigned index = 77;
    tree.create(doubles, &index, nullptr, 1.0f);
    const GMathBbox3<float> box = tree.get_bbox();
    EXPECT_EQ(box.min.x, 0.1f);
    EXPECT_EQ(box.min.y, 1.0f);
    EXPECT_EQ(box.min.z, 1.0f);
    EXPECT_EQ(box.max.x, 1.0f + 0x1p-23f);
    EXPECT_EQ(box.max.y, 1.0f + 0x1p-22f);
    EXPECT_TRUE(std::isinf(box.max.z));
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{77}));
    // The float box may be a little smaller than the double box.
    EXPECT_GT(static_cast<double>(box.min.x), 0.1);
}

TEST(Build, TheCountMayBeTheTreesOwn) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 9, 1);
    const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
    GasTree tree;
    tree.create(array, nullptr, nullptr, 1.0f);
    tree.create(array.get_items(), tree.get_leaf_count(), nullptr, nullptr, 1.0f);
    EXPECT_EQ(tree.get_leaf_count(), 9u);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG

TEST(Build, CountZeroClears) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 9, 1);
    GasTree tree;
    support::build(tree, boxes, Split::sah);
    tree.create(static_cast<const GMathBbox3<float>*>(nullptr), 0, nullptr, nullptr, 1.0f);
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
}

TEST(Build, MoreItemsThanNodesCanCountClears) {
    const GMathBbox3<float> box = support::to_box(point_box(0, 0, 0));
    GasTree tree;
    tree.create(&box, 1, nullptr, nullptr, 1.0f);
    tree.create(&box, 1u << 31, nullptr, nullptr, 1.0f);
    EXPECT_TRUE(tree.is_empty());
}

TEST(Build, AShareBelowAHundredthStepsAsOneHundredth) {
    for (const float share : {0.005f, 0.0f, -1.0f}) {
        const BarState bar = fill_bar(1000, share);
        EXPECT_EQ(bar.step_interval, 1000u) << share;
        EXPECT_EQ(bar.step_increment, 1000.0f * share / 1000.0f) << share;
    }
}

#else

TEST(BuildDeathTest, BrokenContractsAssert) {
    GasTree tree;
    EXPECT_DEATH(
        tree.create(static_cast<const GMathBbox3<float>*>(nullptr), 0, nullptr, nullptr, 1.0f),
        "at least one box");
    EXPECT_DEATH(fill_bar(10, 0.005f), "hundredth of its progress bar");
}

#endif
