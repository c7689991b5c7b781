// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <gas/build/gas_record_build.h>
#include <gas/build/gas_record_partition.h>
#include <gas/build/gas_small_sort.h>
#include <gas/core/gas_traversal_order.h>
#include <gas/split/gas_split_items.h>

#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::SeededRandom;

/// The plain recursion over the public split functions.
class PlainBuild {
  public:
    PlainBuild(const std::vector<Box>& boxes, Split split)
        : nodes(2 * boxes.size() - 1), m_boxes(support::to_boxes(boxes)), m_scene(boxes),
          m_split(support::split_function(split)) {
        unsigned next = 1;
        build(0, support::list_items(m_boxes.get_count()), next);
    }

    std::vector<GasTree::Node> nodes;

  private:
    void build(unsigned node, const std::vector<unsigned>& items, unsigned& next) {
        if (items.size() == 1) {
            const GMathBbox3<float>& box = m_boxes[items[0]];
            nodes[node] = {box.min, items[0], box.max, GasTree::Node::leaf_flag};
            return;
        }
        const unsigned first = next;
        next += 2;
        support::SplitResult halves = {1, items};
        if (items.size() > 2)
            halves = m_scene.split(m_split, items);
        if (halves.left_count == 0 || halves.left_count >= items.size())
            halves.left_count = static_cast<unsigned>(items.size()) / 2;
        const auto middle = halves.items.begin() + halves.left_count;
        build(first, {halves.items.begin(), middle}, next);
        build(first + 1, {middle, halves.items.end()}, next);
        GMathBbox3<float> box = {nodes[first].bbox_min, nodes[first].bbox_max};
        gas_unite(box, {nodes[first + 1].bbox_min, nodes[first + 1].bbox_max});
        nodes[node] = {box.min, first, box.max, 0};
        GasTree::compute_node_traversal_order(nodes[node], nodes[first], nodes[first + 1]);
    }

    CoreArray<GMathBbox3<float>> m_boxes;
    support::SplitScene m_scene;
    GasTree::SplitCallback m_split;
};

void expect_plain_tree(const std::vector<Box>& boxes, Split split) {
    const PlainBuild expected(boxes, split);
    GasTree tree;
    support::build(tree, boxes, split);
    ASSERT_EQ(tree.get_node_count(), expected.nodes.size());
    EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.nodes.data(),
                          expected.nodes.size() * sizeof(GasTree::Node)),
              0)
        << support::name(split) << ", " << boxes.size() << " boxes";
}

std::vector<GasRecord> make_records(const std::vector<Box>& boxes, GasLaneBox& bounds) {
    const CoreArray<GMathBbox3<float>> items = support::to_boxes(boxes);
    std::vector<GasRecord> records(boxes.size());
    gas_make_records(items.get_items(), 0, items.get_count(), records.data(), bounds);
    return records;
}

void expect_bounds(const GasLaneBox& bounds, const unsigned* items, unsigned count,
                   const std::vector<GMathVec3<float>>& centers) {
    const GMathBbox3<float> expected = gas_center_bounds(items, count, centers.data());
    const GMathBbox3<float> found = bounds.to_box();
    for (unsigned axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(found.min[axis], expected.min[axis]);
        EXPECT_EQ(found.max[axis], expected.max[axis]);
    }
}

void expect_partition(const std::vector<Box>& boxes, unsigned axis, float position) {
    const auto count = static_cast<unsigned>(boxes.size());
    GasLaneBox bounds = GasLaneBox::get_empty();
    std::vector<GasRecord> records = make_records(boxes, bounds);
    std::vector<GMathVec3<float>> centers;
    for (const GasRecord& record : records)
        centers.push_back(gas_box_center({record.bbox_min, record.bbox_max}));
    std::vector<unsigned> items = support::list_items(count);
    const unsigned low_count =
        gas_partition_items(items.data(), count, centers.data(), axis, position);

    std::vector<unsigned> numbers(count);
    const GasRecordSides sides =
        gas_partition_records(records.data(), count, axis, position, numbers.data());
    EXPECT_EQ(sides.low_count, low_count);
    for (unsigned i = 0; i < count; ++i)
        ASSERT_EQ(records[i].index, items[i]) << i << " of " << count << ", " << low_count;
    if (low_count == 0 || low_count == count)
        return;
    expect_bounds(sides.low, items.data(), low_count, centers);
    expect_bounds(sides.high, items.data() + low_count, count - low_count, centers);
}

/// Gap by gap, each of which wins where it is larger than all before.
unsigned get_traversal_order(unsigned previous, const GasTree::Node& first,
                             const GasTree::Node& second) {
    unsigned code = previous;
    float best = std::numeric_limits<float>::lowest();
    const auto offer = [&](float gap, unsigned gap_code) {
        if (gap > best) {
            best = gap;
            code = gap_code;
        }
    };
    for (unsigned axis = 0; axis < 3; ++axis) {
        offer(second.bbox_min[axis] - first.bbox_max[axis], axis);
        offer(first.bbox_min[axis] - second.bbox_max[axis], axis + 4);
    }
    return code;
}

} // namespace

TEST(RecordBuild, GivesTheTreeOfThePublicSplitFunctions) {
    for (const Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {1u, 2u, 3u, 4u, 5u, 9u, 15u, 16u, 17u, 33u, 64u, 65u, 66u,
                                         128u, 129u, 130u, 257u, 700u})
                expect_plain_tree(scenes::make(kind, count, 3 * count + 1), split);
        }
    }
}

TEST(RecordBuild, GivesTheTreeOfThePublicSplitFunctionsOverSpoiledAndInvertedBoxes) {
    SeededRandom random(5);
    for (unsigned round = 0; round < 400; ++round) {
        std::vector<Box> boxes = scenes::make(Kind::random, 1 + random.below(150), round);
        if (round % 2 == 0)
            support::spoil(boxes, random, 1 + random.below(200));
        for (Box& box : boxes) {
            if (random.below(20) == 0)
                std::swap(box.min, box.max);
        }
        expect_plain_tree(boxes, support::all_splits[round % 4]);
    }
}

TEST(RecordBuild, InfinitiesStayOnTheFastPathAndNaNDoesNot) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    GasLaneBox bounds = GasLaneBox::get_empty();
    std::vector<GasRecord> records(2);
    const CoreArray<GMathBbox3<float>> boxes =
        support::to_boxes({{{0, 0, 0}, {infinity, 1, 1}}, {{-infinity, 0, 0}, {infinity, 1, 1}}});
    EXPECT_TRUE(gas_make_records(boxes.get_items(), 0, 1, records.data(), bounds).is_comparable);
    EXPECT_FALSE(gas_make_records(boxes.get_items(), 0, 2, records.data(), bounds).is_comparable);
    EXPECT_EQ(records[1].index, 1u);
    EXPECT_EQ(records[1].flags, GasTree::Node::leaf_flag);
}

TEST(RecordBuild, RecordsArePartitionedInTheOrderOfItems) {
    SeededRandom random(6);
    for (unsigned round = 0; round < 3000; ++round) {
        const std::vector<Box> boxes =
            scenes::make(round % 3 ? Kind::random : Kind::collinear, 1 + random.below(40), round);
        const Box& some = boxes[random.below(static_cast<unsigned>(boxes.size()))];
        const unsigned axis = random.below(3);
        // At a centre, or beyond all of them.
        float position = (some.min[axis] + some.max[axis]) * 0.5f;
        if (round % 16 == 0)
            position = round % 32 ? 1e30f : -1e30f;
        if (round % 100 == 1)
            position = std::numeric_limits<float>::quiet_NaN();
        expect_partition(boxes, axis, position);
    }
}

TEST(RecordBuild, SmallSortsOrderAsTheQuicksortDoes) {
    SeededRandom random(7);
    for (unsigned round = 0; round < 5000; ++round) {
        const unsigned count = 2 + random.below(15);
        const unsigned variety = 1 + random.below(40);
        alignas(16) float keys[16] = {};
        GasSmallNumber numbers[16];
        std::vector<GMathVec3<float>> centers(count);
        for (unsigned i = 0; i < count; ++i) {
            keys[i] = static_cast<float>(random.below(variety));
            centers[i] = {0.0f, keys[i], 0.0f};
            numbers[i] = static_cast<GasSmallNumber>(i);
        }
        std::vector<unsigned> items = support::list_items(count);
        gas_sort_by_center(items.data(), count, centers.data(), gas_coordinates[1]);
        gas_sort_small(keys, numbers, count);
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(numbers[i], items[i]) << i << " of " << count;
    }
}

TEST(RecordBuild, LanesGiveTheTraversalOrderOfCoordinates) {
    SeededRandom random(8);
    for (unsigned round = 0; round < 20000; ++round) {
        std::vector<Box> boxes = scenes::make(round % 2 ? Kind::grid : Kind::random, 2, round);
        support::spoil(boxes, random, 2 + random.below(20));
        GasTree::Node nodes[2];
        for (unsigned i = 0; i < 2; ++i)
            nodes[i] = {{boxes[i].min[0], boxes[i].min[1], boxes[i].min[2]},
                        round,
                        {boxes[i].max[0], boxes[i].max[1], boxes[i].max[2]},
                        ~0u};
        const unsigned previous = random.below(8);
        EXPECT_EQ(
            gas_traversal_order(previous, gas_load_raw_box(nodes[0]), gas_load_raw_box(nodes[1])),
            get_traversal_order(previous, nodes[0], nodes[1]));
    }
}
