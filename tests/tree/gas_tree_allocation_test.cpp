#include <gtest/gtest.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::attempt;
using support::Attempt;
using support::count_allocations;
using support::count_live_blocks;
using support::to_boxes;

/// Rebuilds trees over `boxes`, 50 of them, with one of the build's allocations failing each time.
template <typename Boxes>
void expect_clean_failures(const Boxes& boxes, unsigned allocation_count) {
    const std::vector<Box> old_scene = scenes::make(Kind::random, 50, 1);
    const CoreArray<GMathBbox3<float>> old_boxes = to_boxes(old_scene);
    const std::vector<unsigned> indices(50, 1);
    for (unsigned nth = 0; nth <= allocation_count; ++nth) {
        const std::int64_t before = count_live_blocks();
        GasTree tree;
        tree.create(old_boxes, indices.data(), nullptr, 1.0f);
        tree.set_motion_blur_sample_count(2);
        ASSERT_TRUE(tree.refit_motion_blur_sample(old_boxes, 1));

        const Attempt build =
            attempt(nth, [&] { tree.create(boxes, indices.data(), nullptr, 1.0f); });
        const std::int64_t kept_blocks = count_live_blocks() - before;
        EXPECT_EQ(build.reached, nth < allocation_count) << nth;
        EXPECT_EQ(build.thrown, nth < allocation_count) << nth;
        EXPECT_EQ(kept_blocks, build.thrown ? 0 : 3) << nth;
        EXPECT_EQ(tree.is_empty(), build.thrown) << nth;
        EXPECT_EQ(tree.get_leaf_count(), build.thrown ? 0u : 50u) << nth;
        EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u) << nth;

        tree.create(old_boxes, nullptr, nullptr, 1.0f);
        EXPECT_EQ(support::find_flaw(tree, old_scene), "") << nth;
    }
}

} // namespace

TEST(TreeAllocations, ABuildAllocatesItsArraysAndNothingInTheRecursion) {
    for (const Split split : support::all_splits) {
        for (const Kind kind : {Kind::random, Kind::coincident, Kind::geometric_chain}) {
            for (const unsigned count : {1u, 2u, 3u, 16u, 17u, 129u, 3000u}) {
                const CoreArray<GMathBbox3<float>> boxes =
                    to_boxes(scenes::make(kind, count, count));
                const std::vector<unsigned> indices(count, 1);
                support::QuietProgress progress(split);
                GasTree tree;
                const auto build = [&](const unsigned* given_indices) {
                    tree.create(boxes, given_indices, &progress.bar, 1.0f);
                };
                // The nodes and what is known of them, the records and a number for each; then
                // the index copy as well.
                EXPECT_EQ(count_allocations([&] { build(nullptr); }), 4u) << count;
                EXPECT_EQ(count_allocations([&] { build(indices.data()); }), 5u) << count;
            }
        }
    }
}

TEST(TreeAllocations, ABuildKeepsNodesAndIndicesOnly) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    const std::vector<unsigned> indices(50, 1);
    GasTree tree;
    const std::int64_t before = count_live_blocks();
    tree.create(boxes, nullptr, nullptr, 1.0f);
    EXPECT_EQ(count_live_blocks() - before, 2) << "nodes, and what is known of them";
    tree.create(boxes, indices.data(), nullptr, 1.0f);
    EXPECT_EQ(count_live_blocks() - before, 3);
    tree.clear();
    EXPECT_EQ(count_live_blocks() - before, 0);
}

TEST(TreeAllocations, SamplesReleaseWhatTheyAllocate) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    GasTree tree;
    const std::int64_t before = count_live_blocks();
    tree.create(boxes, nullptr, nullptr, 1.0f);
    tree.set_motion_blur_sample_count(5);
    EXPECT_EQ(count_live_blocks() - before, 3) << "nodes, what is known of them, table";
    for (const unsigned sample : {0u, 2u, 4u})
        ASSERT_TRUE(tree.refit_motion_blur_sample(boxes, sample));
    EXPECT_EQ(count_live_blocks() - before, 6);
    tree.set_motion_blur_sample_count(3);
    EXPECT_EQ(count_live_blocks() - before, 5);
    tree.set_motion_blur_sample_count(0);
    EXPECT_EQ(count_live_blocks() - before, 2) << "the table goes with the last sample";
    tree.clear();
    EXPECT_EQ(count_live_blocks() - before, 0);
}

TEST(TreeAllocations, RefittingAllocatesNothing) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);
    tree.set_motion_blur_sample_count(1);
    EXPECT_EQ(count_allocations([&] { tree.refit(boxes); }), 0u);
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(boxes, 0); }), 1u);
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(boxes, 0); }), 0u);
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(boxes, 1); }), 0u);
}

TEST(TreeAllocations, ABuildThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    expect_clean_failures(boxes, 5);
}

TEST(TreeAllocations, ABuildOverDoublesThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    expect_clean_failures(CoreArray<GMathBbox3<double>>(50), 5);
}

TEST(TreeAllocations, ASampleThatRunsOutOfMemoryStaysUnfilled) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);
    EXPECT_TRUE(attempt(0, [&] { tree.set_motion_blur_sample_count(2); }).thrown);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    tree.set_motion_blur_sample_count(2);
    EXPECT_TRUE(attempt(0, [&] { tree.refit_motion_blur_sample(boxes, 1); }).thrown);
    EXPECT_EQ(tree.get_blurred_bbox(1), GMathBbox3<float>());
    ASSERT_TRUE(tree.refit_motion_blur_sample(boxes, 1));
    EXPECT_EQ(tree.get_blurred_bbox(1), tree.get_bbox());
}

TEST(TreeAllocations, AnAssignmentThatRunsOutOfMemoryChangesNothing) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    GasTree source;
    source.create(boxes, nullptr, nullptr, 1.0f);
    source.set_motion_blur_sample_count(2);
    GasTree target;
    target.set_motion_blur_sample_count(1);
    EXPECT_TRUE(attempt(0, [&] { target = source; }).thrown);
    EXPECT_TRUE(target.is_empty());
    EXPECT_EQ(target.get_motion_blur_sample_count(), 1u);
}
