// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/tree/gas_tree_arrays.h>

#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

// Trees whose arrays lie in a block: used there, changed there, and released once.

namespace {

using naive::Box;
using scenes::Kind;
using support::is_compressed;

constexpr unsigned item_count = 100;

template <typename Tree>
using ArraysOf = std::conditional_t<is_compressed<Tree>, GasCompressedTreeArrays, GasTreeArrays>;

template <typename Tree> class TreesArrays : public testing::Test {
  protected:
    static std::vector<Box> get_boxes(unsigned seed) {
        return scenes::make(Kind::random, item_count, seed);
    }
    static void count_release(void* memory, std::size_t) {
        ++release_count;
        std::free(memory);
    }
    void SetUp() override { release_count = 0; }

    /// A tree over boxes 7 with a sample over boxes 8, in a block of its own.
    static void make(Tree& tree) {
        Tree source;
        support::build(source, get_boxes(7));
        source.set_motion_blur_sample_count(1);
        ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(get_boxes(8)), 0));
        ArraysOf<Tree> arrays = ArraysOf<Tree>::of(source);
        std::size_t node_bytes = arrays.get_node_count() * sizeof *arrays.nodes;
        const std::size_t slack = 16;
        const std::size_t sample_bytes = arrays.get_node_count() * (is_compressed<Tree> ? 7 : 24);
        const GasArrayBlock block = {std::malloc(node_bytes + sample_bytes + slack),
                                     node_bytes + sample_bytes + slack, count_release};
        char* const memory = static_cast<char*>(block.memory);
        std::memset(memory, 0, block.size);
        std::memcpy(memory, arrays.nodes, node_bytes);
        std::memcpy(memory + node_bytes, arrays.samples[0], sample_bytes);
        arrays.nodes = reinterpret_cast<decltype(arrays.nodes)>(memory);
        auto* sample =
            reinterpret_cast<std::remove_pointer_t<decltype(arrays.samples)>>(memory + node_bytes);
        arrays.samples = &sample;
        arrays.give_to(tree, block);
    }
    static std::string find_flaw(const Tree& tree) {
        const std::string flaw = support::find_flaw(tree, get_boxes(7));
        return flaw.empty() ? support::find_sample_flaw(tree, get_boxes(8), 0) : flaw;
    }

    static inline int release_count = 0;
};

TYPED_TEST_SUITE(TreesArrays, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesArrays, AreUsedInTheirBlockAndReleasedOnce) {
    {
        TypeParam tree;
        this->make(tree);
        EXPECT_EQ(this->find_flaw(tree), "");
        EXPECT_EQ(this->release_count, 0);
    }
    EXPECT_EQ(this->release_count, 1);
}

TYPED_TEST(TreesArrays, GoWithWhatTheTreeHeldBefore) {
    TypeParam tree;
    this->make(tree);
    this->make(tree);
    EXPECT_EQ(this->release_count, 1);
    EXPECT_EQ(this->find_flaw(tree), "");
    support::build(tree, this->get_boxes(9));
    EXPECT_EQ(this->release_count, 2);
    EXPECT_EQ(support::find_flaw(tree, this->get_boxes(9)), "");
    tree.clear();
    EXPECT_EQ(this->release_count, 2);
}

TYPED_TEST(TreesArrays, AreReleasedByTheLastOfTheTreesThatShareThem) {
    TypeParam tree;
    this->make(tree);
    {
        TypeParam copy(tree);
        tree = TypeParam();
        EXPECT_EQ(this->release_count, 0);
        TypeParam moved(std::move(copy));
        EXPECT_EQ(this->release_count, 0);
        EXPECT_EQ(this->find_flaw(moved), "");
    }
    EXPECT_EQ(this->release_count, 1);
}

TYPED_TEST(TreesArrays, StayWhereTheirNumberOfSamplesChanges) {
    TypeParam tree;
    this->make(tree);
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(this->get_boxes(10)), 1));
    EXPECT_EQ(this->find_flaw(tree), "");
    EXPECT_EQ(support::find_sample_flaw(tree, this->get_boxes(10), 1), "");
    tree.set_motion_blur_sample_count(0);
    EXPECT_EQ(support::find_flaw(tree, this->get_boxes(7)), "");
    EXPECT_EQ(this->release_count, 0);
}

TYPED_TEST(TreesArrays, AreFilledAnewInTheirBlock) {
    TypeParam tree;
    this->make(tree);
    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(this->get_boxes(11)), 0));
    EXPECT_EQ(support::find_sample_flaw(tree, this->get_boxes(11), 0), "");
    EXPECT_EQ(this->release_count, 0);
}
