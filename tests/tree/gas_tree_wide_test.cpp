// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/row_ray.h>
#include <tests/support/scenes.h>
#include <tests/support/wide_checker.h>

namespace {

using naive::Box;
using scenes::Kind;
using support::count_allocations;
using support::count_live_blocks;
using support::fill_samples;
using support::find_wide_flaw;
using support::get_items_along_row;
using support::get_wide_nodes;
using support::get_wide_sample;
using support::RayQuery;
using support::to_boxes;

std::vector<Box> make(unsigned count, std::uint64_t seed) {
    return scenes::make(Kind::random, count, seed);
}

/// Empties a shallow copy without releasing what it shares: a tree of its own takes its place.
void let_go(GasTree& copy) { copy = GasTree(); }

TEST(TreeWide, IsOffAtFirstAndMadeOrReleasedAtOnce) {
    GasTree tree;
    EXPECT_FALSE(tree.has_wide_nodes());
    support::build(tree, make(20, 1));
    EXPECT_FALSE(tree.has_wide_nodes());
    EXPECT_EQ(tree.get_wide_nodes_size(), 0u);
    const std::size_t memory_size = tree.get_memory_size();
    const std::int64_t before = count_live_blocks();
    for (unsigned round = 0; round < 2; ++round) {
        tree.set_wide_nodes(true);
        EXPECT_TRUE(tree.has_wide_nodes());
        EXPECT_EQ(find_wide_flaw(tree), "");
        EXPECT_GT(tree.get_wide_nodes_size(), 6u * 128u);
        EXPECT_EQ(tree.get_memory_size(), memory_size);
        EXPECT_EQ(count_live_blocks() - before, 2);
        EXPECT_EQ(count_allocations([&] { tree.set_wide_nodes(true); }), 0u);
        tree.set_wide_nodes(false);
        EXPECT_FALSE(tree.has_wide_nodes());
        EXPECT_EQ(get_wide_nodes(tree), nullptr);
        EXPECT_EQ(tree.get_wide_nodes_size(), 0u);
        EXPECT_EQ(count_live_blocks(), before);
    }
}

TEST(TreeWide, WhatIsWantedStaysThroughCreateAndClear) {
    GasTree tree;
    tree.set_wide_nodes(true);
    EXPECT_FALSE(tree.has_wide_nodes());
    for (const unsigned count : {20u, 1u, 2u, 3u, 100u}) {
        support::build(tree, make(count, count));
        EXPECT_EQ(tree.has_wide_nodes(), count > 1) << count;
        if (count > 1) {
            EXPECT_EQ(find_wide_flaw(tree), "") << count;
        }
    }
    tree.clear();
    EXPECT_FALSE(tree.has_wide_nodes());
    EXPECT_EQ(tree.get_wide_nodes_size(), 0u);
    support::build(tree, make(20, 1));
    EXPECT_TRUE(tree.has_wide_nodes());
    tree.set_wide_nodes(false);
    support::build(tree, make(20, 1));
    EXPECT_FALSE(tree.has_wide_nodes());
}

TEST(TreeWide, FollowsEveryRefit) {
    GasTree tree;
    tree.set_wide_nodes(true);
    support::build(tree, make(50, 1));
    for (const std::uint64_t seed : {2u, 3u}) {
        std::vector<Box> boxes = make(50, seed);
        ASSERT_TRUE(tree.refit(to_boxes(boxes)));
        EXPECT_EQ(find_wide_flaw(tree), "");
        std::swap(boxes[17].min[1], boxes[17].max[1]);
        ASSERT_TRUE(tree.refit(to_boxes(boxes)));
        EXPECT_TRUE(tree.has_wide_nodes());
        EXPECT_EQ(get_wide_nodes(tree), nullptr);
    }
    EXPECT_FALSE(tree.refit(to_boxes(make(49, 1))));
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(make(50, 4));
    EXPECT_EQ(count_allocations([&] { tree.refit(boxes); }), 0u);
    EXPECT_EQ(find_wide_flaw(tree), "");
}

TEST(TreeWide, SamplesAreTheSameWhicheverCameFirst) {
    const std::vector<Box> boxes = make(50, 1);
    for (const bool wide_first : {true, false}) {
        GasTree tree;
        support::build(tree, boxes);
        tree.set_wide_nodes(wide_first);
        tree.set_motion_blur_sample_count(4);
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(make(50, 2)), 0));
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(make(50, 3)), 2));
        tree.set_wide_nodes(true);
        EXPECT_EQ(find_wide_flaw(tree), "");
        for (unsigned sample = 0; sample < 4; ++sample)
            EXPECT_EQ(get_wide_sample(tree, sample) != nullptr, sample % 2 == 0) << sample;
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(make(50, 4)), 2));
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(make(50, 5)), 3));
        EXPECT_NE(get_wide_sample(tree, 3), nullptr);
        EXPECT_EQ(find_wide_flaw(tree), "");
    }
}

TEST(TreeWide, SamplesComeAndGoWithTheirCount) {
    GasTree tree;
    tree.set_wide_nodes(true);
    const std::vector<Box> boxes = make(50, 1);
    const std::int64_t empty = count_live_blocks();
    support::build(tree, boxes);
    const std::size_t without_samples = tree.get_wide_nodes_size();
    fill_samples(tree, {boxes, make(50, 2), make(50, 3), make(50, 4)});
    const std::size_t of_four = tree.get_wide_nodes_size();
    for (const unsigned count : {2u, 7u, 1u, 3u, 0u, 2u}) {
        tree.set_motion_blur_sample_count(count);
        EXPECT_EQ(find_wide_flaw(tree), "");
        for (unsigned sample = 0; sample < count; ++sample) {
            const bool is_filled = tree.get_blurred_bbox(sample) != GMathBbox3<float>();
            EXPECT_EQ(get_wide_sample(tree, sample) != nullptr, is_filled) << sample;
        }
        const bool is_any_filled = tree.get_blurred_bbox(0) != GMathBbox3<float>();
        EXPECT_EQ(tree.get_wide_nodes_size(), is_any_filled ? of_four : without_samples) << count;
    }
    EXPECT_EQ(tree.get_wide_nodes_size(), without_samples);

    // The others move where one is filled after their number has changed.
    fill_samples(tree, {boxes, make(50, 2), make(50, 3)});
    const std::size_t of_three = tree.get_wide_nodes_size();
    EXPECT_LT(of_three, of_four);
    for (const unsigned count : {5u, 2u, 3u}) {
        tree.set_motion_blur_sample_count(count);
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(make(50, count)), count - 1));
        EXPECT_EQ(find_wide_flaw(tree), "") << count;
        for (unsigned sample = 0; sample < count; ++sample)
            EXPECT_EQ(get_wide_sample(tree, sample) != nullptr, sample != 3) << sample;
    }
    EXPECT_EQ(tree.get_wide_nodes_size(), of_three);
    tree.set_motion_blur_sample_count(0);
    tree.clear();
    EXPECT_EQ(count_live_blocks(), empty);
}

TEST(TreeWide, MotionRaysSeeRefilledSamples) {
    GasTree tree;
    tree.set_wide_nodes(true);
    support::build(tree, support::row_of_boxes(9, 5000.0f));
    const std::vector<Box> far_away = support::row_of_boxes(9, 5000.0f);
    fill_samples(tree, {far_away, far_away});
    const std::vector<unsigned> all = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion}) {
        fill_samples(tree, {far_away, far_away});
        EXPECT_EQ(get_items_along_row(tree, query), std::vector<unsigned>());
        fill_samples(tree, {support::row_of_boxes(9), support::row_of_boxes(9, 0.5f)});
        EXPECT_EQ(get_items_along_row(tree, query), all);
    }
}

TEST(TreeWide, ACopySharesThemAndTheLastOneReleases) {
    const std::int64_t before = count_live_blocks();
    {
        GasTree* const source = new GasTree;
        source->set_wide_nodes(true);
        support::build(*source, make(50, 1));
        fill_samples(*source, {make(50, 1), make(50, 2)});
        GasTree copy(*source);
        EXPECT_EQ(get_wide_nodes(copy), get_wide_nodes(*source));
        EXPECT_EQ(get_wide_sample(copy, 1), get_wide_sample(*source, 1));
        EXPECT_EQ(copy.get_wide_nodes_size(), source->get_wide_nodes_size());
        EXPECT_EQ(find_wide_flaw(copy), "");
        // Its table of samples is its own.
        copy.set_motion_blur_sample_count(5);
        EXPECT_EQ(get_wide_sample(copy, 1), get_wide_sample(*source, 1));
        EXPECT_EQ(get_wide_sample(copy, 4), nullptr);
        ASSERT_TRUE(source->refit(to_boxes(make(50, 3))));
        ASSERT_TRUE(source->refit_motion_blur_sample(to_boxes(make(50, 4)), 1));
        EXPECT_EQ(find_wide_flaw(copy), "");
        let_go(*source);
        EXPECT_FALSE(source->has_wide_nodes());
        delete source;
        EXPECT_EQ(find_wide_flaw(copy), "");
        // What is wanted is copied, too.
        support::build(copy, make(30, 5));
        EXPECT_EQ(find_wide_flaw(copy), "");
    }
    EXPECT_EQ(count_live_blocks(), before);
}

TEST(TreeWide, AssignmentOfATreeWithoutThemLeavesNone) {
    GasTree source;
    support::build(source, make(6, 1));
    GasTree target;
    target.set_wide_nodes(true);
    support::build(target, make(9, 2));
    fill_samples(target, {make(9, 2)});
    GasTree keeper(target);
    target = source;
    EXPECT_FALSE(target.has_wide_nodes());
    EXPECT_EQ(target.get_wide_nodes_size(), 0u);
    EXPECT_EQ(find_wide_flaw(keeper), "");
    let_go(target);
}

} // namespace
