// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/row_ray.h>
#include <tests/support/scenes.h>
#include <tests/support/wide_checker.h>

// Wide nodes when memory runs out: a tree without them, or an empty one after a build.

namespace {

using naive::Box;
using scenes::Kind;
using support::attempt;
using support::Attempt;
using support::count_live_blocks;
using support::fill_samples;
using support::find_wide_flaw;
using support::get_items_along_row;
using support::get_wide_sample;
using support::RayQuery;
using support::to_boxes;

std::vector<Box> make(unsigned count, std::uint64_t seed) {
    return scenes::make(Kind::random, count, seed);
}

TEST(TreeWideAllocations, ABuildThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(make(50, 1));
    const std::vector<unsigned> indices(50, 1);
    for (std::uint64_t nth = 0;; ++nth) {
        const std::int64_t before = count_live_blocks();
        GasTree tree;
        tree.set_wide_nodes(true);
        support::build(tree, make(50, 2));
        fill_samples(tree, {make(50, 2), make(50, 3)});
        const Attempt build =
            attempt(nth, [&] { tree.create(boxes, indices.data(), nullptr, 1.0f); });
        EXPECT_EQ(build.thrown, build.reached) << nth;
        EXPECT_EQ(tree.is_empty(), build.thrown) << nth;
        EXPECT_EQ(tree.has_wide_nodes(), !build.thrown) << nth;
        if (build.thrown) {
            EXPECT_EQ(count_live_blocks(), before) << nth;
        }
        // What is wanted stays.
        support::build(tree, make(20, 3));
        EXPECT_EQ(find_wide_flaw(tree), "") << nth;
        if (!build.reached) {
            // The nodes, the items, the centres, the indices; the object, the choices, the records.
            EXPECT_GE(nth, 7u);
            break;
        }
    }
}

TEST(TreeWideAllocations, WideNodesThatRunOutOfMemoryAreNoneAndTheTreeStays) {
    const std::vector<Box> boxes = support::row_of_boxes(50);
    for (std::uint64_t nth = 0;; ++nth) {
        GasTree tree;
        support::build(tree, boxes);
        fill_samples(tree, {boxes, boxes});
        const std::int64_t before = count_live_blocks();
        const Attempt made = attempt(nth, [&] { tree.set_wide_nodes(true); });
        EXPECT_EQ(made.thrown, made.reached) << nth;
        EXPECT_EQ(tree.has_wide_nodes(), !made.thrown) << nth;
        if (made.thrown) {
            EXPECT_EQ(count_live_blocks(), before) << nth;
        }
        for (const RayQuery query : support::all_ray_queries)
            EXPECT_EQ(get_items_along_row(tree, query).size(), 50u) << nth;
        support::build(tree, boxes);
        EXPECT_EQ(tree.has_wide_nodes(), !made.thrown) << "what was wanted stays";
        if (!made.reached)
            break;
    }
}

TEST(TreeWideAllocations, ASampleThatRunsOutOfMemoryIsNotSeenHalfway) {
    const std::vector<Box> boxes = support::row_of_boxes(50);
    for (std::uint64_t nth = 0; nth < 8; ++nth) {
        GasTree tree;
        tree.set_wide_nodes(true);
        support::build(tree, boxes);
        fill_samples(tree, {boxes});
        attempt(nth, [&] { tree.set_motion_blur_sample_count(2); });
        tree.set_motion_blur_sample_count(2);
        const CoreArray<GMathBbox3<float>> moved = to_boxes(support::row_of_boxes(50, 1.0f));
        attempt(nth, [&] { tree.refit_motion_blur_sample(moved, 1); });
        if (get_wide_sample(tree, 1)) {
            EXPECT_EQ(find_wide_flaw(tree), "") << nth;
        }
        ASSERT_TRUE(tree.refit_motion_blur_sample(moved, 1));
        EXPECT_NE(get_wide_sample(tree, 1), nullptr);
        EXPECT_EQ(find_wide_flaw(tree), "") << nth;
        EXPECT_EQ(get_items_along_row(tree, RayQuery::hit_motion).size(), 50u) << nth;
    }
}

TEST(TreeWideAllocations, FewerSamplesThatRunOutOfMemoryLeaveTheTreeAsItWas) {
    const std::vector<Box> boxes = support::row_of_boxes(50);
    const std::int64_t before = count_live_blocks();
    for (std::uint64_t nth = 0; nth < 3; ++nth) {
        GasTree tree;
        tree.set_wide_nodes(true);
        support::build(tree, boxes);
        fill_samples(tree, {boxes, boxes, boxes, boxes, boxes});
        const Attempt lowered = attempt(nth, [&] { tree.set_motion_blur_sample_count(2); });
        EXPECT_EQ(tree.get_motion_blur_sample_count(), lowered.thrown ? 5u : 2u);
        for (unsigned sample = 0; sample < tree.get_motion_blur_sample_count(); ++sample)
            EXPECT_NE(get_wide_sample(tree, sample), nullptr) << sample;
        EXPECT_EQ(find_wide_flaw(tree), "") << nth;
        tree.set_motion_blur_sample_count(2);
        tree.set_motion_blur_sample_count(3);
        EXPECT_EQ(get_wide_sample(tree, 2), nullptr);
        EXPECT_EQ(find_wide_flaw(tree), "") << nth;
        if (nth == 2) {
            EXPECT_FALSE(lowered.reached);
        }
    }
    EXPECT_EQ(count_live_blocks(), before);
}

} // namespace
