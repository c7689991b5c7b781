#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/compressed_difference.h>
#include <tests/support/drawn_progress.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>

// Whole compressed trees of the library against the naive ones, byte by byte.

namespace {

using naive::Box;
using naive::CompressedTree;
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
    unsigned long records = 0;
    unsigned long mapped_trees = 0;
    unsigned long samples = 0;
    unsigned long sample_records = 0;
    unsigned long slots = 0;
    unsigned long progress_calls = 0;

    void print() const {
        if (trees != 0)
            std::printf("compared %lu trees (%lu with an index array), %lu records, %lu samples "
                        "with %lu records, %lu slots, %lu progress calls\n",
                        trees, mapped_trees, records, samples, sample_records, slots,
                        progress_calls);
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

std::vector<unsigned> get_items(GasCompressedTree& tree) {
    std::vector<unsigned> items;
    const GasLeafCallback report = [](void* user, const unsigned& item, const CtxEval&, CtxShader&,
                                      GeometryRaytraceCtx&) {
        static_cast<std::vector<unsigned>*>(user)->push_back(item);
    };
    tree.set_leaf_raytrace_callbacks(report, report, &items);
    CtxShader shader;
    GeometryRaytraceData rays;
    for (unsigned leaf = 0; leaf < tree.get_leaf_count(); ++leaf)
        tree.leaf_ray_hit_static(leaf, CtxEval(), shader, rays.get_ctx());
    return items;
}

std::vector<unsigned> expect_items(const CompressedTree& expected) {
    if (!expected.items.empty())
        return expected.items;
    std::vector<unsigned> positions;
    for (unsigned leaf = 0; leaf < expected.leaf_count; ++leaf)
        positions.push_back(leaf);
    return positions;
}

void compare_progress(const support::DrawnProgress& progress, const CompressedTree& expected) {
    EXPECT_EQ(progress.bar.get_value(), 1.0f);
    // A lone item is done at once: the bar keeps its own steps.
    const naive::Progress settings = expected.leaf_count == 1
                                         ? naive::Progress{1, 0.0f}
                                         : naive::progress_settings(expected.leaf_count, 1.0f);
    EXPECT_EQ(progress.bar.get_step_interval(), settings.step_interval);
    EXPECT_EQ(progress.bar.get_step_increment(), settings.step_increment);
    EXPECT_EQ(progress.get_lines(), support::replay_lines(expected.progress_calls, settings));
    tally().progress_calls += expected.progress_calls.size();
}

/// Builds both trees, compares them, and returns the expected one.
CompressedTree compare(GasCompressedTree& tree, const std::vector<Box>& boxes, Split split,
                       const std::vector<unsigned>& indices = {}) {
    support::DrawnProgress progress(split);
    tree.create(to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar);
    const CompressedTree expected = naive::build_compressed(boxes, split, indices);
    ++tally().trees;
    tally().records += expected.node_count;
    tally().mapped_trees += !indices.empty();
    EXPECT_EQ(support::find_difference(tree, expected), "")
        << support::name(split) << ", " << boxes.size() << " boxes";
    EXPECT_EQ(get_items(tree), expect_items(expected));
    compare_progress(progress, expected);
    return expected;
}

void compare_slots(const GasCompressedTree& tree, const CompressedTree& expected) {
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

std::string kind_name(const testing::TestParamInfo<Kind>& info) { return scenes::name(info.param); }

class CompressedOracle : public testing::TestWithParam<Kind> {};

} // namespace

TEST_P(CompressedOracle, EveryCountUpTo300GivesTheSameRecords) {
    GasCompressedTree tree;
    for (unsigned count = 1; count <= 300; count += scale(1, count < 20 ? 1 : 29)) {
        SeededRandom random(count);
        for (const Split split : support::all_splits) {
            const CompressedTree expected =
                compare(tree, scenes::make(GetParam(), count, 1000 + count), split,
                        make_indices(random, count));
            if (count % 4 == 0)
                compare_slots(tree, expected);
        }
        ASSERT_FALSE(HasFailure()) << count;
    }
}

TEST_P(CompressedOracle, ManySeedsGiveTheSameRecords) {
    GasCompressedTree tree;
    for (unsigned seed = 1; seed <= scale(500, 15); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(seed % 5 == 0 ? 200 : 40);
        std::vector<Box> boxes = scenes::make(GetParam(), count, seed);
        if (seed % 2 == 0)
            distort(boxes, random);
        for (const Split split : support::all_splits)
            compare_slots(tree, compare(tree, boxes, split, make_indices(random, count)));
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

TEST_P(CompressedOracle, SpecialValuesGiveTheSameRecords) {
    GasCompressedTree tree;
    for (unsigned seed = 1; seed <= scale(600, 20); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(seed % 4 == 0 ? 150 : 30);
        std::vector<Box> boxes = scenes::make(GetParam(), count, seed);
        spoil(boxes, random, 1 + random.below(seed % 3 == 0 ? 4 : 40));
        for (const Split split : support::all_splits)
            compare_slots(tree, compare(tree, boxes, split));
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

TEST_P(CompressedOracle, SamplesAreTheSameWhileTheirNumberChanges) {
    for (unsigned seed = 1; seed <= scale(200, 8); ++seed) {
        SeededRandom random(seed);
        const unsigned count = 1 + random.below(100);
        const Split split = support::all_splits[random.below(4)];
        GasCompressedTree tree;
        CompressedTree expected = compare(tree, scenes::make(GetParam(), count, seed), split);
        for (unsigned round = 0; round < 5; ++round) {
            const unsigned sample_count = random.below(6);
            tree.set_motion_blur_sample_count(sample_count);
            naive::set_sample_count(expected, sample_count);
            ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
            for (unsigned refit = 0; refit < sample_count; ++refit) {
                // One beyond the table, and one box too many, now and then.
                const unsigned sample = random.below(sample_count + 1);
                const unsigned box_count = count + (random.below(8) == 0);
                std::vector<Box> boxes = scenes::make(GetParam(), box_count, random.next());
                if (random.below(4) == 0)
                    distort(boxes, random);
                else if (random.below(4) == 0)
                    spoil(boxes, random, 10);
                ASSERT_EQ(tree.refit_motion_blur_sample(to_boxes(boxes), sample),
                          naive::refit_sample(expected, boxes, sample));
                ++tally().samples;
                tally().sample_records += expected.node_count;
                ASSERT_EQ(support::find_difference(tree, expected), "") << seed;
            }
        }
    }
}

TEST_P(CompressedOracle, LargeScenesGiveTheSameRecords) {
    GasCompressedTree tree;
    const unsigned count = scale(3000, 800);
    for (const Split split : support::all_splits)
        compare_slots(tree, compare(tree, scenes::make(GetParam(), count, 5), split));
}

INSTANTIATE_TEST_SUITE_P(Kinds, CompressedOracle, testing::ValuesIn(scenes::all_kinds()),
                         kind_name);

TEST(CompressedOracleOfLargeScenes, EveryMethodGivesTheSameRecords) {
    GasCompressedTree tree;
    for (const Split split : support::all_splits) {
        compare(tree, scenes::make(Kind::clustered, scale(20000, 2000), 1), split);
        compare_slots(tree,
                      compare(tree, scenes::make(Kind::random, scale(20000, 2000), 2), split));
    }
}

TEST(CompressedOracleOfDoubleBoxes, NarrowedBoxesGiveTheSameRecords) {
    GasCompressedTree tree;
    for (unsigned seed = 1; seed <= scale(200, 20); ++seed) {
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
            tree.create(support::to_double_boxes(boxes), nullptr, &progress.bar);
            ASSERT_EQ(support::find_difference(
                          tree, naive::build_compressed(naive::narrow(boxes), split)),
                      "");
            ++tally().trees;
            tally().records += tree.get_node_count();
        }
    }
}

TEST(CompressedOracleWithoutABar, TheFastSahGivesTheSameRecords) {
    GasCompressedTree tree;
    for (unsigned count = 1; count <= 60; ++count) {
        SeededRandom random(count);
        const std::vector<Box> boxes = scenes::make(Kind::random, count, count);
        const std::vector<unsigned> indices = make_indices(random, count);
        const CoreArray<GMathBbox3<float>> array = to_boxes(boxes);
        tree.create(&array[0], count, indices.empty() ? nullptr : indices.data(), nullptr);
        const CompressedTree expected = naive::build_compressed(boxes, Split::sah_fast, indices);
        ASSERT_EQ(support::find_difference(tree, expected), "") << count;
        ASSERT_EQ(get_items(tree), expect_items(expected)) << count;
        ++tally().trees;
        tally().records += tree.get_node_count();
    }
}
