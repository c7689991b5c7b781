// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;

/// Builds over `count` boxes, with indices when asked to.
template <typename Tree> void build(Tree& tree, unsigned count, bool with_indices) {
    support::build(tree, scenes::make(scenes::Kind::random, count, count), naive::Split::sah_fast,
                   with_indices ? std::vector<unsigned>(count, 5) : std::vector<unsigned>());
}

} // namespace

TEST(MemorySize, OfATreeChargesNodesAndEightBytesPerIndex) {
    GasTree tree;
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree));
    for (const unsigned count : {1u, 2u, 37u}) {
        const std::size_t nodes = (2 * std::size_t{count} - 1) * 32;
        build(tree, count, false);
        EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + nodes);
        build(tree, count, true);
        EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + nodes + std::size_t{count} * 8);
    }
}

TEST(MemorySize, OfACompressedTreeChargesNodesAndEightBytesPerIndex) {
    GasCompressedTree tree;
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree));
    for (const unsigned count : {1u, 2u, 37u}) {
        const std::size_t nodes = (count == 1 ? 1 : std::size_t{count} - 1) * 16;
        build(tree, count, false);
        EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree) + nodes);
        build(tree, count, true);
        EXPECT_EQ(tree.get_memory_size(),
                  sizeof(GasCompressedTree) + nodes + std::size_t{count} * 8);
    }
    tree.clear();
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree));
}

TEST(MemorySize, OfACompressedTreeLeavesOutItsSamples) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 37, 1);
    GasCompressedTree tree;
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes, boxes});
    ASSERT_TRUE(tree.has_sample(2));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree) + 36 * 16);
}

// Whoever knows only a base of a derived tree asks through the virtual operation.
TEST(MemorySize, IsVirtual) {
    struct Larger : GasCompressedTree {
        std::size_t get_memory_size() const override {
            return GasCompressedTree::get_memory_size() + 1000;
        }
    };
    const Larger larger;
    const GasCompressedTree& tree = larger;
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree) + 1000);
}
