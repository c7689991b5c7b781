// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <numeric>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/drawn_progress.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_kinds.h>

// Whole trees of the library against the naive ones, bit by bit.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::create;
using support::scale;
using support::SeededRandom;
using support::spoil;
using support::to_boxes;
using support::TreeClass;
using support::TreeKind;

struct Compared {
    unsigned long trees = 0;
    unsigned long nodes = 0;
    unsigned long mapped_trees = 0;
    unsigned long samples = 0;
    unsigned long slots = 0;
    unsigned long progress_calls = 0;

    void print() const {
        if (trees != 0)
            std::printf("compared %lu trees (%lu with an index array), %lu nodes, %lu samples, "
                        "%lu slots, %lu progress calls\n",
                        trees, mapped_trees, nodes, samples, slots, progress_calls);
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

template <typename Naive> std::vector<unsigned> expect_items(const Naive& expected) {
    if (!expected.items.empty())
        return expected.items;
    std::vector<unsigned> positions(expected.leaf_count);
    std::iota(positions.begin(), positions.end(), 0u);
    return positions;
}

/// Compares the tree with the expected one, which it returns.
template <typename Tree>
typename TreeKind<Tree>::Naive compare_built(Tree& tree, const std::vector<Box>& boxes, Split split,
                                             const std::vector<unsigned>& indices) {
    typename TreeKind<Tree>::Naive expected = TreeKind<Tree>::build_naive(boxes, split, indices);
    ++tally().trees;
    tally().nodes += tree.get_node_count();
    tally().mapped_trees += !indices.empty();
    EXPECT_EQ(support::find_difference(tree, expected), "")
        << support::name(split) << ", " << boxes.size() << " boxes";
    EXPECT_EQ(support::get_reported_items(tree), expect_items(expected));
    return expected;
}

void expect_settings(const AppProgressBar& bar, const naive::Progress& settings) {
    EXPECT_EQ(bar.get_step_interval(), settings.step_interval);
    EXPECT_EQ(bar.get_step_increment(), settings.step_increment);
}

/// What a bar shows after the calls of a build.
float replay(const naive::Tree& expected, const naive::Progress& settings) {
    support::QuietProgress progress(Split::sah_fast);
    progress.bar.set_step_interval(settings.step_interval);
    progress.bar.set_step_increment(settings.step_increment);
    for (const unsigned leaf_count : expected.progress_calls)
        progress.bar.increment_if_step(leaf_count);
    return progress.bar.get_value();
}

/// Builds both trees, compares them, and returns the expected one. A plain build fills `share` of
/// its bar.
naive::Tree compare(GasTree& tree, const std::vector<Box>& boxes, Split split, float share = 1.0f,
                    const std::vector<unsigned>& indices = {}) {
    support::QuietProgress progress(split);
    tree.create(to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar, share);
    naive::Tree expected = compare_built(tree, boxes, split, indices);
    const naive::Progress settings =
        naive::progress_settings(static_cast<unsigned>(boxes.size()), share);
    expect_settings(progress.bar, settings);
    EXPECT_EQ(progress.bar.get_value(), replay(expected, settings));
    tally().progress_calls += expected.progress_calls.size();
    return expected;
}
naive::CompressedTree compare(GasCompressedTree& tree, const std::vector<Box>& boxes, Split split,
                              float = 1.0f, const std::vector<unsigned>& indices = {}) {
    support::DrawnProgress progress(split);
    tree.create(to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar);
    naive::CompressedTree expected = compare_built(tree, boxes, split, indices);
    // A lone item is done at once: the bar keeps its own steps.
    const naive::Progress settings = expected.leaf_count == 1
                                         ? naive::Progress{1, 0.0f}
                                         : naive::progress_settings(expected.leaf_count, 1.0f);
    expect_settings(progress.bar, settings);
    EXPECT_EQ(progress.bar.get_value(), 1.0f);
    EXPECT_EQ(progress.get_lines(), support::replay_lines(expected.progress_calls, settings));
    tally().progress_calls += expected.progress_calls.size();
    return expected;
}

/// Of compressed trees: what a walk over slots meets.
void compare_slots(const GasTree&, const naive::Tree&) {}
void compare_slots(const GasCompressedTree& tree, const naive::CompressedTree& expected) {
    if (expected.leaf_count < 2)
        return;
    EXPECT_EQ(support::find_slot_difference(tree, expected), "");
    tally().slots += expected.node_count + expected.leaf_count;
}

/// Values for every item, half of the time.
std::vector<unsigned> make_indices(SeededRandom& random, unsigned count) {
    std::vector<unsigned> indices;
    if (random.below(2) == 0) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(random.next());
    }
    return indices;
}

/// Stretches and moves boxes by powers of two, keeping them finite; turns some inside out.
void distort(std::vector<Box>& boxes, SeededRandom& random) {
    const float factor = std::ldexp(1.0f, static_cast<int>(random.below(40)) - 20);
    const float offset = random.below(2) ? random.between(-1.0f, 1.0f) * 1e4f * factor : 0.0f;
    const unsigned rarity = random.below(3) == 0 ? 3 : 1000000;
    for (Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = box.min[axis] * factor + offset;
            box.max[axis] = box.max[axis] * factor + offset;
            if (random.below(rarity) == 0)
                std::swap(box.min[axis], box.max[axis]);
        }
    }
}

class TreesOracle : public testing::TestWithParam<std::tuple<TreeClass, Kind>> {
  protected:
    static TreeClass get_class() { return std::get<TreeClass>(GetParam()); }
    static std::vector<Box> make(unsigned count, std::uint64_t seed) {
        return scenes::make(std::get<Kind>(GetParam()), count, seed);
    }

    /// Calls `check(tree, seed, random)` with seeds 1 to `seed_count`, up to the first failure.
    template <typename Check> static void with_seeds(unsigned seed_count, const Check& check) {
        with_tree(get_class(), [&](auto& tree) {
            for (unsigned seed = 1; seed <= seed_count; ++seed) {
                SeededRandom random(seed);
                check(tree, seed, random);
                ASSERT_FALSE(HasFailure()) << seed;
            }
        });
    }
};

template <typename Tree> class TreesOracleOfOneScene : public testing::Test {};
TYPED_TEST_SUITE(TreesOracleOfOneScene, support::BothTrees, support::TreeNames);

/// From one count of items to the next.
unsigned get_step(unsigned count) {
    return scale(support::scale_when_whole(1, count < 100 ? 1 : 3), count < 20 ? 1 : 17);
}

} // namespace

TEST_P(TreesOracle, EveryCountUpTo300GivesTheSameTree) {
    with_tree(get_class(), [&](auto& tree) {
        for (unsigned count = 1; count <= 300; count += get_step(count)) {
            SeededRandom random(count);
            const float share = static_cast<float>(1 + count % 100) * 0.01f;
            for (const Split split : support::all_splits) {
                compare(tree, make(count, 2000 + count), split);
                const auto expected = compare(tree, make(count, 1000 + count), split, share,
                                              make_indices(random, count));
                if (count % 4 == 0)
                    compare_slots(tree, expected);
            }
            ASSERT_FALSE(HasFailure()) << count;
        }
    });
}

TEST_P(TreesOracle, ManySeedsGiveTheSameTree) {
    with_seeds(scale(support::scale_when_whole(600, 300), 25), [&](auto& tree, unsigned seed,
                                                                   SeededRandom& random) {
        const unsigned count = 1 + random.below(seed % 5 == 0 ? 200 : 40);
        std::vector<Box> boxes = make(count, seed);
        for (const bool is_distorted : {false, true}) {
            if (is_distorted && seed % 2 != 0)
                continue;
            if (is_distorted)
                distort(boxes, random);
            for (const Split split : support::all_splits)
                compare_slots(tree, compare(tree, boxes, split, 1.0f, make_indices(random, count)));
        }
    });
}

TEST_P(TreesOracle, SpecialValuesGiveTheSameTree) {
    with_seeds(scale(support::scale_when_whole(1200, 600), 40),
               [&](auto& tree, unsigned seed, SeededRandom& random) {
                   const unsigned count = 1 + random.below(seed % 4 == 0 ? 150 : 30);
                   std::vector<Box> boxes = make(count, seed);
                   spoil(boxes, random, 1 + random.below(seed % 3 == 0 ? 4 : 40));
                   for (const Split split : support::all_splits)
                       compare_slots(tree, compare(tree, boxes, split, 0.37f));
               });
}

TEST_P(TreesOracle, SamplesAreTheSameWhileTheirNumberChanges) {
    for (unsigned seed = 1; seed <= scale(200, 10); ++seed) {
        with_tree(get_class(), [&](auto& tree) {
            SeededRandom random(seed);
            const unsigned count = 1 + random.below(100);
            const Split split = support::all_splits[random.below(4)];
            auto expected = compare(tree, make(count, seed), split);
            for (unsigned round = 0; round < 5; ++round) {
                const unsigned sample_count = random.below(6);
                tree.set_motion_blur_sample_count(sample_count);
                naive::set_sample_count(expected, sample_count);
                ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
                for (unsigned refit = 0; refit < sample_count; ++refit) {
                    // One beyond the table, and one box too many, now and then.
                    const unsigned sample = random.below(sample_count + 1);
                    const unsigned box_count = count + (random.below(8) == 0);
                    std::vector<Box> boxes = make(box_count, random.next());
                    if (random.below(4) == 0)
                        distort(boxes, random);
                    else if (random.below(4) == 0)
                        spoil(boxes, random, 10);
                    ASSERT_EQ(tree.refit_motion_blur_sample(to_boxes(boxes), sample),
                              naive::refit_sample(expected, boxes, sample));
                    ++tally().samples;
                    ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
                }
            }
        });
        if (HasFatalFailure())
            return;
    }
}

TEST_P(TreesOracle, LargeScenesGiveTheSameTree) {
    const std::pair<Split, float> builds[] = {{Split::median, 1.0f},
                                              {Split::hybrid, 0.5f},
                                              {Split::sah_fast, 0.01f},
                                              {Split::sah, 0.29f}};
    with_tree(get_class(), [&](auto& tree) {
        std::uint64_t seed = 5;
        for (const auto& [split, share] : builds)
            compare_slots(tree, compare(tree, make(scale(5000, 1500), seed++), split, share));
    });
}

INSTANTIATE_TEST_SUITE_P(Trees, TreesOracle,
                         testing::Combine(testing::ValuesIn(support::both_tree_classes),
                                          testing::ValuesIn(scenes::all_kinds())),
                         [](const auto& scene) {
                             return std::string(support::name(std::get<TreeClass>(scene.param))) +
                                    "_" + scenes::name(std::get<Kind>(scene.param));
                         });

TYPED_TEST(TreesOracleOfOneScene, EveryMethodGivesTheSameLargeTree) {
    TypeParam tree;
    for (const Split split : support::all_splits) {
        compare(tree, scenes::make(Kind::clustered, scale(20000, 2000), 1), split);
        compare_slots(tree,
                      compare(tree, scenes::make(Kind::random, scale(100000, 3000), 2), split));
    }
}

TYPED_TEST(TreesOracleOfOneScene, NarrowedDoubleBoxesGiveTheSameTree) {
    TypeParam tree;
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
            create(tree, support::to_double_boxes(boxes), nullptr, &progress.bar);
            compare_built(tree, naive::narrow(boxes), split, {});
            ASSERT_FALSE(this->HasFailure()) << seed;
        }
    }
}

TYPED_TEST(TreesOracleOfOneScene, WithoutABarTheFastSahGivesTheSameTree) {
    TypeParam tree;
    for (unsigned count = 1; count <= 60; ++count) {
        SeededRandom random(count);
        const std::vector<Box> boxes = scenes::make(Kind::random, count, count);
        const std::vector<unsigned> indices = make_indices(random, count);
        const CoreArray<GMathBbox3<float>> array = to_boxes(boxes);
        support::create_of(tree, &array[0], count, indices.empty() ? nullptr : indices.data());
        compare_built(tree, boxes, Split::sah_fast, indices);
        ASSERT_FALSE(this->HasFailure()) << count;
    }
}
