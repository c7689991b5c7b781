// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

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
