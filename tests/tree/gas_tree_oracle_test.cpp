#include <gtest/gtest.h>

#include <cstdio>

#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

// The library against the naive implementation, bit by bit.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::SeededRandom;
using support::spoil;
using support::to_boxes;

/// How much is compared: everything, or a part where a sanitizer makes it slow.
constexpr unsigned scale(unsigned full, unsigned sanitized) {
    return support::is_sanitized ? sanitized : full;
}

struct Compared {
    unsigned long trees = 0;
    unsigned long boxes = 0;
    unsigned long splits = 0;

    void add(const GasTree& tree) {
        ++trees;
        boxes += tree.get_node_count();
    }
    void print() const {
        if (trees == 0 && splits == 0)
            return;
        std::printf("compared %lu trees, %lu boxes and %lu single splits\n", trees, boxes, splits);
    }
};

/// Prints what the program compared when its last test is done.
class Tally : public testing::Environment {
  public:
    void TearDown() override { compared.print(); }

    Compared compared;
};

Tally* const environment = static_cast<Tally*>(testing::AddGlobalTestEnvironment(new Tally));

Compared& tally() { return environment->compared; }

/// What a bar shows after the calls of a build.
float replay(const naive::Tree& expected, const naive::Progress& settings) {
    support::QuietProgress progress(Split::sah_fast);
    progress.bar.set_step_interval(settings.step_interval);
    progress.bar.set_step_increment(settings.step_increment);
    for (const unsigned leaf_count : expected.progress_calls)
        progress.bar.increment_if_step(leaf_count);
    return progress.bar.get_value();
}

/// Builds both trees, compares them, and returns the expected one.
naive::Tree compare(GasTree& tree, const std::vector<Box>& boxes, Split split, float share) {
    support::QuietProgress progress(split);
    tree.create(to_boxes(boxes), nullptr, &progress.bar, share);
    const naive::Tree expected = naive::build(boxes, split);
    tally().add(tree);
    EXPECT_EQ(support::find_difference(tree, expected), "")
        << support::name(split) << ", " << boxes.size() << " boxes";

    const naive::Progress settings =
        naive::progress_settings(static_cast<unsigned>(boxes.size()), share);
    EXPECT_EQ(progress.bar.get_step_interval(), settings.step_interval);
    EXPECT_EQ(progress.bar.get_step_increment(), settings.step_increment);
    EXPECT_EQ(progress.bar.get_value(), replay(expected, settings));
    return expected;
}

std::string kind_name(const testing::TestParamInfo<Kind>& info) { return scenes::name(info.param); }

class Oracle : public testing::TestWithParam<Kind> {};

} // namespace

TEST_P(Oracle, EveryCountUpTo300GivesTheSameTree) {
    GasTree tree;
    for (unsigned count = 1; count <= 300; count += scale(1, count < 40 ? 1 : 13)) {
        for (const Split split : support::all_splits) {
            const float share = static_cast<float>(1 + count % 100) * 0.01f;
            compare(tree, scenes::make(GetParam(), count, 1000 + count), split, share);
            compare(tree, scenes::make(GetParam(), count, 2000 + count), split, 1.0f);
        }
        ASSERT_FALSE(HasFailure()) << count;
    }
}

TEST_P(Oracle, ManySeedsGiveTheSameTree) {
    GasTree tree;
    for (unsigned seed = 1; seed <= scale(600, 25); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(seed % 5 == 0 ? 200 : 40);
        for (const Split split : support::all_splits)
            compare(tree, scenes::make(GetParam(), count, seed), split, 1.0f);
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

TEST_P(Oracle, SpecialValuesGiveTheSameTree) {
    GasTree tree;
    for (unsigned seed = 1; seed <= scale(1200, 40); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(seed % 4 == 0 ? 150 : 30);
        std::vector<Box> boxes = scenes::make(GetParam(), count, seed);
        spoil(boxes, random, 1 + random.below(seed % 3 == 0 ? 4 : 40));
        for (const Split split : support::all_splits)
            compare(tree, boxes, split, 0.37f);
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

// The build replaces a count of 0 or all; a single split shows it, and the order of the items.
TEST_P(Oracle, SingleSplitsReportAndReorderTheSame) {
    for (unsigned seed = 1; seed <= scale(1200, 40); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 3 + random.below(seed % 4 == 0 ? 150 : 30);
        std::vector<Box> boxes = scenes::make(GetParam(), count, seed);
        if (seed % 2 == 0)
            spoil(boxes, random, 1 + random.below(30));
        const support::SplitScene scene(boxes);
        for (const Split split : support::all_splits) {
            std::vector<unsigned> items = support::list_items(count);
            const unsigned left_count = naive::split_items(split, boxes, items);
            ++tally().splits;
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
        GasTree tree;
        naive::Tree expected = compare(tree, scenes::make(GetParam(), count, seed), split, 1.0f);
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
            tally().add(tree);
            ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
        }
    }
}

TEST_P(Oracle, LargeScenesGiveTheSameTree) {
    GasTree tree;
    compare(tree, scenes::make(GetParam(), scale(5000, 1500), 5), Split::median, 1.0f);
    compare(tree, scenes::make(GetParam(), scale(5000, 1500), 6), Split::hybrid, 0.5f);
    compare(tree, scenes::make(GetParam(), scale(5000, 1500), 7), Split::sah_fast, 0.01f);
    compare(tree, scenes::make(GetParam(), scale(5000, 1500), 8), Split::sah, 0.29f);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Oracle, testing::ValuesIn(scenes::all_kinds()), kind_name);

TEST(OracleOfLargeScenes, EveryMethodGivesTheSameTree) {
    GasTree tree;
    for (const Split split : support::all_splits) {
        compare(tree, scenes::make(Kind::clustered, scale(20000, 2000), 1), split, 1.0f);
        compare(tree, scenes::make(Kind::random, scale(100000, 3000), 2), split, 1.0f);
    }
}

TEST(OracleOfDoubleBoxes, NarrowedBoxesGiveTheSameTree) {
    GasTree tree;
    for (unsigned seed = 1; seed <= scale(200, 30); ++seed) {
        SeededRandom random(seed);
        std::vector<naive::BoxD> boxes(1 + random.below(60));
        for (naive::BoxD& box : boxes) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] = (random.uniform_double() - 0.5) * 100.0;
                box.max[axis] = box.min[axis] + random.uniform_double();
            }
        }
        for (const Split split : support::all_splits) {
            support::QuietProgress progress(split);
            tree.create(support::to_double_boxes(boxes), nullptr, &progress.bar, 1.0f);
            tally().add(tree);
            ASSERT_EQ(support::find_difference(tree, naive::build(naive::narrow(boxes), split)),
                      "");
        }
    }
}
