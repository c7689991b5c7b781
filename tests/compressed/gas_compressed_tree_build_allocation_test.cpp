#include <gtest/gtest.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/compressed_checker.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::attempt;
using support::Attempt;
using support::count_allocations;
using support::count_live_blocks;
using support::to_boxes;

const CoreArray<GMathBbox3<float>>& get_boxes() {
    static const CoreArray<GMathBbox3<float>> boxes = to_boxes(scenes::make(Kind::random, 50, 1));
    return boxes;
}

/// Rebuilds trees over `boxes`, 50 of them, with one of the build's allocations failing each time.
template <typename Boxes>
void expect_clean_failures(const Boxes& boxes, unsigned allocation_count) {
    const std::vector<unsigned> indices(50, 1);
    get_boxes();
    for (unsigned nth = 0; nth <= allocation_count; ++nth) {
        const std::int64_t before = count_live_blocks();
        GasCompressedTree tree;
        tree.create(get_boxes(), indices.data(), nullptr);

        const Attempt build = attempt(nth, [&] { tree.create(boxes, indices.data(), nullptr); });
        const std::int64_t kept_blocks = count_live_blocks() - before;
        EXPECT_EQ(build.reached, nth < allocation_count) << nth;
        EXPECT_EQ(build.thrown, nth < allocation_count) << nth;
        EXPECT_EQ(kept_blocks, build.thrown ? 0 : 2) << nth;
        EXPECT_EQ(tree.is_empty(), build.thrown) << nth;
        EXPECT_EQ(tree.get_leaf_count(), build.thrown ? 0u : 50u) << nth;
        EXPECT_EQ(tree.get_root_index(), build.thrown ? GasCompressedTree::no_root : 0u) << nth;

        tree.create(get_boxes(), nullptr, nullptr);
        EXPECT_EQ(support::find_flaw(tree, scenes::make(Kind::random, 50, 1)), "") << nth;
    }
}

} // namespace

TEST(CompressedTreeAllocations, ABuildAllocatesItsArraysAndNothingInTheRecursion) {
    for (const Split split : support::all_splits) {
        for (const Kind kind : {Kind::random, Kind::coincident, Kind::geometric_chain}) {
            for (const unsigned count : {1u, 2u, 3u, 16u, 17u, 129u, 3000u}) {
                const CoreArray<GMathBbox3<float>> boxes =
                    to_boxes(scenes::make(kind, count, count));
                const std::vector<unsigned> indices(count, 1);
                support::QuietProgress progress(split);
                GasCompressedTree tree;
                const auto build = [&](const unsigned* given_indices) {
                    tree.create(boxes, given_indices, &progress.bar);
                };
                // The nodes; the records, whose place the nodes' boxes take, and a number for
                // each; the index copy.
                const unsigned arrays = count == 1 ? 1 : 3;
                EXPECT_EQ(count_allocations([&] { build(nullptr); }), arrays) << count;
                EXPECT_EQ(count_allocations([&] { build(indices.data()); }), arrays + 1) << count;
            }
        }
    }
}

TEST(CompressedTreeAllocations, ABuildKeepsNodesAndIndicesOnly) {
    const std::vector<unsigned> indices(50, 1);
    get_boxes();
    GasCompressedTree tree;
    const std::int64_t before = count_live_blocks();
    tree.create(get_boxes(), nullptr, nullptr);
    EXPECT_EQ(count_live_blocks() - before, 1);
    tree.create(get_boxes(), indices.data(), nullptr);
    EXPECT_EQ(count_live_blocks() - before, 2);
    tree.clear();
    EXPECT_EQ(count_live_blocks() - before, 0);
}

/// The most bytes per item that `build(tree)` takes beside the finished tree.
template <typename Build> double get_peak_per_item(unsigned item_count, const Build& build) {
    GasCompressedTree tree;
    const std::int64_t before = support::get_live_bytes();
    support::restart_peak();
    build(tree);
    const std::int64_t tree_size = support::get_live_bytes() - before;
    const std::int64_t peak = support::get_peak_bytes() - before;
    EXPECT_GE(tree_size, std::int64_t{16} * (item_count - 1));
    EXPECT_GT(peak, tree_size);
    return static_cast<double>(peak - tree_size) / item_count;
}

TEST(CompressedTreeAllocations, ABuildTakesThirtySixBytesPerItemBesideTheTree) {
    constexpr unsigned count = 200000;
    // The lists of a parallel build do not grow with the items.
    constexpr double most = 36.0 + 65536.0 / count;
    for (const Kind kind : {Kind::random, Kind::clustered, Kind::geometric_chain}) {
        const std::vector<Box> scene = scenes::make(kind, count, 4);
        const CoreArray<GMathBbox3<float>> boxes = to_boxes(scene);
        CoreArray<GMathBbox3<double>> wide_boxes(count);
        for (unsigned i = 0; i < count; ++i) {
            const auto widen = [](const float* corner) -> GMathVec3<double> {
                return {static_cast<double>(corner[0]), static_cast<double>(corner[1]),
                        static_cast<double>(corner[2])};
            };
            wide_boxes[i] = {widen(scene[i].min), widen(scene[i].max)};
        }
        const std::vector<unsigned> indices(count, 1);
        EXPECT_LE(
            get_peak_per_item(
                count, [&](GasCompressedTree& tree) { tree.create(boxes, nullptr, nullptr); }),
            most);
        EXPECT_LE(get_peak_per_item(count,
                                    [&](GasCompressedTree& tree) {
                                        tree.create(boxes, indices.data(), nullptr);
                                    }),
                  most);
        EXPECT_LE(
            get_peak_per_item(
                count, [&](GasCompressedTree& tree) { tree.create(wide_boxes, nullptr, nullptr); }),
            most);
        SysThreadTaskManager manager(nullptr);
        EXPECT_LE(get_peak_per_item(count,
                                    [&](GasCompressedTree& tree) {
                                        tree.create(boxes, nullptr, nullptr, manager, 3);
                                    }),
                  most);
    }
}

TEST(CompressedTreeAllocations, SamplesReleaseWhatTheyAllocate) {
    get_boxes();
    const std::int64_t before = count_live_blocks();
    {
        GasCompressedTree tree;
        tree.create(get_boxes(), nullptr, nullptr);
        tree.set_motion_blur_sample_count(5);
        EXPECT_EQ(count_live_blocks() - before, 3) << "nodes, table and boxes";
        for (const unsigned sample : {0u, 2u, 4u})
            ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), sample));
        EXPECT_EQ(count_live_blocks() - before, 6);
        tree.set_motion_blur_sample_count(3);
        EXPECT_EQ(count_live_blocks() - before, 5);
        tree.set_motion_blur_sample_count(0);
        EXPECT_EQ(count_live_blocks() - before, 1) << "the tables go with the last sample";
        tree.set_motion_blur_sample_count(2);
        ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 1));
        tree.clear();
        EXPECT_EQ(count_live_blocks() - before, 1) << "the boxes stay";
        tree.create(get_boxes(), nullptr, nullptr);
    }
    EXPECT_EQ(count_live_blocks() - before, 0);
}

TEST(CompressedTreeAllocations, ARefitKeepsTheRecordsOnly) {
    get_boxes();
    GasCompressedTree tree;
    tree.create(get_boxes(), nullptr, nullptr);
    tree.set_motion_blur_sample_count(1);
    const std::int64_t before = count_live_blocks();
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(get_boxes(), 0); }), 2u);
    EXPECT_EQ(count_live_blocks() - before, 1);
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(get_boxes(), 0); }), 1u);
    EXPECT_EQ(count_live_blocks() - before, 1);
    EXPECT_EQ(count_allocations([&] { tree.refit_motion_blur_sample(get_boxes(), 1); }), 0u);
}

TEST(CompressedTreeAllocations, ABuildThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    expect_clean_failures(get_boxes(), 4);
}

TEST(CompressedTreeAllocations, ABuildOverDoublesThatRunsOutOfMemoryLeavesAnEmptyTreeAndNoBlocks) {
    expect_clean_failures(CoreArray<GMathBbox3<double>>(50), 4);
}

TEST(CompressedTreeAllocations, ASampleThatRunsOutOfMemoryStaysUnfilled) {
    GasCompressedTree tree;
    tree.create(get_boxes(), nullptr, nullptr);
    tree.set_motion_blur_sample_count(2);
    for (const unsigned nth : {0u, 1u}) {
        EXPECT_TRUE(attempt(nth, [&] { tree.refit_motion_blur_sample(get_boxes(), 1); }).thrown);
        EXPECT_FALSE(tree.has_sample(1));
        EXPECT_EQ(tree.get_blurred_bbox(1), GMathBbox3<float>());
    }
    ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 1));
    EXPECT_EQ(tree.get_blurred_bbox(1), tree.get_bbox());
}

TEST(CompressedTreeAllocations, ACountThatRunsOutOfMemoryLeavesABoxForEachSample) {
    for (const unsigned nth : {0u, 1u}) {
        GasCompressedTree tree;
        tree.create(get_boxes(), nullptr, nullptr);
        EXPECT_TRUE(attempt(nth, [&] { tree.set_motion_blur_sample_count(3); }).thrown);
        ASSERT_EQ(tree.get_motion_blur_sample_count(), 0u) << nth;
        tree.set_motion_blur_sample_count(3);
        ASSERT_TRUE(tree.refit_motion_blur_sample(get_boxes(), 2));

        EXPECT_TRUE(attempt(nth, [&] { tree.set_motion_blur_sample_count(1); }).thrown);
        tree.set_motion_blur_sample_count(3);
        for (unsigned sample = 0; sample < 3; ++sample)
            EXPECT_TRUE(tree.refit_motion_blur_sample(get_boxes(), sample));
        EXPECT_EQ(tree.get_blurred_bbox(2), tree.get_bbox());
    }
}

TEST(CompressedTreeAllocations, AnAssignmentThatRunsOutOfMemoryChangesNothing) {
    for (const unsigned nth : {0u, 1u}) {
        GasCompressedTree source;
        source.create(get_boxes(), nullptr, nullptr);
        source.set_motion_blur_sample_count(2);
        ASSERT_TRUE(source.refit_motion_blur_sample(get_boxes(), 1));
        GasCompressedTree target;
        target.set_motion_blur_sample_count(1);
        EXPECT_TRUE(attempt(nth, [&] { target = source; }).thrown);
        EXPECT_TRUE(target.is_empty());
        EXPECT_EQ(target.get_motion_blur_sample_count(), 1u) << nth;
        EXPECT_FALSE(target.has_sample(0)) << nth;
    }
}
