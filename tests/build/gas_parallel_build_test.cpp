// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include <gas/build/gas_parallel_build.h>
#include <gas/build/gas_record_divider.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/box_conversion.h>
#include <tests/support/latch.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::SeededRandom;

const std::vector<unsigned> thread_counts = {1, 2, 3, 7};

/// Arrays of a build, and the build over them.
struct Arrays {
    Arrays(const std::vector<Box>& boxes, Split split)
        : bboxes(support::to_boxes(boxes)), nodes(2 * boxes.size() - 1), records(boxes.size()),
          numbers(boxes.size()),
          items(static_cast<GasBuildMethod>(split), records.data(), numbers.data()),
          whole{0, bboxes.get_count(), 0, 1, 1, GasLaneBox::get_empty()} {}

    CoreArray<GMathBbox3<float>> bboxes;
    std::vector<GasTree::Node> nodes;
    std::vector<GasRecord> records;
    std::vector<unsigned> numbers;
    GasRecordBuild items;
    GasBuildPart whole;
};

/// Small parts are divided by all threads, too.
void expect_same_nodes(const std::vector<Box>& boxes, Split split, unsigned thread_count,
                       unsigned part_size) {
    Arrays serial(boxes, split);
    Arrays parallel(boxes, split);
    const GasBoxFacts facts = gas_make_records(serial.bboxes.get_items(), 0, serial.whole.count,
                                               serial.records.data(), serial.whole.bounds);
    SysThreadTaskManager manager(nullptr);
    GasParallelBuild parallel_build(manager, thread_count, part_size);
    const GasBoxFacts parallel_facts =
        parallel_build.make_records(parallel.bboxes.get_items(), parallel.whole.count,
                                    parallel.records.data(), parallel.whole.bounds);
    ASSERT_EQ(parallel_facts.is_comparable, facts.is_comparable);
    ASSERT_EQ(parallel_facts.is_ordered, facts.is_ordered);
    if (!facts.is_comparable)
        return;
    unsigned built_leaf_count = 0;
    GasPairNumbering numbering(serial.nodes.data(), 1, nullptr, built_leaf_count);
    gas_build_depth_first(numbering, serial.items, serial.whole);
    numbering.close_all();
    EXPECT_EQ(parallel_build.build<GasPairNumbering>(parallel.nodes.data(), parallel.items,
                                                     parallel.whole, nullptr),
              numbering.get_depth());
    EXPECT_EQ(std::memcmp(parallel.nodes.data(), serial.nodes.data(),
                          serial.nodes.size() * sizeof(GasTree::Node)),
              0)
        << support::name(split) << ", " << boxes.size() << " boxes, " << thread_count
        << " threads, parts of " << part_size;
}

void expect_same_tree(const std::vector<Box>& boxes, Split split,
                      const std::vector<unsigned>& used_thread_counts) {
    const CoreArray<GMathBbox3<float>> bboxes = support::to_boxes(boxes);
    support::QuietProgress expected_progress(split);
    GasTree expected;
    expected.create(bboxes, nullptr, &expected_progress.bar, 0.7f);
    for (const unsigned thread_count : used_thread_counts) {
        support::QuietProgress progress(split);
        SysThreadTaskManager manager(nullptr);
        GasTree tree;
        tree.create(bboxes, nullptr, &progress.bar, 0.7f, manager, thread_count);

        ASSERT_EQ(tree.get_node_count(), expected.get_node_count());
        EXPECT_EQ(tree.get_depth(), expected.get_depth());
        EXPECT_EQ(tree.get_split_callback(), expected.get_split_callback());
        EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                              tree.get_node_count() * sizeof(GasTree::Node)),
                  0)
            << support::name(split) << ", " << boxes.size() << " boxes, " << thread_count;
        EXPECT_EQ(progress.bar.get_value(), expected_progress.bar.get_value());
    }
}

} // namespace

TEST(ParallelBuild, GivesTheSameNodesForAnyNumberOfThreads) {
    for (const Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {1u, 3u, 17u, 40u, 333u, 2500u}) {
                const std::vector<Box> boxes = scenes::make(kind, count, count + 7);
                for (const unsigned thread_count : thread_counts)
                    expect_same_nodes(boxes, split, thread_count, 1);
            }
        }
    }
}

TEST(ParallelBuild, GivesTheSameNodesOverSpoiledBoxes) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    SeededRandom random(9);
    for (unsigned round = 0; round < 300; ++round) {
        std::vector<Box> boxes = scenes::make(Kind::random, 20 + random.below(500), round);
        if (round % 3 == 0)
            support::spoil(boxes, random, 100 + random.below(1000));
        for (Box& box : boxes) {
            if (random.below(20) == 0)
                std::swap(box.min, box.max);
            if (random.below(50) == 0)
                box.max[random.below(3)] = infinity;
        }
        expect_same_nodes(boxes, support::all_splits[round % 4], thread_counts[random.below(4)],
                          1 + random.below(100));
    }
}

TEST(ParallelBuild, GivesTheSameTreeAndProgress) {
    for (const Kind kind : scenes::all_kinds()) {
        expect_same_tree(
            scenes::make(kind, support::scale(support::scale_when_whole(20000, 12000), 9000), 3),
            Split::sah_fast, thread_counts);
        // The sorts of the others take long; so few items are still divided by all threads.
        for (const Split split : support::all_splits)
            if (split != Split::sah_fast)
                expect_same_tree(
                    scenes::make(kind, support::scale(support::scale_when_whole(9000, 6000), 5000),
                                 3),
                    split, {2u});
    }
}

TEST(ParallelBuild, AnyNumberOfThreadsMayBeAskedFor) {
    const std::vector<Box> boxes = scenes::make(Kind::random, 20000, 5);
    expect_same_tree(boxes, Split::sah_fast, {5000u, 1u << 30, 0xFFFFFFFFu});
}

TEST(ParallelBuild, ANaNGivesTheSameTree) {
    for (const Split split : support::all_splits) {
        std::vector<Box> boxes = scenes::make(Kind::random, 20000, 4);
        boxes[12345].min[1] = std::numeric_limits<float>::quiet_NaN();
        expect_same_tree(boxes, split, thread_counts);
    }
}

TEST(ParallelBuild, SeveralTreesAreBuiltAtATime) {
    const CoreArray<GMathBbox3<float>> boxes =
        support::to_boxes(scenes::make(Kind::clustered, 20000, 5));
    GasTree expected;
    expected.create(boxes, nullptr, nullptr, 1.0f);
    constexpr unsigned tree_count = 4;
    GasTree trees[tree_count];
    support::Latch start(tree_count);
    std::vector<std::thread> threads;
    for (GasTree& tree : trees) {
        threads.emplace_back([&] {
            SysThreadTaskManager manager(nullptr);
            start.arrive_and_wait();
            tree.create(boxes, nullptr, nullptr, 1.0f, manager, 3);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const GasTree& tree : trees)
        EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                              expected.get_node_count() * sizeof(GasTree::Node)),
                  0);
}

TEST(ParallelBuild, NoBoxesClearTheTree) {
    GasTree tree;
    tree.create(support::to_boxes(scenes::make(Kind::random, 10, 1)), nullptr, nullptr, 1.0f);
    SysThreadTaskManager manager(nullptr);
    tree.create(CoreArray<GMathBbox3<float>>(), nullptr, nullptr, 1.0f, manager, 2);
    EXPECT_TRUE(tree.is_empty());
}

// A build that cannot have its arrays throws; one that cannot add a task does without.
TEST(ParallelBuild, MemoryThatRunsOutLeavesAnEmptyTreeOrTheRightOne) {
    const CoreArray<GMathBbox3<float>> boxes =
        support::to_boxes(scenes::make(Kind::random, 10000, 6));
    const std::vector<unsigned> indices(10000, 1);
    GasTree expected;
    expected.create(boxes, nullptr, nullptr, 1.0f);
    {
        // Starts the threads, which stay.
        SysThreadTaskManager manager(nullptr);
        GasTree tree;
        tree.create(boxes, nullptr, nullptr, 1.0f, manager, 3);
    }
    unsigned thrown_count = 0;
    for (unsigned nth = 0;; ++nth) {
        const std::int64_t before = support::count_live_blocks();
        GasTree tree;
        bool has_failed = false;
        {
            SysThreadTaskManager manager(nullptr);
            has_failed = support::attempt(nth, [&] {
                             try {
                                 tree.create(boxes, indices.data(), nullptr, 1.0f, manager, 3);
                             } catch (const std::bad_alloc&) {
                                 ++thrown_count;
                                 EXPECT_TRUE(tree.is_empty()) << nth;
                             }
                         }).reached;
        }
        if (!tree.is_empty()) {
            EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                                  expected.get_node_count() * sizeof(GasTree::Node)),
                      0)
                << nth;
        }
        tree.clear();
        EXPECT_LE(support::count_live_blocks() - before, 0) << nth;
        if (!has_failed)
            break;
    }
    EXPECT_GE(thrown_count, 7u) << "two arrays, the nodes, the indices, pieces and parts";
}

TEST(BuildTeam, WhatIsThrownAfterAPieceComesThroughOnceTheOthersAreDone) {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, 4);
    unsigned thrown_count = 0;
    for (unsigned round = 0; round < 50; ++round) {
        std::atomic<unsigned> running = 0;
        std::vector<std::atomic<unsigned>> run_counts(1000);
        const auto work = [&](unsigned piece) {
            ++running;
            ++run_counts[piece];
            for (volatile unsigned i = 0; i < 2000;)
                i = i + 1;
            --running;
        };
        const auto throw_at_once = [](unsigned piece) { throw piece; };
        try {
            team.run(1000, work, throw_at_once);
        } catch (unsigned) {
            ++thrown_count;
        }
        EXPECT_EQ(running.load(), 0u);
        for (const auto& run_count : run_counts)
            EXPECT_LE(run_count.load(), 1u) << "no piece is begun again";
    }
    EXPECT_GT(thrown_count, 0u) << "the calling thread came to a piece";
}
