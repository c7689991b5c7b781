// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// Moves: the target has what the source had, the source is as newly constructed, and every block is
// released once.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::count_live_blocks;
using support::is_compressed;
using support::RayQuery;

std::vector<Box> make(unsigned count) { return scenes::make(Kind::random, count, count); }

template <typename Tree> class TreesMoves : public testing::Test {
  protected:
    static_assert(std::is_nothrow_move_constructible_v<Tree>);
    static_assert(std::is_nothrow_move_assignable_v<Tree>);
    static_assert(std::is_nothrow_swappable_v<Tree>);
    static_assert(std::is_copy_constructible_v<Tree>);

    TreesMoves() : blocks_before(count_live_blocks()) {}
    ~TreesMoves() override { EXPECT_EQ(count_live_blocks(), blocks_before); }

    /// A tree of `count` items, `count + i` for the item at i, with two samples and wide nodes.
    static Tree make_tree(unsigned count) {
        Tree tree;
        if constexpr (!is_compressed<Tree>)
            tree.set_wide_nodes(true);
        std::vector<unsigned> indices(count);
        for (unsigned i = 0; i < count; ++i)
            indices[i] = count + i;
        support::build(tree, make(count), Split::sah, indices);
        support::fill_samples(tree, {make(count), make(count)});
        return tree;
    }

    static void expect_whole(Tree& tree, unsigned count) {
        EXPECT_EQ(tree.get_leaf_count(), count);
        EXPECT_EQ(support::find_flaw(tree, make(count)), "");
        EXPECT_EQ(tree.get_motion_blur_sample_count(), 2u);
        EXPECT_EQ(support::find_sample_flaw(tree, make(count), 1), "");
        EXPECT_EQ(support::get_reported_items(tree)[0], count);
        EXPECT_EQ(tree.get_split_callback(), &Tree::split_sah_bins);
        if constexpr (!is_compressed<Tree>) {
            EXPECT_TRUE(tree.has_wide_nodes());
        }
    }

    static void expect_new(const Tree& tree) {
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(tree.get_nodes(), nullptr);
        EXPECT_EQ(tree.get_leaf_count(), 0u);
        EXPECT_EQ(tree.get_node_count(), 0u);
        EXPECT_EQ(tree.get_depth(), 0u);
        EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
        EXPECT_EQ(tree.get_bbox(), GMathBbox3<float>());
        EXPECT_EQ(tree.get_memory_size(), sizeof(Tree));
        EXPECT_EQ(tree.get_split_callback(), &Tree::split_sah_bins_fast);
        if constexpr (is_compressed<Tree>) {
            EXPECT_EQ(tree.get_root_index(), Tree::no_root);
        } else {
            EXPECT_FALSE(tree.has_wide_nodes());
        }
    }

    const std::int64_t blocks_before;
};

TYPED_TEST_SUITE(TreesMoves, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesMoves, TheTargetHasWhatTheSourceHad) {
    TypeParam source = this->make_tree(30);
    const auto* const nodes = source.get_nodes();
    TypeParam target(std::move(source));
    EXPECT_EQ(target.get_nodes(), nodes);
    this->expect_whole(target, 30);
    this->expect_new(source);
}

TYPED_TEST(TreesMoves, TheSourceMayBeUsedAgain) {
    TypeParam source = this->make_tree(30);
    TypeParam target(std::move(source));
    support::build(source, make(7));
    if constexpr (!is_compressed<TypeParam>) {
        EXPECT_FALSE(source.has_wide_nodes());
    }
    EXPECT_EQ(support::find_flaw(source, make(7)), "");
    EXPECT_EQ(source.get_motion_blur_sample_count(), 0u);
    this->expect_whole(target, 30);
}

TYPED_TEST(TreesMoves, AssignmentReleasesWhatTheTargetHeld) {
    TypeParam target = this->make_tree(30);
    TypeParam source = this->make_tree(20);
    target = std::move(source);
    this->expect_whole(target, 20);
    this->expect_new(source);
    target = TypeParam();
    this->expect_new(target);
    EXPECT_EQ(count_live_blocks(), this->blocks_before);
}

TYPED_TEST(TreesMoves, AssignmentLeavesCopiesOfTheTargetWhatTheyShare) {
    TypeParam target = this->make_tree(30);
    TypeParam copy(target);
    target = this->make_tree(20);
    this->expect_whole(copy, 30);
    this->expect_whole(target, 20);
}

TYPED_TEST(TreesMoves, AssignmentReleasesTheSamplesThatTheTargetAloneHeld) {
    TypeParam source = this->make_tree(30);
    TypeParam copy(source);
    copy.set_motion_blur_sample_count(3);
    ASSERT_TRUE(copy.refit_motion_blur_sample(support::to_boxes(make(30)), 2));
    TypeParam second(copy);
    second.set_motion_blur_sample_count(5);
    ASSERT_TRUE(second.refit_motion_blur_sample(support::to_boxes(make(30)), 4));
    second = TypeParam();
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(make(30)), 1));
    this->expect_whole(source, 30);
    source = TypeParam();
    EXPECT_EQ(copy.get_blurred_bbox(2), copy.get_bbox());
}

TYPED_TEST(TreesMoves, TheLastOfSeveralCopiesToBeAssignedReleases) {
    TypeParam trees[3] = {this->make_tree(30), TypeParam(), TypeParam()};
    trees[1] = trees[0];
    trees[2] = trees[1];
    for (const unsigned next : {1u, 0u}) {
        trees[next] = this->make_tree(5);
        this->expect_whole(trees[2], 30);
    }
    trees[2] = this->make_tree(6);
    for (TypeParam& tree : trees)
        tree = TypeParam();
    EXPECT_EQ(count_live_blocks(), this->blocks_before);
}

TYPED_TEST(TreesMoves, AMovedTreeSharesWithTheCopiesOfItsSource) {
    TypeParam source = this->make_tree(30);
    TypeParam copy(source);
    TypeParam target(std::move(source));
    EXPECT_EQ(copy.get_nodes(), target.get_nodes());
    copy = TypeParam();
    this->expect_whole(target, 30);
}

TYPED_TEST(TreesMoves, ATreeMovedToItselfStays) {
    TypeParam tree = this->make_tree(30);
    TypeParam& same = tree;
    tree = std::move(same);
    this->expect_whole(tree, 30);
    TypeParam copy(tree);
    TypeParam& same_copy = copy;
    copy = std::move(same_copy);
    this->expect_whole(copy, 30);
    copy = TypeParam();
    this->expect_whole(tree, 30);
}

TYPED_TEST(TreesMoves, SwappedTreesHaveEachOthersNodes) {
    TypeParam first = this->make_tree(30);
    TypeParam second = this->make_tree(20);
    TypeParam empty;
    std::swap(first, second);
    this->expect_whole(first, 20);
    this->expect_whole(second, 30);
    std::swap(first, empty);
    this->expect_new(first);
    this->expect_whole(empty, 20);
    std::swap(second, second);
    this->expect_whole(second, 30);
}

TYPED_TEST(TreesMoves, AVectorOfTreesGrows) {
    std::vector<TypeParam> trees;
    for (unsigned count = 2; count < 20; ++count) {
        trees.push_back(this->make_tree(count));
        for (unsigned i = 0; i < trees.size(); ++i)
            this->expect_whole(trees[i], i + 2);
    }
    trees.resize(100);
    this->expect_whole(trees[17], 19);
    this->expect_new(trees[18]);
    trees.erase(trees.begin() + 3);
    this->expect_whole(trees[3], 6);
    trees.insert(trees.begin(), this->make_tree(40));
    this->expect_whole(trees[0], 40);
    this->expect_whole(trees[17], 19);
    trees.clear();
}

TYPED_TEST(TreesMoves, AMoveAllocatesNothing) {
    TypeParam source = this->make_tree(30);
    TypeParam copy(source);
    TypeParam target = this->make_tree(20);
    EXPECT_EQ(support::count_allocations([&] {
                  TypeParam moved(std::move(source));
                  target = std::move(moved);
                  std::swap(target, source);
              }),
              0u);
    copy = TypeParam();
    this->expect_whole(source, 30);
}

TYPED_TEST(TreesMoves, CallbacksMoveAlong) {
    TypeParam source;
    support::build(source, support::row_of_boxes(1));
    support::RecordingCallbacks calls(source);
    TypeParam target(std::move(source));
    support::build(source, support::row_of_boxes(1));
    GeometryRayBatch batch(1);
    CtxShader shader;
    for (const RayQuery query : support::all_ray_queries) {
        trace(source, query, shader, batch.get_ctx(), true);
        EXPECT_TRUE(calls.calls.empty()) << "as newly constructed";
        trace(target, query, shader, batch.get_ctx(), true);
        ASSERT_EQ(calls.calls.size(), 1u);
        EXPECT_EQ(calls.calls[0].callback, query);
        calls.calls.clear();
    }
}

TYPED_TEST(TreesMoves, SamplesOfAnEmptyTreeMoveAlong) {
    TypeParam source;
    source.set_motion_blur_sample_count(3);
    TypeParam target(std::move(source));
    EXPECT_EQ(target.get_motion_blur_sample_count(), 3u);
    this->expect_new(source);
}
