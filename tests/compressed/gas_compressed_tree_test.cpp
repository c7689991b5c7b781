#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/compressed_checker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::RayQuery;
using support::RecordingCallbacks;

const GMathBbox3<float> no_box = GMathBbox3<float>();

/// A tree over `count` boxes with `sample_count` filled samples.
void build_with_samples(GasCompressedTree& tree, unsigned count, unsigned sample_count) {
    support::build(tree, scenes::make(Kind::random, count, 7));
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        const std::vector<Box> moved = scenes::make(Kind::random, count, 100 + sample);
        ASSERT_TRUE(tree.refit_motion_blur_sample(support::to_boxes(moved), sample));
    }
}

/// Leaves `tree` empty without releasing anything of what it shares with another tree.
void let_go(GasCompressedTree& tree) { tree = GasCompressedTree(); }

void expect_empty(const GasCompressedTree& tree) {
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_node_count(), 0u);
    EXPECT_EQ(tree.get_depth(), 0u);
    EXPECT_EQ(tree.get_root_index(), 0xFFFFFFFFu);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(tree.get_nodes(), nullptr);
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree));
}

} // namespace

TEST(GasCompressedTree, AFreshTreeIsEmpty) {
    const GasCompressedTree tree;
    expect_empty(tree);
    EXPECT_EQ(tree.get_bbox(), no_box);
    EXPECT_EQ(tree.get_split_callback(), &GasCompressedTree::split_sah_bins_fast);
    EXPECT_EQ(tree.get_motion_blur_records(0), nullptr);
}

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

TEST(GasCompressedTree, NodesStandAtA16ByteBoundary) {
    for (unsigned count = 1; count < 20; ++count) {
        GasCompressedTree tree;
        support::build(tree, scenes::make(Kind::random, count, count), Split::median);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tree.get_nodes()) % 16, 0u) << count;
    }
}

// A pointer to a virtual member holds the byte offset of its slot, in some machines' conventions
// plus 1; the destructor takes the two slots before it.
TEST(GasCompressedTree, TheMemorySizeIsTheSlotAfterTheDestructor) {
    static_assert(std::has_virtual_destructor_v<GasCompressedTree>);
    std::size_t (GasCompressedTree::*const member)() const = &GasCompressedTree::get_memory_size;
    std::ptrdiff_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[0] & ~std::ptrdiff_t{1}, static_cast<std::ptrdiff_t>(2 * sizeof(void*)));
}

TEST(GasCompressedTree, ClearLeavesAnEmptyTreeAndTheBoxesOfItsSamples) {
    GasCompressedTree tree;
    build_with_samples(tree, 20, 3);
    const GMathBbox3<float> box = tree.get_blurred_bbox(2);
    ASSERT_NE(box, no_box);
    tree.clear();
    expect_empty(tree);
    EXPECT_EQ(tree.get_motion_blur_records(0), nullptr);
    EXPECT_EQ(tree.get_blurred_bbox(2), box);
    tree.set_motion_blur_sample_count(0);
    tree.clear();
    expect_empty(tree);
}

TEST(GasCompressedTree, ClearOfAnEmptyTreeChangesNothing) {
    GasCompressedTree tree;
    tree.clear();
    tree.clear();
    expect_empty(tree);
}

TEST(GasCompressedTree, ClearReleasesTheSamplesOfATreeWithoutNodes) {
    GasCompressedTree tree;
    tree.set_motion_blur_sample_count(3);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 3u);
    tree.clear();
    expect_empty(tree);
}

TEST(GasCompressedTree, ClearTwiceReleasesTheIndexCopyOnce) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(Kind::random, 10, 1), Split::sah,
                   std::vector<unsigned>(10, 3));
    tree.clear();
    tree.clear();
    expect_empty(tree);
}

TEST(GasCompressedTree, ARebuildWithoutIndicesForgetsTheOldOnes) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 3, 1);
    GasCompressedTree tree;
    support::build(tree, boxes, Split::sah, {30, 31, 32});
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{30, 31, 32}));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree) + 2 * 16 + 3 * 8);
    support::build(tree, boxes, Split::sah);
    EXPECT_EQ(support::get_reported_items(tree), (std::vector<unsigned>{0, 1, 2}));
    EXPECT_EQ(tree.get_memory_size(), sizeof(GasCompressedTree) + 2 * 16);
}

TEST(GasCompressedTree, ARebuildDropsTheSamplesAndKeepsTheirBoxes) {
    GasCompressedTree tree;
    build_with_samples(tree, 20, 3);
    const GMathBbox3<float> box = tree.get_blurred_bbox(1);
    support::build(tree, scenes::make(Kind::grid, 8, 1), Split::median);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_EQ(tree.get_leaf_count(), 8u);
    EXPECT_EQ(tree.get_blurred_bbox(1), box);
    // Two of the three boxes stay, until the samples are filled again.
    tree.set_motion_blur_sample_count(2);
    EXPECT_EQ(tree.get_blurred_bbox(1), box);
    EXPECT_EQ(tree.get_motion_blur_records(1), nullptr);
}

TEST(GasCompressedTree, ACopySharesNodesItemsAndSampleRecords) {
    GasCompressedTree source;
    const std::vector<Box> boxes = scenes::make(Kind::random, 12, 7);
    const std::vector<unsigned> indices(12, 9);
    support::build(source, boxes, Split::sah, indices);
    source.set_motion_blur_sample_count(2);
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(boxes), 1));

    GasCompressedTree copy(source);
    EXPECT_EQ(copy.get_nodes(), source.get_nodes());
    EXPECT_EQ(copy.get_leaf_count(), 12u);
    EXPECT_EQ(copy.get_node_count(), 11u);
    EXPECT_EQ(copy.get_depth(), source.get_depth());
    EXPECT_EQ(copy.get_root_index(), 0u);
    EXPECT_EQ(copy.get_bbox(), source.get_bbox());
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_motion_blur_records(0), nullptr);
    EXPECT_EQ(copy.get_motion_blur_records(1), source.get_motion_blur_records(1));
    EXPECT_EQ(copy.get_split_callback(), &GasCompressedTree::split_sah_bins);
    EXPECT_EQ(copy.get_memory_size(), source.get_memory_size());
    EXPECT_EQ(support::get_reported_items(copy), indices);
    let_go(copy);
}

TEST(GasCompressedTree, ACopyCallsWhatItsSourceCalled) {
    GasCompressedTree source;
    support::build(source, support::row_of_boxes(1));
    RecordingCallbacks calls(source);
    GasCompressedTree copy(source);
    GeometryRayBatch batch(1);
    CtxShader shader;
    for (const RayQuery query : support::all_ray_queries)
        trace(copy, query, shader, batch.get_ctx());
    ASSERT_EQ(calls.calls.size(), 4u);
    for (unsigned i = 0; i < 4; ++i)
        EXPECT_EQ(calls.calls[i].callback, support::all_ray_queries[i]);
    let_go(copy);
}

TEST(GasCompressedTree, ACopyHasItsOwnBoxesAndTableOfSamples) {
    GasCompressedTree source;
    build_with_samples(source, 6, 2);
    GasCompressedTree copy(source);
    EXPECT_EQ(copy.get_blurred_bbox(1), source.get_blurred_bbox(1));
    copy.set_motion_blur_sample_count(5);
    EXPECT_EQ(source.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 5u);
    EXPECT_EQ(copy.get_motion_blur_records(1), source.get_motion_blur_records(1));

    // Refilled through the source, the shared records change; the copy's box does not.
    const GMathBbox3<float> before = copy.get_blurred_bbox(1);
    const std::vector<Box> moved = scenes::make(Kind::random, 6, 900);
    ASSERT_TRUE(source.refit_motion_blur_sample(support::to_boxes(moved), 1));
    EXPECT_EQ(copy.get_blurred_bbox(1), before);
    EXPECT_NE(source.get_blurred_bbox(1), before);
    let_go(copy);
}

TEST(GasCompressedTree, AssignmentReleasesItsTablesAndNothingElse) {
    GasCompressedTree source;
    build_with_samples(source, 6, 2);
    GasCompressedTree target;
    build_with_samples(target, 9, 3);
    // Keeps what the target held, and releases it in the end.
    const GasCompressedTree keeper(target);
    target = source;
    EXPECT_EQ(target.get_nodes(), source.get_nodes());
    EXPECT_EQ(target.get_bbox(), source.get_bbox());
    EXPECT_EQ(target.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(target.get_blurred_bbox(1), source.get_blurred_bbox(1));
    EXPECT_EQ(support::find_flaw(keeper, scenes::make(Kind::random, 9, 7)), "");
    EXPECT_EQ(support::find_sample_flaw(keeper, scenes::make(Kind::random, 9, 102), 2), "");
    let_go(target);
}

TEST(GasCompressedTree, AssignmentOfATreeWithoutSamplesLeavesNone) {
    GasCompressedTree source;
    build_with_samples(source, 6, 0);
    GasCompressedTree target;
    target.set_motion_blur_sample_count(3);
    target = source;
    EXPECT_EQ(target.get_motion_blur_sample_count(), 0u);
    let_go(target);
}

TEST(GasCompressedTree, AssignmentToItselfChangesNothing) {
    GasCompressedTree tree;
    build_with_samples(tree, 6, 2);
    const GasCompressedNode* nodes = tree.get_nodes();
    const GasCompressedTree& same = tree;
    tree = same;
    EXPECT_EQ(tree.get_nodes(), nodes);
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 2u);
    EXPECT_EQ(support::find_sample_flaw(tree, scenes::make(Kind::random, 6, 101), 1), "");
}

TEST(GasCompressedTree, OnlyTheLastOfTwoSharingTreesReleases) {
    GasCompressedTree* source = new GasCompressedTree;
    build_with_samples(*source, 6, 2);
    const GasCompressedTree copy(*source);
    let_go(*source);
    delete source;
    EXPECT_EQ(support::find_flaw(copy, scenes::make(Kind::random, 6, 7)), "");
    EXPECT_EQ(support::find_sample_flaw(copy, scenes::make(Kind::random, 6, 100), 0), "");
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TEST(GasCompressedTree, ABoxOfASampleThatIsNotThereIsTheTreesOwn) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(Kind::random, 6, 7));
    EXPECT_EQ(tree.get_blurred_bbox(0), tree.get_bbox());
}
#else
TEST(GasCompressedTreeDeathTest, ABoxOfASampleThatIsNotThereAsserts) {
    GasCompressedTree tree;
    support::build(tree, scenes::make(Kind::random, 6, 7));
    EXPECT_DEATH(tree.get_blurred_bbox(0), "no such motion-blur sample");
}
#endif
