// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>
#include <tests/support/virtual_slot.h>

// Empty trees, memory, clearing, rebuilding, copies, assignment, and releasing what is shared.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::is_compressed;
using support::RayQuery;
using support::TreeKind;

const GMathBbox3<float> no_box = GMathBbox3<float>();

template <typename Tree> class TreesLife : public testing::Test {
  protected:
    /// A tree over `count` boxes with `sample_count` filled samples.
    static void build_with_samples(Tree& tree, unsigned count, unsigned sample_count) {
        support::build(tree, scenes::make(Kind::random, count, 7));
        tree.set_motion_blur_sample_count(sample_count);
        for (unsigned sample = 0; sample < sample_count; ++sample)
            ASSERT_TRUE(tree.refit_motion_blur_sample(
                support::to_boxes(get_sample_boxes(count, sample)), sample));
    }
    static std::vector<Box> get_sample_boxes(unsigned count, unsigned sample) {
        return scenes::make(Kind::random, count, 100 + sample);
    }

    /// What is wrong with a tree that was built like that, or with its sample `sample`.
    static std::string find_flaw(const Tree& tree, unsigned count, unsigned sample) {
        const std::string flaw = support::find_flaw(tree, scenes::make(Kind::random, count, 7));
        return flaw.empty()
                   ? support::find_sample_flaw(tree, get_sample_boxes(count, sample), sample)
                   : flaw;
    }

    /// Leaves `tree` empty without releasing anything of what it shares with another tree.
    static void let_go(Tree& tree) { tree = Tree(); }

    /// The bytes of a tree over `count` items, with an index array or without.
    static std::size_t get_size(unsigned count, bool with_indices) {
        return sizeof(Tree) +
               TreeKind<Tree>::count_nodes(count) * std::size_t{TreeKind<Tree>::bytes_per_node} +
               (with_indices ? count * 8 : 0);
    }

    static void expect_empty(const Tree& tree) {
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(tree.get_leaf_count(), 0u);
        EXPECT_EQ(tree.get_node_count(), 0u);
        EXPECT_EQ(tree.get_depth(), 0u);
        EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
        EXPECT_EQ(tree.get_nodes(), nullptr);
        EXPECT_EQ(tree.get_memory_size(), sizeof(Tree));
        if constexpr (is_compressed<Tree>) {
            EXPECT_EQ(tree.get_root_index(), 0xFFFFFFFFu);
            EXPECT_EQ(tree.get_motion_blur_records(0), nullptr);
        }
    }
};

TYPED_TEST_SUITE(TreesLife, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesLife, AFreshTreeIsEmpty) {
    const TypeParam tree;
    this->expect_empty(tree);
    EXPECT_EQ(tree.get_bbox(), no_box);
    EXPECT_EQ(tree.get_split_callback(), &TypeParam::split_sah_bins_fast);
}

TYPED_TEST(TreesLife, NodesStandAtA16ByteBoundary) {
    for (unsigned count = 1; count < 20; ++count) {
        TypeParam tree;
        support::build(tree, scenes::make(Kind::random, count, count), Split::median);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tree.get_nodes()) % 16, 0u) << count;
    }
}

TYPED_TEST(TreesLife, TheMemorySizeIsTheSlotAfterTheDestructor) {
    EXPECT_EQ(support::get_slot_offset(&TypeParam::get_memory_size),
              support::slot_after_the_destructor);
}

TYPED_TEST(TreesLife, MemorySizeChargesNodesAndEightBytesPerIndex) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 37, 1);
    TypeParam tree;
    support::build(tree, boxes, Split::sah);
    EXPECT_EQ(tree.get_memory_size(), this->get_size(37, false));
    support::build(tree, boxes, Split::sah, std::vector<unsigned>(37, 5));
    EXPECT_EQ(tree.get_memory_size(), this->get_size(37, true));

    // Samples do not count.
    tree.set_motion_blur_sample_count(4);
    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(boxes), 2));
    EXPECT_EQ(tree.get_memory_size(), this->get_size(37, true));
    tree.clear();
    EXPECT_EQ(tree.get_memory_size(), sizeof(TypeParam));
}

TYPED_TEST(TreesLife, ClearLeavesAnEmptyTree) {
    TypeParam tree;
    this->build_with_samples(tree, 20, 3);
    const GMathBbox3<float> box = tree.get_blurred_bbox(2);
    ASSERT_NE(box, no_box);
    tree.clear();
    this->expect_empty(tree);
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(tree.get_blurred_bbox(2), box) << "the boxes of its samples stay";
    }
    tree.set_motion_blur_sample_count(0);
    tree.clear();
    this->expect_empty(tree);
}

TYPED_TEST(TreesLife, ClearOfAnEmptyTreeChangesNothing) {
    TypeParam tree;
    tree.clear();
    tree.clear();
    this->expect_empty(tree);
}

TYPED_TEST(TreesLife, ClearReleasesTheSamplesOfATreeWithoutNodes) {
    TypeParam tree;
    tree.set_motion_blur_sample_count(3);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 3u);
    tree.clear();
    this->expect_empty(tree);
}

TYPED_TEST(TreesLife, ClearTwiceReleasesTheIndexCopyOnce) {
    TypeParam tree;
    support::build(tree, scenes::make(Kind::random, 10, 1), Split::sah,
                   std::vector<unsigned>(10, 3));
    tree.clear();
    tree.clear();
    this->expect_empty(tree);
}

TYPED_TEST(TreesLife, ARebuildWithoutIndicesForgetsTheOldOnes) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 3, 1);
    TypeParam tree;
    support::build(tree, boxes, Split::sah, {30, 31, 32});
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{30, 31, 32}));
    EXPECT_EQ(tree.get_memory_size(), this->get_size(3, true));
    support::build(tree, boxes, Split::sah);
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{0, 1, 2}));
    EXPECT_EQ(tree.get_memory_size(), this->get_size(3, false));
}

TYPED_TEST(TreesLife, ARebuildDropsTheSamples) {
    TypeParam tree;
    this->build_with_samples(tree, 20, 3);
    const GMathBbox3<float> box = tree.get_blurred_bbox(1);
    support::build(tree, scenes::make(Kind::grid, 8, 1), Split::median);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(tree.get_leaf_count(), 8u);
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(tree.get_blurred_bbox(1), box);
        // Two of the three boxes stay, until the samples are filled again.
        tree.set_motion_blur_sample_count(2);
        EXPECT_EQ(tree.get_blurred_bbox(1), box);
        EXPECT_EQ(tree.get_motion_blur_records(1), nullptr);
    }
}

TYPED_TEST(TreesLife, ACopySharesNodesItemsAndSamples) {
    TypeParam source;
    const std::vector<Box> boxes = scenes::make(Kind::random, 12, 7);
    const std::vector<unsigned> indices(12, 9);
    support::build(source, boxes, Split::sah, indices);
    source.set_motion_blur_sample_count(2);
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(boxes), 1));

    TypeParam copy(source);
    EXPECT_EQ(copy.get_nodes(), source.get_nodes());
    EXPECT_EQ(copy.get_leaf_count(), 12u);
    EXPECT_EQ(copy.get_node_count(), TreeKind<TypeParam>::count_nodes(12));
    EXPECT_EQ(copy.get_depth(), source.get_depth());
    EXPECT_EQ(copy.get_bbox(), source.get_bbox());
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_split_callback(), &TypeParam::split_sah_bins);
    EXPECT_EQ(copy.get_memory_size(), source.get_memory_size());
    EXPECT_EQ(support::get_reported_items(copy), indices);
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(copy.get_root_index(), 0u);
        EXPECT_EQ(copy.get_motion_blur_records(0), nullptr);
        EXPECT_EQ(copy.get_motion_blur_records(1), source.get_motion_blur_records(1));
    } else {
        // The same sample boxes: filling them again through the source shows in the copy.
        const std::vector<Box> moved = scenes::make(Kind::random, 12, 8);
        ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(moved), 1));
        EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
        EXPECT_NE(copy.get_blurred_bbox(1), copy.get_bbox());
    }
    this->let_go(copy);
}

TYPED_TEST(TreesLife, ACopyCallsWhatItsSourceCalled) {
    TypeParam source;
    support::build(source, support::row_of_boxes(1));
    support::RecordingCallbacks calls(source);
    TypeParam copy(source);
    GeometryRayBatch batch(1);
    CtxShader shader;
    for (const RayQuery query : support::all_ray_queries)
        trace(copy, query, shader, batch.get_ctx(), true);
    ASSERT_EQ(calls.calls.size(), 4u);
    for (unsigned i = 0; i < 4; ++i)
        EXPECT_EQ(calls.calls[i].callback, support::all_ray_queries[i]);
    this->let_go(copy);
}

TYPED_TEST(TreesLife, ACopyHasItsOwnTableOfSamples) {
    TypeParam source;
    this->build_with_samples(source, 6, 2);
    TypeParam copy(source);
    EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
    copy.set_motion_blur_sample_count(5);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 5u);
    EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(copy.get_motion_blur_records(1), source.get_motion_blur_records(1));
        // Refilled through the source, the shared records change; the copy's box does not.
        const GMathBbox3<float> before = copy.get_blurred_bbox(1);
        const std::vector<Box> moved = scenes::make(Kind::random, 6, 900);
        ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(moved), 1));
        EXPECT_EQ(copy.get_blurred_bbox(1), before);
        EXPECT_NE(source.get_blurred_bbox(1), before);
    }
    this->let_go(copy);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 2u);
}

TYPED_TEST(TreesLife, AssignmentReleasesItsTablesAndNothingElse) {
    TypeParam source;
    this->build_with_samples(source, 6, 2);
    TypeParam target;
    this->build_with_samples(target, 9, 3);
    // Keeps what the target held, and releases it in the end.
    const TypeParam keeper(target);
    target = source;
    EXPECT_EQ(target.get_nodes(), source.get_nodes());
    EXPECT_EQ(target.get_bbox(), source.get_bbox());
    EXPECT_EQ(target.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(target.get_blurred_bbox(1), source.get_blurred_bbox(1));
    EXPECT_EQ(keeper.get_leaf_count(), 9u);
    EXPECT_EQ(this->find_flaw(keeper, 9, 2), "");
    EXPECT_NE(keeper.get_blurred_bbox(2), no_box);
    this->let_go(target);
}

TYPED_TEST(TreesLife, AssignmentOfATreeWithoutSamplesLeavesNone) {
    TypeParam source;
    this->build_with_samples(source, 6, 0);
    TypeParam target;
    target.set_motion_blur_sample_count(3);
    target = source;
    EXPECT_EQ(target.get_motion_blur_sample_count(), 0u);
    if constexpr (!is_compressed<TypeParam>) {
        EXPECT_EQ(target.get_blurred_bbox(0), no_box);
    }
    this->let_go(target);
}

TYPED_TEST(TreesLife, AssignmentToItselfChangesNothing) {
    TypeParam tree;
    this->build_with_samples(tree, 6, 2);
    const auto* const nodes = tree.get_nodes();
    const TypeParam& same = tree;
    tree = same;
    EXPECT_EQ(tree.get_nodes(), nodes);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(this->find_flaw(tree, 6, 1), "");
    EXPECT_NE(tree.get_blurred_bbox(1), no_box);
}

TYPED_TEST(TreesLife, OnlyTheLastOfTwoSharingTreesReleases) {
    TypeParam* const source = new TypeParam;
    this->build_with_samples(*source, 6, 2);
    const TypeParam copy(*source);
    this->let_go(*source);
    delete source;
    EXPECT_EQ(this->find_flaw(copy, 6, 0), "");
    EXPECT_NE(copy.get_blurred_bbox(0), no_box);
}

// Of trees that share nodes only one may release them.

#ifdef NDEBUG

TYPED_TEST(TreesLife, ASecondReleaseIsLeftOut) {
    const std::int64_t before = support::count_live_blocks();
    {
        TypeParam source;
        this->build_with_samples(source, 20, 2);
        TypeParam first(source);
        TypeParam second(first);
        source.clear();
        support::build(first, scenes::make(Kind::random, 9, 1));
        first.clear();
        TypeParam third(second);
        TypeParam moved(std::move(third));
        moved.clear();
        this->expect_empty(moved);
    }
    EXPECT_EQ(support::count_live_blocks(), before);
}

#else

template <typename Tree> class TreesLifeDeathTest : public TreesLife<Tree> {};
TYPED_TEST_SUITE(TreesLifeDeathTest, support::BothTrees, support::TreeNames);

TYPED_TEST(TreesLifeDeathTest, ASecondReleaseIsCaught) {
    TypeParam source;
    this->build_with_samples(source, 20, 2);
    TypeParam copy(source);
    TypeParam* const destroyed = new TypeParam(copy);
    delete destroyed;
    EXPECT_DEATH(copy.clear(), "shared nodes are released once");
    EXPECT_DEATH(support::build(source, scenes::make(Kind::random, 9, 1)),
                 "shared nodes are released once");
    EXPECT_DEATH({ const TypeParam moved(std::move(source)); }, "shared nodes are released once");
    this->let_go(copy);
    this->let_go(source);
}

#endif

TYPED_TEST(TreesLife, TreesLetGoOfNodesThatAnotherHasReleased) {
    TypeParam source;
    this->build_with_samples(source, 20, 2);
    TypeParam copy(source);
    TypeParam assigned(source);
    source.clear();
    this->let_go(copy);
    this->expect_empty(copy);
    const TypeParam empty;
    assigned = empty;
    this->expect_empty(assigned);
}
