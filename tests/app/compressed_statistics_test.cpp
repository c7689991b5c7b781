// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/compressed_statistics.h>

#include <gtest/gtest.h>

#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

using Boxes = CoreArray<GMathBbox3<float>>;

void build(GasCompressedTree& tree, const Boxes& boxes) { tree.create(boxes, nullptr, nullptr); }

Boxes make_boxes(unsigned count) {
    support::SeededRandom random(31);
    Boxes boxes(count);
    for (GMathBbox3<float>& box : boxes)
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = static_cast<float>(40.0 * random.uniform_double());
            box.max[axis] = box.min[axis] + static_cast<float>(random.uniform_double());
        }
    return boxes;
}

TEST(CompressedStatistics, KnowsAnEmptyTree) {
    const GasCompressedTree tree;
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.leaf_count, 0u);
    EXPECT_EQ(statistics.sah_cost, 0.0);
    EXPECT_EQ(statistics.total_bytes, sizeof(GasCompressedTree));
    EXPECT_EQ(get_tightness(tree, Boxes()).mean_ratio, 1.0);
}

TEST(CompressedStatistics, KnowsASingleLeaf) {
    GasCompressedTree tree;
    const Boxes boxes = {{{0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 3.0f}}};
    build(tree, boxes);
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.sah_cost, 1.0);
    EXPECT_EQ(statistics.leaves_per_level, std::vector<unsigned>{1});
    EXPECT_EQ(statistics.mean_leaf_depth, 1.0);
    EXPECT_EQ(get_tightness(tree, boxes).mean_ratio_per_level, std::vector<double>{1.0});
}

TEST(CompressedStatistics, AddsUpTwoBoxesByHand) {
    // Unit cubes at the ends of a row of 10. A step is 10 / 255; the bounds at 1 and 9 lie 229.5
    // steps from the other end and are decoded 229 steps from it.
    GasCompressedTree tree;
    const Boxes boxes = {{{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}},
                         {{9.0f, 0.0f, 0.0f}, {10.0f, 1.0f, 1.0f}}};
    build(tree, boxes);
    const double length = 10.0 * 26.0 / 255.0;
    const double area = 2.0 * (2.0 * length + 1.0);
    constexpr double precision = 1e-5;

    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.node_count, 1u);
    EXPECT_EQ(statistics.node_bytes, 16u);
    EXPECT_EQ(statistics.leaves_per_level, (std::vector<unsigned>{0, 2}));
    EXPECT_NEAR(statistics.sah_cost, 1.0 + 2.0 * area / 42.0, precision);
    const Tightness tightness = get_tightness(tree, boxes);
    EXPECT_NEAR(tightness.exact_sah_cost, 1.0 + 2.0 * 6.0 / 42.0, precision);
    EXPECT_NEAR(tightness.mean_ratio, (1.0 + 2.0 * area / 6.0) / 3.0, precision);
    ASSERT_EQ(tightness.mean_ratio_per_level.size(), 2u);
    EXPECT_EQ(tightness.mean_ratio_per_level[0], 1.0);
    EXPECT_NEAR(tightness.mean_ratio_per_level[1], area / 6.0, precision);
}

TEST(CompressedStatistics, AgreesWithThePlainTreeOnWhatIsExact) {
    const Boxes boxes = make_boxes(1000);
    GasCompressedTree compressed;
    build(compressed, boxes);
    GasTree plain;
    plain.create(boxes, nullptr, nullptr, 1.0f);
    const TreeStatistics statistics = get_tree_statistics(compressed);
    const TreeStatistics expected = get_tree_statistics(plain);
    const Tightness tightness = get_tightness(compressed, boxes);
    EXPECT_EQ(statistics.depth, expected.depth);
    EXPECT_EQ(statistics.leaves_per_level, expected.leaves_per_level);
    EXPECT_EQ(statistics.mean_leaf_depth, expected.mean_leaf_depth);
    EXPECT_NEAR(tightness.exact_sah_cost, expected.sah_cost, 1e-9 * expected.sah_cost);
    EXPECT_GT(statistics.sah_cost, tightness.exact_sah_cost);
    for (std::size_t level = 1; level < tightness.mean_ratio_per_level.size(); ++level)
        EXPECT_GT(tightness.mean_ratio_per_level[level], 1.0) << level;
    EXPECT_LT(tightness.mean_ratio, 1.1);
}

TEST(CompressedStatistics, CountsMotionSamples) {
    const Boxes boxes = make_boxes(10);
    GasCompressedTree tree;
    build(tree, boxes);
    EXPECT_EQ(get_tree_statistics(tree).motion_bytes, 0u);
    tree.set_motion_blur_sample_count(3);
    const TreeStatistics statistics = get_tree_statistics(tree);
    EXPECT_EQ(statistics.motion_sample_count, 3u);
    EXPECT_EQ(statistics.motion_bytes, 3 * (9 * 7 + 9 + 24 + sizeof(void*)));
    EXPECT_EQ(statistics.memory_bytes, tree.get_memory_size());
    EXPECT_EQ(statistics.total_bytes, statistics.memory_bytes + statistics.motion_bytes);
}

} // namespace
