#include <gtest/gtest.h>

#include <cstdlib>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/golden/golden_compressed_trees.h>
#include <tests/golden/golden_hash.h>

namespace {

using naive::Split;
using scenes::Kind;

/// Over the whole tree, which has no byte without a meaning, and one motion-blur sample.
std::uint64_t hash_tree(const GasCompressedTree& tree) {
    Hash hash;
    hash.add(tree);
    hash.add(tree.get_blurred_bbox(0));
    for (unsigned byte = 0; byte < 7 * tree.get_node_count(); ++byte)
        hash.add_byte(tree.get_motion_blur_records(0)[byte]);
    return hash.get();
}

std::uint64_t hash_scene(Kind kind, Split split, unsigned count) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(kind, count, golden_compressed_seed), split);
    tree.set_motion_blur_sample_count(1);
    const std::vector<naive::Box> moved = scenes::make(kind, count, golden_compressed_seed + 1);
    tree.refit_motion_blur_sample(support::to_boxes(moved), 0);
    return hash_tree(tree);
}

class GoldenCompressedTrees : public testing::TestWithParam<Kind> {};

} // namespace

TEST_P(GoldenCompressedTrees, HashesAreThoseOfEveryMachine) {
    for (const Split split : support::all_splits) {
        const std::size_t row =
            static_cast<std::size_t>(GetParam()) * std::size(support::all_splits) +
            static_cast<std::size_t>(split);
        for (std::size_t i = 0; i < std::size(golden_compressed_counts); ++i) {
            EXPECT_EQ(hash_scene(GetParam(), split, golden_compressed_counts[i]),
                      golden_compressed_hashes[row][i])
                << support::name(split) << ", " << golden_compressed_counts[i] << " boxes";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenCompressedTrees, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

// With GAS_PRINT_GOLDEN_TREES in the environment it prints the rows of golden_compressed_trees.h as
// well.
TEST(GoldenCompressedTable, HasOneRowPerKindAndMethod) {
    EXPECT_EQ(std::size(golden_compressed_hashes),
              scenes::all_kinds().size() * std::size(support::all_splits));
    if (std::getenv("GAS_PRINT_GOLDEN_TREES"))
        print_hash_rows(golden_compressed_counts, hash_scene);
}
