// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::attempt;
using support::Attempt;
using support::count_allocations;
using support::count_live_blocks;
using support::create;
using support::is_compressed;
using support::to_boxes;

/// What a tree class allocates.
struct Blocks {
    unsigned of_build;
    unsigned of_lone_item;
    /// What stays of them.
    unsigned kept;
    /// For any number of samples.
    unsigned sample_tables;
    /// While a sample is filled.
    unsigned of_refit;
};

/// A plain tree: the nodes and what is known of them, the records and a number for each.
/// A compressed one: the nodes; the records, whose place the nodes' boxes take, and a number for
/// each.
template <typename Tree>
constexpr Blocks blocks = is_compressed<Tree> ? Blocks{3, 1, 1, 2, 1} : Blocks{4, 4, 2, 1, 0};

const std::vector<Box>& get_scene() {
    static const std::vector<Box> scene = scenes::make(Kind::random, 50, 1);
    return scene;
}
const CoreArray<GMathBbox3<float>>& get_boxes() {
    static const CoreArray<GMathBbox3<float>> boxes = to_boxes(get_scene());
    return boxes;
}

template <typename Tree> class TreeAllocations : public testing::Test {
  protected:
    TreeAllocations() { get_boxes(); }

    /// Rebuilds trees over `boxes`, 50 of them, with one of the build's allocations failing each
    /// time.
    template <typename Boxes>
    static void expect_clean_failures(const Boxes& boxes, unsigned allocation_count) {
        constexpr int kept = blocks<Tree>.kept;
        const std::vector<unsigned> indices(50, 1);
        for (unsigned nth = 0; nth <= allocation_count; ++nth) {
            const std::int64_t before = count_live_blocks();
            Tree tree;
            create(tree, get_boxes(), indices.data());
            // A compressed tree would keep the samples' root boxes.
            if constexpr (!is_compressed<Tree>) {
                tree.set_motion_blur_sample_count(2);
                ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 1));
            }

            const Attempt build = attempt(nth, [&] { create(tree, boxes, indices.data()); });
            const std::int64_t kept_blocks = count_live_blocks() - before;
            EXPECT_EQ(build.reached, nth < allocation_count) << nth;
            EXPECT_EQ(build.thrown, nth < allocation_count) << nth;
            EXPECT_EQ(kept_blocks, build.thrown ? 0 : kept + 1) << nth;
            EXPECT_EQ(tree.is_empty(), build.thrown) << nth;
            EXPECT_EQ(tree.get_leaf_count(), build.thrown ? 0u : 50u) << nth;
            EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u) << nth;
            if constexpr (is_compressed<Tree>) {
                EXPECT_EQ(tree.get_root_index(), build.thrown ? Tree::no_root : 0u) << nth;
            }

            create(tree, get_boxes());
            EXPECT_EQ(support::find_flaw(tree, get_scene()), "") << nth;
        }
    }

    /// Whether a sample that was never filled says so.
    static void expect_unfilled(const Tree& tree, unsigned sample) {
        EXPECT_EQ(tree.get_blurred_bbox(sample), GMathBbox3<float>());
        if constexpr (is_compressed<Tree>) {
            EXPECT_FALSE(tree.has_sample(sample));
        }
    }
};

TYPED_TEST_SUITE(TreeAllocations, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreeAllocations, ABuildAllocatesItsArraysAndNothingInTheRecursion) {
    for (const Split split : support::all_splits) {
        for (const Kind kind : {Kind::random, Kind::coincident, Kind::geometric_chain}) {
            for (const unsigned count : {1u, 2u, 3u, 16u, 17u, 129u, 3000u}) {
                const CoreArray<GMathBbox3<float>> boxes =
                    to_boxes(scenes::make(kind, count, count));
                const std::vector<unsigned> indices(count, 1);
                support::QuietProgress progress(split);
                TypeParam tree;
                const auto build = [&](const unsigned* given_indices) {
                    create(tree, boxes, given_indices, &progress.bar);
                };
                const unsigned expected =
                    count == 1 ? blocks<TypeParam>.of_lone_item : blocks<TypeParam>.of_build;
                EXPECT_EQ(count_allocations([&] { build(nullptr); }), expected) << count;
                // The index copy as well.
                EXPECT_EQ(count_allocations([&] { build(indices.data()); }), expected + 1) << count;
            }
        }
    }
}

TYPED_TEST(TreeAllocations, ABuildKeepsNodesAndIndicesOnly) {
    constexpr int kept = blocks<TypeParam>.kept;
    const std::vector<unsigned> indices(50, 1);
    TypeParam tree;
    const std::int64_t before = count_live_blocks();
    create(tree, get_boxes());
    EXPECT_EQ(count_live_blocks() - before, kept);
    create(tree, get_boxes(), indices.data());
    EXPECT_EQ(count_live_blocks() - before, kept + 1);
    tree.clear();
    EXPECT_EQ(count_live_blocks() - before, 0);
}

TYPED_TEST(TreeAllocations, SamplesReleaseWhatTheyAllocate) {
    constexpr int kept = blocks<TypeParam>.kept;
    constexpr int tables = blocks<TypeParam>.sample_tables;
    const std::int64_t before = count_live_blocks();
    {
        TypeParam tree;
        create(tree, get_boxes());
        tree.set_motion_blur_sample_count(5);
        EXPECT_EQ(count_live_blocks() - before, kept + tables);
        for (const unsigned sample : {0u, 2u, 4u})
            ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), sample));
        EXPECT_EQ(count_live_blocks() - before, kept + 3 + tables);
        tree.set_motion_blur_sample_count(3);
        EXPECT_EQ(count_live_blocks() - before, kept + 2 + tables);
        tree.set_motion_blur_sample_count(0);
        EXPECT_EQ(count_live_blocks() - before, kept) << "the tables go with the last sample";
        tree.set_motion_blur_sample_count(2);
        ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 1));
        tree.clear();
        EXPECT_EQ(count_live_blocks() - before, tables - 1) << "a compressed tree's boxes stay";
        create(tree, get_boxes());
    }
    EXPECT_EQ(count_live_blocks() - before, 0);
}

TYPED_TEST(TreeAllocations, ARefitKeepsTheSampleOnly) {
    constexpr unsigned on_the_way = blocks<TypeParam>.of_refit;
    TypeParam tree;
    create(tree, get_boxes());
    tree.set_motion_blur_sample_count(1);
    const auto refit = [&](unsigned sample) {
        return count_allocations([&] { tree.refit_motion_blur_sample(get_boxes(), sample); });
    };
    const std::int64_t before = count_live_blocks();
    EXPECT_EQ(refit(0), 1 + on_the_way);
    EXPECT_EQ(count_live_blocks() - before, 1);
    EXPECT_EQ(refit(0), on_the_way);
    EXPECT_EQ(count_live_blocks() - before, 1);
    EXPECT_EQ(refit(1), 0u);
    if constexpr (!is_compressed<TypeParam>) {
        EXPECT_EQ(count_allocations([&] { tree.refit(get_boxes()); }), 0u);
    }
}

TYPED_TEST(TreeAllocations, ABuildThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    this->expect_clean_failures(get_boxes(), blocks<TypeParam>.of_build + 1);
}

TYPED_TEST(TreeAllocations, ABuildOverDoublesThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    this->expect_clean_failures(CoreArray<GMathBbox3<double>>(50), blocks<TypeParam>.of_build + 1);
}

TYPED_TEST(TreeAllocations, ASampleThatRunsOutOfMemoryStaysUnfilled) {
    TypeParam tree;
    create(tree, get_boxes());
    tree.set_motion_blur_sample_count(2);
    for (unsigned nth = 0; nth < 1 + blocks<TypeParam>.of_refit; ++nth) {
        EXPECT_TRUE(attempt(nth, [&] { tree.refit_motion_blur_sample(get_boxes(), 1); }).thrown);
        this->expect_unfilled(tree, 1);
    }
    ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 1));
    EXPECT_EQ(tree.get_blurred_bbox(1), tree.get_bbox());
}

TYPED_TEST(TreeAllocations, ACountThatRunsOutOfMemoryLeavesTheSamplesAsTheyWere) {
    for (unsigned nth = 0; nth < blocks<TypeParam>.sample_tables; ++nth) {
        TypeParam tree;
        create(tree, get_boxes());
        EXPECT_TRUE(attempt(nth, [&] { tree.set_motion_blur_sample_count(3); }).thrown);
        ASSERT_EQ(tree.get_motion_blur_sample_count(), 0u) << nth;
        tree.set_motion_blur_sample_count(3);
        ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 2));

        for (const unsigned count : {1u, 5u}) {
            EXPECT_TRUE(attempt(nth, [&] { tree.set_motion_blur_sample_count(count); }).thrown);
            EXPECT_EQ(tree.get_motion_blur_sample_count(), 3u) << nth;
            EXPECT_EQ(tree.get_blurred_bbox(2), tree.get_bbox()) << nth;
        }
        for (unsigned sample = 0; sample < 3; ++sample)
            EXPECT_TRUE(tree.refit_motion_blur_sample(get_boxes(), sample));
        EXPECT_EQ(tree.get_blurred_bbox(2), tree.get_bbox());
    }
}

TYPED_TEST(TreeAllocations, AnAssignmentThatRunsOutOfMemoryChangesNothing) {
    for (unsigned nth = 0; nth < blocks<TypeParam>.sample_tables; ++nth) {
        TypeParam source;
        create(source, get_boxes());
        source.set_motion_blur_sample_count(2);
        ASSERT_TRUE(source.refit_motion_blur_sample(get_boxes(), 1));
        TypeParam target;
        target.set_motion_blur_sample_count(1);
        EXPECT_TRUE(attempt(nth, [&] { target = source; }).thrown);
        EXPECT_TRUE(target.is_empty());
        EXPECT_EQ(target.get_motion_blur_sample_count(), 1u) << nth;
        this->expect_unfilled(target, 0);
    }
}
