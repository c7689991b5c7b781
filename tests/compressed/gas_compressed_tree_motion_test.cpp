#include <gtest/gtest.h>

#include <limits>

#include <tests/support/compressed_checker.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::point_box;
using support::to_boxes;
using Bytes = std::vector<unsigned char>;

constexpr unsigned item_count = 33;

std::vector<Box> first_boxes() { return scenes::make(Kind::random, item_count, 1); }
std::vector<Box> moved_boxes(unsigned seed) { return scenes::make(Kind::grid, item_count, seed); }

/// The first seven bytes of each node.
Bytes get_pair_bytes(const GasCompressedTree& tree) {
    Bytes result;
    const Bytes nodes = support::get_bytes(tree);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (i % 16 < 7)
            result.push_back(nodes[i]);
    }
    return result;
}

} // namespace

TEST(CompressedSamples, AFilledSampleContainsItsBoxesAndKeepsWithinItsRoot) {
    for (const Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {2u, 3u, 40u, 800u}) {
                const std::vector<Box> boxes = scenes::make(kind, count, 1);
                GasCompressedTree tree;
                support::build(tree, boxes, split);
                tree.set_motion_blur_sample_count(3);
                for (const unsigned sample : {2u, 0u, 1u}) {
                    const std::vector<Box> moved = scenes::make(kind, count, 50 + sample);
                    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved), sample));
                    ASSERT_EQ(support::find_sample_flaw(tree, moved, sample), "")
                        << scenes::name(kind) << ", " << count;
                }
                ASSERT_EQ(support::find_flaw(tree, boxes), "");
            }
        }
    }
}

TEST(CompressedSamples, ASampleOfTheBuiltBoxesHasTheBytesOfTheNodes) {
    for (const Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 200, 2);
        GasCompressedTree tree;
        support::build(tree, boxes, Split::sah);
        tree.set_motion_blur_sample_count(1);
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(boxes), 0));
        EXPECT_EQ(support::get_sample_bytes(tree, 0), get_pair_bytes(tree)) << scenes::name(kind);
        EXPECT_EQ(tree.get_blurred_bbox(0), tree.get_bbox());
    }
}

// The root's steps are units; its first child, a node, is seen as 0 to 121 along x.
TEST(CompressedSamples, RecordsStandSevenBytesApart) {
    const std::vector<Box> row = {point_box(0, 0, 0), point_box(1, 0, 0), point_box(10, 0, 0)};
    GasCompressedTree tree;
    support::build(tree, row, Split::median);
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes({{{0, 0, 0}, {5, 255, 255}},
                                                        {{100, 0, 0}, {120, 255, 255}},
                                                        {{200, 0, 0}, {255, 255, 255}}}),
                                              1));
    EXPECT_EQ(support::get_sample_bytes(tree, 1),
              (Bytes{199, 0, 0, 8, 134, 0, 0, 210, 0, 0, 8, 244, 0, 0}));
    EXPECT_EQ(tree.get_blurred_bbox(1), (GMathBbox3<float>{{0, 0, 0}, {255, 255, 255}}));
    // Nine more bytes may be read.
    unsigned sum = 0;
    for (unsigned i = 14; i < 14 + 9; ++i)
        sum += tree.get_motion_blur_records(1)[i];
    EXPECT_EQ(sum, 0u);
    EXPECT_EQ(tree.get_motion_blur_records(0), nullptr);
    EXPECT_EQ(tree.get_motion_blur_records(2), nullptr);
}

TEST(CompressedSamples, ALoneItemHasAFixedRecordAndItsBox) {
    GasCompressedTree tree;
    support::build(tree, {point_box(1, 2, 3)});
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes({{{4, 5, 6}, {7, 8, 9}}}), 1));
    EXPECT_EQ(support::get_sample_bytes(tree, 1), (Bytes{0xFF, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(tree.get_blurred_bbox(1), (GMathBbox3<float>{{4, 5, 6}, {7, 8, 9}}));
    EXPECT_EQ(tree.get_bbox(), (GMathBbox3<float>{{1, 2, 3}, {1, 2, 3}}));
}

TEST(CompressedSamples, FillingLeavesTheNodesAlone) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::sah);
    const Bytes nodes = support::get_bytes(tree);
    const GMathBbox3<float> box = tree.get_bbox();
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    EXPECT_EQ(support::get_bytes(tree), nodes);
    EXPECT_EQ(tree.get_bbox(), box);
}

TEST(CompressedSamples, RefillingUsesTheSameMemoryAndReplacesTheBoxes) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(1);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(4)), 0));
    const unsigned char* const records = tree.get_motion_blur_records(0);
    const Bytes before = support::get_sample_bytes(tree, 0);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(5)), 0));
    EXPECT_EQ(tree.get_motion_blur_records(0), records);
    EXPECT_NE(support::get_sample_bytes(tree, 0), before);
    EXPECT_EQ(support::find_sample_flaw(tree, moved_boxes(5), 0), "");
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(4)), 0));
    EXPECT_EQ(support::get_sample_bytes(tree, 0), before);
}

TEST(CompressedSamples, AnotherNumberOfBoxesIsRefusedAndChangesNothing) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    const Bytes nodes = support::get_bytes(tree);
    const Bytes sample = support::get_sample_bytes(tree, 0);
    const GMathBbox3<float> box = tree.get_blurred_bbox(0);
    std::vector<Box> boxes = moved_boxes(3);
    for (const std::size_t count : {item_count - 1, item_count + 1, 0u}) {
        boxes.resize(count, point_box(0, 0, 0));
        EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(boxes), 0));
        EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(boxes), 1));
    }
    EXPECT_EQ(support::get_bytes(tree), nodes);
    EXPECT_EQ(support::get_sample_bytes(tree, 0), sample);
    EXPECT_EQ(tree.get_blurred_bbox(0), box);
    EXPECT_EQ(tree.get_motion_blur_records(1), nullptr);
    EXPECT_FALSE(tree.has_sample(1));
    EXPECT_TRUE(tree.has_sample(0));
}

TEST(CompressedSamples, ASampleBeyondTheCountIsRefused) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::sah);
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 0));
    tree.set_motion_blur_sample_count(2);
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 2));
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 0xffffffffu));
    EXPECT_TRUE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 1));
}

TEST(CompressedSamples, GrowingAndShrinkingKeepsTheLowerSamples) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::hybrid);
    std::vector<const unsigned char*> records;
    std::vector<Bytes> bytes;
    std::vector<GMathBbox3<float>> boxes;
    tree.set_motion_blur_sample_count(2);
    for (unsigned sample = 0; sample < 2; ++sample) {
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(sample)), sample));
        records.push_back(tree.get_motion_blur_records(sample));
        bytes.push_back(support::get_sample_bytes(tree, sample));
        boxes.push_back(tree.get_blurred_bbox(sample));
    }
    const auto expect_kept = [&](unsigned kept, unsigned count) {
        tree.set_motion_blur_sample_count(count);
        EXPECT_EQ(tree.get_motion_blur_sample_count(), count);
        for (unsigned sample = 0; sample < count; ++sample) {
            EXPECT_EQ(tree.has_sample(sample), sample < kept) << sample << " of " << count;
            if (sample < kept) {
                EXPECT_EQ(tree.get_motion_blur_records(sample), records[sample]);
                EXPECT_EQ(support::get_sample_bytes(tree, sample), bytes[sample]);
                EXPECT_EQ(tree.get_blurred_bbox(sample), boxes[sample]);
            }
        }
    };
    expect_kept(2, 2);
    expect_kept(2, 4);
    expect_kept(1, 1);
    expect_kept(1, 3);
    expect_kept(0, 0);
    expect_kept(0, 2);
}

TEST(CompressedSamples, AnEmptyTreeTakesNoBoxes) {
    GasCompressedTree tree;
    tree.set_motion_blur_sample_count(2);
    EXPECT_TRUE(tree.refit_motion_blur_sample({}, 1));
    EXPECT_FALSE(tree.refit_motion_blur_sample({}, 2));
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes({point_box(0, 0, 0)}), 1));
    EXPECT_EQ(tree.get_motion_blur_records(1), nullptr);
    tree.clear();
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
}

TEST(CompressedSamples, ABuildAfterTheCountDropsIt) {
    GasCompressedTree tree;
    tree.set_motion_blur_sample_count(2);
    support::build(tree, first_boxes());
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 0u);
    EXPECT_FALSE(tree.refit_motion_blur_sample(to_boxes(first_boxes()), 0));
}

TEST(CompressedSamples, TheCountMayBeARereadOfTheTrees) {
    GasCompressedTree tree;
    support::build(tree, first_boxes(), Split::sah);
    tree.set_motion_blur_sample_count(3);
    tree.set_motion_blur_sample_count(tree.get_motion_blur_sample_count());
    EXPECT_EQ(tree.get_motion_blur_sample_count(), 3u);
    tree.set_motion_blur_sample_count(tree.get_node_count());
    EXPECT_EQ(tree.get_motion_blur_sample_count(), item_count - 1);
}

TEST(CompressedSamples, BoxesThatAreNoneAreRefittedWithoutHarm) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    std::vector<Box> boxes = first_boxes();
    GasCompressedTree tree;
    support::build(tree, boxes, Split::sah);
    tree.set_motion_blur_sample_count(1);
    boxes[3] = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
    boxes[9] = {{-infinity, -3e38f, 0}, {infinity, 3e38f, 0}};
    boxes[21] = point_box(not_a_number, not_a_number, not_a_number);
    EXPECT_TRUE(tree.refit_motion_blur_sample(to_boxes(boxes), 0));
    EXPECT_TRUE(tree.has_sample(0));
}
