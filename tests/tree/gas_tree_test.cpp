#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <tests/support/box_conversion.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;

/// A tree over `count` boxes with `sample_count` filled samples.
void build_with_samples(GasTree& tree, unsigned count, unsigned sample_count) {
    const std::vector<Box> boxes = scenes::make(Kind::random, count, 7);
    support::build(tree, boxes, Split::sah_fast);
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        const std::vector<Box> moved = scenes::make(Kind::random, count, 100 + sample);
        ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(moved), sample));
    }
}

/// Leaves `tree` empty without releasing anything of what it shares with another tree.
void let_go(GasTree& tree) { tree = GasTree(); }

} // namespace

TEST(GasTree, AFreshTreeIsEmpty) {
    const GasTree tree;
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_node_count(), 0u);
    EXPECT_EQ(tree.get_depth(), 0u);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(tree.get_nodes(), nullptr);
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree));
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_sah_bins_fast);
}

TEST(GasTree, ANodeIsTwoHalvesOfFourWords) {
    EXPECT_EQ(sizeof(GasTree::Node), 32u);
    EXPECT_EQ(alignof(GasTree::Node), 16u);
    EXPECT_EQ(offsetof(GasTree::Node, bbox_min), 0u);
    EXPECT_EQ(offsetof(GasTree::Node, index), 12u);
    EXPECT_EQ(offsetof(GasTree::Node, bbox_max), 16u);
    EXPECT_EQ(offsetof(GasTree::Node, flags), 28u);
}

TEST(GasTree, NodesStandAtA16ByteBoundary) {
    for (unsigned count = 1; count < 20; ++count) {
        GasTree tree;
        support::build(tree, scenes::make(Kind::random, count, count), Split::median);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tree.get_nodes()) % 16, 0u) << count;
    }
}

// A pointer to a virtual member holds the byte offset of its slot, in some machines' conventions
// plus 1; the destructor takes the two slots before it.
TEST(GasTree, TheMemorySizeIsTheSlotAfterTheDestructor) {
    static_assert(std::has_virtual_destructor_v<GasTree>);
    std::size_t (GasTree::*const member)() const = &GasTree::get_memory_size;
    std::ptrdiff_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[0] & ~std::ptrdiff_t{1}, static_cast<std::ptrdiff_t>(2 * sizeof(void*)));
}

TEST(GasTree, MemorySizeChargesNodesAndEightBytesPerIndex) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 37, 1);
    GasTree tree;
    support::build(tree, boxes, Split::sah);
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + 73 * 32);
    support::build(tree, boxes, Split::sah, std::vector<unsigned>(37, 5));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + 73 * 32 + 37 * 8);

    // Sample boxes do not count.
    tree.set_motion_blur_sample_count(4);
    ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(boxes), 2));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + 73 * 32 + 37 * 8);
    tree.clear();
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree));
}

TEST(GasTree, ClearLeavesAnEmptyTree) {
    GasTree tree;
    build_with_samples(tree, 20, 3);
    tree.clear();
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_node_count(), 0u);
    EXPECT_EQ(tree.get_depth(), 0u);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
}

TEST(GasTree, ClearOfAnEmptyTreeChangesNothing) {
    GasTree tree;
    tree.clear();
    tree.clear();
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_node_count(), 0u);
    EXPECT_EQ(tree.get_depth(), 0u);
}

TEST(GasTree, ClearTwiceReleasesTheIndexCopyOnce) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 10, 1);
    GasTree tree;
    support::build(tree, boxes, Split::sah, std::vector<unsigned>(10, 3));
    tree.clear();
    tree.clear();
    EXPECT_TRUE(tree.is_empty());
}

TEST(GasTree, ARebuildWithoutIndicesForgetsTheOldOnes) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 3, 1);
    GasTree tree;
    support::build(tree, boxes, Split::sah, {30, 31, 32});
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{30, 31, 32}));
    support::build(tree, boxes, Split::sah);
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{0, 1, 2}));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasTree) + 5 * 32);
}

TEST(GasTree, ARebuildDropsTheSamples) {
    GasTree tree;
    build_with_samples(tree, 20, 3);
    support::build(tree, scenes::make(Kind::grid, 8, 1), Split::median);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(tree.get_leaf_count(), 8u);
}

TEST(GasTree, ACopySharesNodesItemsAndSampleBoxes) {
    GasTree source;
    const std::vector<Box> boxes = scenes::make(Kind::random, 12, 7);
    const std::vector<unsigned> indices(12, 9);
    support::build(source, boxes, Split::sah, indices);
    source.set_motion_blur_sample_count(2);
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(boxes), 1));

    GasTree copy(source);
    EXPECT_EQ(copy.get_nodes(), source.get_nodes());
    EXPECT_EQ(copy.get_leaf_count(), 12u);
    EXPECT_EQ(copy.get_node_count(), 23u);
    EXPECT_EQ(copy.get_depth(), source.get_depth());
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_split_callback(), source.get_split_callback());
    EXPECT_EQ(copy.get_memory_size(), source.get_memory_size());
    EXPECT_EQ(support::get_reported_items(copy), indices);

    // The same sample boxes: filling them again through the source shows in the copy.
    const std::vector<Box> moved = scenes::make(Kind::random, 12, 8);
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(moved), 1));
    EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
    EXPECT_NE(copy.get_blurred_bbox(1), copy.get_bbox());
    let_go(copy);
}

TEST(GasTree, ACopyHasItsOwnTableOfSamples) {
    GasTree source;
    build_with_samples(source, 6, 2);
    GasTree copy(source);
    copy.set_motion_blur_sample_count(5);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 5u);
    EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
    let_go(copy);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 2u);
}

TEST(GasTree, AssignmentReleasesItsTableAndNothingElse) {
    GasTree source;
    build_with_samples(source, 6, 2);
    GasTree target;
    build_with_samples(target, 9, 3);
    // Keeps what the target held, and releases it in the end.
    const GasTree keeper(target);
    target = source;
    EXPECT_EQ(target.get_nodes(), source.get_nodes());
    EXPECT_EQ(target.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(keeper.get_leaf_count(), 9u);
    EXPECT_EQ(support::find_flaw(keeper, scenes::make(Kind::random, 9, 7)), "");
    EXPECT_NE(keeper.get_blurred_bbox(2), GMathBbox3<float>());
    let_go(target);
}

TEST(GasTree, AssignmentOfATreeWithoutSamplesLeavesNone) {
    GasTree source;
    build_with_samples(source, 6, 0);
    GasTree target;
    target.set_motion_blur_sample_count(3);
    target = source;
    EXPECT_EQ(target.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(target.get_blurred_bbox(0), GMathBbox3<float>());
    let_go(target);
}

TEST(GasTree, AssignmentToItselfChangesNothing) {
    GasTree tree;
    build_with_samples(tree, 6, 2);
    const GasTree::Node* nodes = tree.get_nodes();
    const GasTree& same = tree;
    tree = same;
    EXPECT_EQ(tree.get_nodes(), nodes);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 2u);
    EXPECT_NE(tree.get_blurred_bbox(1), GMathBbox3<float>());
}

TEST(GasTree, OnlyTheLastOfTwoSharingTreesReleases) {
    GasTree* source = new GasTree;
    build_with_samples(*source, 6, 2);
    const GasTree copy(*source);
    let_go(*source);
    delete source;
    EXPECT_EQ(support::find_flaw(copy, scenes::make(Kind::random, 6, 7)), "");
    EXPECT_NE(copy.get_blurred_bbox(0), GMathBbox3<float>());
}

TEST(GasTree, ASplitCallbackLastsUntilTheNextBuild) {
    GasTree tree;
    tree.set_split_callback(nullptr);
    EXPECT_EQ(tree.get_split_callback(), nullptr);
    tree.set_split_callback(GasTree::split_median);
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_median);
    tree.create(support::to_boxes(scenes::make(Kind::random, 9, 1)), nullptr, nullptr, 1.0f);
    EXPECT_EQ(tree.get_split_callback(), &GasTree::split_sah_bins_fast);
}
