// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_kinds.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::create;
using support::point_box;
using support::QuietProgress;
using support::TreeKind;

constexpr unsigned fast_setting = 2;

template <typename Tree> class TreesBuild : public testing::Test {};
TYPED_TEST_SUITE(TreesBuild, support::BothTrees, support::TreeNames);

/// Leaves below a node that is no leaf.
unsigned count_leaves(const GasCompressedTree& tree, unsigned root) {
    unsigned count = 0;
    std::vector<unsigned> pending = {root};
    while (!pending.empty()) {
        const GasCompressedNode& node = tree.get_nodes()[pending.back()];
        pending.pop_back();
        for (unsigned child = 0; child < 2; ++child) {
            if (support::is_leaf(node, child))
                ++count;
            else
                pending.push_back(node.children[child]);
        }
    }
    return count;
}

/// Whether boxes and topology are equal.
void expect_equal(const GasTree& tree, const GasTree& expected) {
    ASSERT_EQ(tree.get_node_count(), expected.get_node_count());
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        const GasTree::Node& other = expected.get_nodes()[i];
        EXPECT_EQ(node.index, other.index) << i;
        EXPECT_EQ(node.flags & 15, other.flags & 15) << i;
        EXPECT_EQ(node.bbox_min, other.bbox_min) << i;
        EXPECT_EQ(node.bbox_max, other.bbox_max) << i;
    }
}
void expect_equal(const GasCompressedTree& tree, const GasCompressedTree& expected) {
    EXPECT_EQ(support::get_bytes(tree), support::get_bytes(expected));
}

} // namespace

TYPED_TEST(TreesBuild, ASplitThatLeavesOneSideEmptyIsReplacedByHalves) {
    // The full split leaves the side above the planes at infinity empty, and the one below planes
    // that are no numbers.
    for (const float outlier :
         {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()}) {
        std::vector<Box> boxes(17, point_box(0, 0, 0));
        boxes[16] = point_box(outlier, 0, 0);
        TypeParam tree;
        support::build(tree, boxes, Split::sah);
        EXPECT_EQ(support::find_flaw(tree, boxes), "");
        if constexpr (support::is_compressed<TypeParam>) {
            ASSERT_EQ(tree.get_nodes()[0].flags & 3u, 0u);
            EXPECT_EQ(count_leaves(tree, 1), 8u);
            EXPECT_EQ(count_leaves(tree, 2), 9u);
        } else {
            // 8 leaves and so 15 nodes below the first child, after the root and its two children.
            EXPECT_EQ(tree.get_nodes()[0].index, 1u);
            EXPECT_EQ(tree.get_nodes()[1].index, 3u);
            EXPECT_EQ(tree.get_nodes()[2].index, 17u);
        }
    }
}

TYPED_TEST(TreesBuild, EveryCountKeepsTheInvariants) {
    for (const Split split : support::all_splits) {
        TypeParam tree;
        for (unsigned count = 1; count <= 200; ++count) {
            const std::vector<Box> boxes = scenes::make(Kind::clustered, count, count);
            support::build(tree, boxes, split);
            ASSERT_EQ(support::find_flaw(tree, boxes), "") << count;
        }
    }
}

TYPED_TEST(TreesBuild, TheIndexArrayIsCopiedAndNodesHoldPositions) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 5, 1);
    std::vector<unsigned> indices = {50, 40, 30, 20, 10};
    TypeParam tree;
    create(tree, support::to_boxes(boxes), indices.data());
    indices.assign(5, 0);
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{50, 40, 30, 20, 10}));
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}

TYPED_TEST(TreesBuild, WithoutABarTheSplitIsTheFastSah) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 300, 1);
    TypeParam tree;
    support::build(tree, boxes, Split::median);
    EXPECT_EQ(tree.get_split_callback(), &TypeParam::split_median);
    create(tree, support::to_boxes(boxes));
    EXPECT_EQ(tree.get_split_callback(), &TypeParam::split_sah_bins_fast);
    EXPECT_EQ(
        support::find_difference(tree, TreeKind<TypeParam>::build_naive(boxes, Split::sah_fast)),
        "");
}

TYPED_TEST(TreesBuild, TheSettingOfTheBarsApplicationChoosesTheSplit) {
    const auto chosen = [](unsigned setting) {
        QuietProgress progress(setting);
        TypeParam tree;
        create(tree, support::to_boxes(scenes::make(Kind::random, 9, 1)), nullptr, &progress.bar);
        return tree.get_split_callback();
    };
    EXPECT_EQ(chosen(0), &TypeParam::split_median);
    EXPECT_EQ(chosen(1), &TypeParam::split_hybrid);
    EXPECT_EQ(chosen(2), &TypeParam::split_sah_bins_fast);
    EXPECT_EQ(chosen(3), &TypeParam::split_sah_bins);
    EXPECT_EQ(chosen(4), &TypeParam::split_sah_bins_fast);
    EXPECT_EQ(chosen(7), &TypeParam::split_sah_bins_fast);
    EXPECT_EQ(chosen(UINT_MAX), &TypeParam::split_sah_bins_fast);
}

TYPED_TEST(TreesBuild, AMethodInPlaceOfABarGivesTheSameTree) {
    const CoreArray<GMathBbox3<float>> array =
        support::to_boxes(scenes::make(Kind::clustered, 20000, 5));
    CoreVector<GMathBbox3<float>> vector;
    CoreArray<GMathBbox3<double>> doubles(array.get_count());
    for (unsigned i = 0; i < array.get_count(); ++i) {
        vector.add(array[i]);
        doubles[i] = support::widen(array[i]);
    }
    std::vector<unsigned> indices(array.get_count());
    for (unsigned i = 0; i < array.get_count(); ++i)
        indices[i] = array.get_count() - i;
    SysThreadTaskManager manager(nullptr);
    for (const GasBuildMethod method : support::all_build_methods) {
        QuietProgress progress(static_cast<unsigned>(method));
        TypeParam expected;
        create(expected, array, indices.data(), &progress.bar);
        TypeParam trees[6];
        trees[0].create(array.get_items(), array.get_count(), indices.data(), method);
        trees[1].create(array, indices.data(), method);
        trees[2].create(vector, indices.data(), method);
        trees[3].create(doubles, indices.data(), method);
        trees[4].create(array.get_items(), array.get_count(), indices.data(), method, manager, 3);
        trees[5].create(array, indices.data(), method, manager, 3);
        for (const TypeParam& tree : trees) {
            expect_equal(tree, expected);
            EXPECT_EQ(tree.get_split_callback(), expected.get_split_callback());
            EXPECT_EQ(tree.get_depth(), expected.get_depth());
        }
        EXPECT_EQ(support::get_reported_items(trees[1]), support::get_reported_items(expected));
    }
}

TYPED_TEST(TreesBuild, AnUnknownMethodIsTheFastSah) {
    TypeParam tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, 300, 1)), nullptr,
                static_cast<GasBuildMethod>(7));
    EXPECT_EQ(tree.get_split_callback(), &TypeParam::split_sah_bins_fast);
}

TYPED_TEST(TreesBuild, EmptyArraysAndAMethodClearTheTree) {
    const auto expect_cleared = [](const auto& empty) {
        TypeParam tree;
        support::build(tree, scenes::make(Kind::random, 9, 1));
        tree.create(empty, nullptr, GasBuildMethod::median);
        EXPECT_TRUE(tree.is_empty());
    };
    expect_cleared(CoreArray<GMathBbox3<float>>());
    expect_cleared(CoreVector<GMathBbox3<float>>());
    expect_cleared(CoreArray<GMathBbox3<double>>());
}

TYPED_TEST(TreesBuild, EmptyArraysClearTheTree) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 9, 1);
    const auto expect_cleared = [&](const auto& empty) {
        TypeParam tree;
        support::build(tree, boxes, Split::sah, std::vector<unsigned>(9, 1));
        QuietProgress progress(fast_setting);
        create(tree, empty, nullptr, &progress.bar);
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 0u);
        EXPECT_EQ(tree.get_memory_size(), sizeof(TypeParam));
        EXPECT_EQ(tree.get_split_callback(), &TypeParam::split_sah_bins);
        EXPECT_EQ(progress.bar.get_value(), 0.0f);
        if constexpr (support::is_compressed<TypeParam>) {
            EXPECT_EQ(tree.get_root_index(), GasCompressedTree::no_root);
        }
    };
    expect_cleared(CoreArray<GMathBbox3<float>>());
    expect_cleared(CoreVector<GMathBbox3<float>>());
    expect_cleared(CoreArray<GMathBbox3<double>>());
}

TYPED_TEST(TreesBuild, AllFormsOfBoxesGiveTheSameTree) {
    const CoreArray<GMathBbox3<float>> array =
        support::to_boxes(scenes::make(Kind::clustered, 100, 5));
    CoreVector<GMathBbox3<float>> vector;
    CoreArray<GMathBbox3<double>> doubles(array.get_count());
    for (unsigned i = 0; i < array.get_count(); ++i) {
        vector.add(array[i]);
        doubles[i] = support::widen(array[i]);
    }
    const unsigned count = array.get_count();
    TypeParam trees[4];
    support::create_of(trees[0], array.get_items(), count);
    create(trees[1], array);
    create(trees[2], vector);
    create(trees[3], doubles);
    for (const TypeParam& tree : trees) {
        expect_equal(tree, trees[0]);
        EXPECT_EQ(tree.get_bbox(), trees[0].get_bbox());
        EXPECT_EQ(tree.get_depth(), trees[0].get_depth());
        EXPECT_EQ(tree.get_leaf_count(), 100u);
    }
}

TYPED_TEST(TreesBuild, DoublesAreRoundedToTheNearestFloat) {
    // Halfway between two floats the even one wins; past the largest float lies infinity.
    const double ulp = 0x1p-23;
    const CoreArray<GMathBbox3<double>> doubles = {
        {{0.1, 1.0 + 0.25 * ulp, 1.0 + 0.5 * ulp}, {1.0 + 0.75 * ulp, 1.0 + 1.5 * ulp, 1e300}}};
    TypeParam tree;
    const unsigned index = 77;
    create(tree, doubles, &index);
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

TYPED_TEST(TreesBuild, TheCountMayBeTheTreesOwn) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 9, 1);
    const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
    TypeParam tree;
    create(tree, array);
    support::create_of(tree, array.get_items(), tree.get_leaf_count());
    EXPECT_EQ(tree.get_leaf_count(), 9u);
    EXPECT_EQ(support::find_flaw(tree, boxes), "");
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TYPED_TEST(TreesBuild, CountZeroClears) {
    TypeParam tree;
    support::build(tree, scenes::make(Kind::random, 9, 1), Split::sah);
    support::create_of(tree, nullptr, 0);
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
}
#else
template <typename Tree> class TreesBuildDeathTest : public TreesBuild<Tree> {};
TYPED_TEST_SUITE(TreesBuildDeathTest, support::BothTrees, support::TreeNames);

TYPED_TEST(TreesBuildDeathTest, CountZeroAsserts) {
    TypeParam tree;
    EXPECT_DEATH(support::create_of(tree, nullptr, 0), "at least one box");
}
#endif
