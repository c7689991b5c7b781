#include <gtest/gtest.h>

#include <cstdlib>

#include <tests/golden/golden_hash.h>
#include <tests/golden/golden_trees.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Split;
using scenes::Kind;

std::uint64_t hash_tree(const GasTree& tree) {
    Hash hash;
    hash.add(tree);
    return hash.get();
}

std::uint64_t hash_scene(Kind kind, Split split, unsigned count) {
    GasTree tree;
    support::build(tree, scenes::make(kind, count, golden_seed), split);
    return hash_tree(tree);
}

std::string kind_name(const testing::TestParamInfo<Kind>& info) { return scenes::name(info.param); }

class GoldenTrees : public testing::TestWithParam<Kind> {};

} // namespace

TEST_P(GoldenTrees, HashesAreThoseOfEveryMachine) {
    for (const Split split : support::all_splits) {
        const std::size_t row =
            static_cast<std::size_t>(GetParam()) * std::size(support::all_splits) +
            static_cast<std::size_t>(split);
        for (std::size_t i = 0; i < std::size(golden_counts); ++i) {
            EXPECT_EQ(hash_scene(GetParam(), split, golden_counts[i]), golden_hashes[row][i])
                << support::name(split) << ", " << golden_counts[i] << " boxes";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenTrees, testing::ValuesIn(scenes::all_kinds()), kind_name);

// With GAS_PRINT_GOLDEN_TREES in the environment it prints the rows of golden_trees.h as well.
TEST(GoldenTable, HasOneRowPerKindAndMethod) {
    EXPECT_EQ(std::size(golden_hashes),
              scenes::all_kinds().size() * std::size(support::all_splits));
    if (std::getenv("GAS_PRINT_GOLDEN_TREES"))
        print_hash_rows(golden_counts, hash_scene);
}
