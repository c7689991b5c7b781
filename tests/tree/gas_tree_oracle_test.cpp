// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

// Single splits and refits against the naive implementation, bit by bit.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::scale;
using support::SeededRandom;
using support::spoil;
using support::to_boxes;

class Oracle : public testing::TestWithParam<Kind> {};

} // namespace

// The build replaces a count of 0 or all; a single split shows it, and the order of the items.
TEST_P(Oracle, SingleSplitsReportAndReorderTheSame) {
    for (unsigned seed = 1; seed <= scale(support::scale_when_whole(1200, 600), 40); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 3 + random.below(seed % 4 == 0 ? 150 : 30);
        std::vector<Box> boxes = scenes::make(GetParam(), count, seed);
        if (seed % 2 == 0)
            spoil(boxes, random, 1 + random.below(30));
        const support::SplitScene scene(boxes);
        for (const Split split : support::all_splits) {
            std::vector<unsigned> items = support::list_items(count);
            const unsigned left_count = naive::split_items(split, boxes, items);
            ASSERT_EQ(scene.split(support::split_function(split)),
                      (support::SplitResult{left_count, items}))
                << support::name(split) << ", seed " << seed;
        }
    }
}

TEST_P(Oracle, RefitsAndSamplesAreTheSame) {
    for (unsigned seed = 1; seed <= scale(200, 10); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(100);
        const Split split = support::all_splits[random.below(4)];
        const std::vector<Box> built = scenes::make(GetParam(), count, seed);
        GasTree tree;
        support::build(tree, built, split);
        naive::Tree expected = naive::build(built, split);
        ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
        const unsigned sample_count = 1 + random.below(4);
        tree.set_motion_blur_sample_count(sample_count);
        naive::set_sample_count(expected, sample_count);
        for (unsigned round = 0; round < 4; ++round) {
            std::vector<Box> boxes = scenes::make(GetParam(), count, seed + 1000 * (round + 1));
            if (random.below(2) == 0)
                spoil(boxes, random, 10);
            const unsigned sample = random.below(sample_count);
            ASSERT_TRUE(tree.refit(to_boxes(boxes)));
            ASSERT_TRUE(naive::refit(expected, boxes));
            ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(boxes), sample));
            ASSERT_TRUE(naive::refit_sample(expected, boxes, sample));
            ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Oracle, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });
