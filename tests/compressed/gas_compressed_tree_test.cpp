// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>

#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

TEST(GasCompressedTree, ANodeIsAPairOfBoxesFlagsAndTwoReferences) {
    EXPECT_EQ(sizeof(GasCompressedNode), 16u);
    EXPECT_EQ(alignof(GasCompressedNode), 16u);
    EXPECT_EQ(offsetof(GasCompressedNode, boxes), 0u);
    EXPECT_EQ(offsetof(GasCompressedNode, flags), 7u);
    EXPECT_EQ(offsetof(GasCompressedNode, children), 8u);
    EXPECT_EQ(sizeof(GasQuantizedPair), 7u);
    EXPECT_EQ(alignof(GasQuantizedPair), 1u);
    EXPECT_EQ(offsetof(GasQuantizedPair, min), 0u);
    EXPECT_EQ(offsetof(GasQuantizedPair, owners), 3u);
    EXPECT_EQ(offsetof(GasQuantizedPair, max), 4u);
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TEST(GasCompressedTree, ABoxOfASampleThatIsNotThereIsTheTreesOwn) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(scenes::Kind::random, 6, 7));
    EXPECT_EQ(tree.get_blurred_bbox(0), tree.get_bbox());
}
#else
TEST(GasCompressedTreeDeathTest, ABoxOfASampleThatIsNotThereAsserts) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(scenes::Kind::random, 6, 7));
    EXPECT_DEATH(tree.get_blurred_bbox(0), "no such motion-blur sample");
}
#endif
