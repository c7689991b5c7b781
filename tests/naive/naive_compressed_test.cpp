#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include <tests/naive/naive_compressed.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using naive::build_compressed;
using naive::CompressedTree;
using naive::first_child;
using naive::PairBytes;
using naive::Record;
using naive::Reference;
using naive::second_child;
using naive::Split;
using Items = std::vector<unsigned>;

Box point(float x, float y = 0, float z = 0) { return {{x, y, z}, {x, y, z}}; }

bool same_bits(const Box& a, const Box& b) { return std::memcmp(&a, &b, sizeof(Box)) == 0; }

bool contains(const Box& outer, const Box& inner) {
    bool result = true;
    for (unsigned axis = 0; axis < 3; ++axis) {
        result = result && outer.min[axis] <= inner.min[axis];
        result = result && outer.max[axis] >= inner.max[axis];
    }
    return result;
}

void expect_children(const CompressedTree& tree, unsigned node, Reference first, Reference second) {
    const Record& record = tree.nodes[node];
    EXPECT_EQ(first_child(record).leaf, first.leaf) << node;
    EXPECT_EQ(first_child(record).index, first.index) << node;
    EXPECT_EQ(second_child(record).leaf, second.leaf) << node;
    EXPECT_EQ(second_child(record).index, second.index) << node;
}

constexpr Reference node_at(unsigned index) { return {false, index}; }

constexpr Reference leaf_at(unsigned position) { return {true, position}; }

TEST(NaiveCompressed, NoItemsGiveAnEmptyTree) {
    const CompressedTree tree = build_compressed({}, Split::sah);
    EXPECT_TRUE(tree.nodes.empty());
    EXPECT_EQ(tree.leaf_count, 0u);
    EXPECT_EQ(tree.node_count, 0u);
    EXPECT_EQ(tree.depth, 0u);
}

TEST(NaiveCompressed, OneItemHasOneRecord) {
    const CompressedTree tree = build_compressed({point(1, 2, 3)}, Split::sah, {42});
    ASSERT_EQ(tree.nodes.size(), 1u);
    EXPECT_EQ(tree.node_count, 1u);
    EXPECT_EQ(tree.depth, 1u);
    EXPECT_EQ(tree.items, (Items{42}));
    EXPECT_EQ(tree.nodes[0],
              (Record{0xff, 0xff, 0xff, 0, 0xff, 0xff, 0xff, 3, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(same_bits(tree.root_box, point(1, 2, 3)));
    EXPECT_TRUE(tree.progress_calls.empty());
}

TEST(NaiveCompressed, TwoItemsStayInTheirOrder) {
    const CompressedTree tree = build_compressed({point(255), point(0)}, Split::sah, {7, 8});
    ASSERT_EQ(tree.node_count, 1u);
    EXPECT_EQ(tree.depth, 2u);
    expect_children(tree, 0, leaf_at(0), leaf_at(1));
    // The first child lies above on x: order flipped, axis 0. It owns the minimum, not the maximum.
    EXPECT_EQ(tree.nodes[0][7], 1 | 2 | 16);
    EXPECT_EQ(naive::pair_bytes(tree, 0), (PairBytes{254, 0, 0, 1, 254, 0, 0}));
    EXPECT_TRUE(same_bits(tree.root_box, {{0, 0, 0}, {255, 0, 0}}));
    EXPECT_EQ(tree.progress_calls, (Items{2}));
}

TEST(NaiveCompressed, ThreeItemsInOneAndTwo) {
    const CompressedTree tree = build_compressed({point(0), point(10), point(10)}, Split::median);
    ASSERT_EQ(tree.node_count, 2u);
    EXPECT_EQ(tree.depth, 3u);
    expect_children(tree, 0, leaf_at(0), node_at(1));
    expect_children(tree, 1, leaf_at(2), leaf_at(1));
    EXPECT_EQ(tree.nodes[0][7], 1);
    EXPECT_EQ(tree.progress_calls, (Items{1, 3}));
}

TEST(NaiveCompressed, NumbersBothChildrenBeforeTheNodesBelow) {
    const CompressedTree tree =
        build_compressed({point(0), point(1), point(2), point(3), point(4)}, Split::median);
    ASSERT_EQ(tree.node_count, 4u);
    EXPECT_EQ(tree.depth, 4u);
    expect_children(tree, 0, node_at(1), node_at(2));
    expect_children(tree, 1, node_at(3), leaf_at(2));
    expect_children(tree, 2, leaf_at(4), leaf_at(3));
    expect_children(tree, 3, leaf_at(0), leaf_at(1));
    EXPECT_EQ(tree.nodes[0][7], 0);
    EXPECT_EQ(tree.nodes[1][7], 2);
    EXPECT_EQ(tree.nodes[2][7], 1 | 2 | 16);
    EXPECT_EQ(tree.nodes[3][7], 1 | 2);
    EXPECT_EQ(tree.progress_calls, (Items{1, 3, 5}));
}

TEST(NaiveCompressed, EqualCentresAreHalved) {
    const CompressedTree tree = build_compressed(std::vector<Box>(5, point(1)), Split::sah);
    expect_children(tree, 0, node_at(1), node_at(2));
    expect_children(tree, 1, leaf_at(0), leaf_at(1));
    expect_children(tree, 2, leaf_at(2), node_at(3));
    expect_children(tree, 3, leaf_at(3), leaf_at(4));
}

TEST(NaiveCompressed, OrderIsThatOfTheExactBoxes) {
    const auto order = [](const Box& first, const Box& second) {
        return naive::order_code(build_compressed({first, second}, Split::sah).nodes[0]);
    };
    const Box low = {{0, 0, 0}, {1, 1, 1}};
    const Box above = {{2, 4, 0}, {3, 5, 1}};
    EXPECT_EQ(order(low, above), 1u);
    EXPECT_EQ(order(above, low), 1u + 4u);
    // Both overlap on all axes, least on z.
    const Box overlapping = {{0, 0, 0.75f}, {1, 1, 2}};
    EXPECT_EQ(order(low, overlapping), 2u);
    EXPECT_EQ(order(overlapping, low), 2u + 4u);
    EXPECT_EQ(order(low, low), 0u);
    const float none = std::numeric_limits<float>::quiet_NaN();
    const CompressedTree unordered = build_compressed({point(none, none, none), low}, Split::sah);
    EXPECT_EQ(unordered.nodes[0][7], 3);
}

/// Every node and position once, children's boxes inside what they decode to.
void check_tree(const CompressedTree& tree, const std::vector<Box>& boxes) {
    ASSERT_EQ(tree.leaf_count, boxes.size());
    ASSERT_EQ(tree.node_count, boxes.size() - 1);
    ASSERT_EQ(tree.nodes.size(), tree.node_count);
    EXPECT_EQ(tree.progress_calls.back(), tree.leaf_count);
    std::vector<unsigned> node_seen(tree.node_count, 0);
    std::vector<unsigned> leaf_seen(tree.leaf_count, 0);
    node_seen[0] = 1;
    std::vector<unsigned> level(tree.node_count, 1);
    unsigned depth = 1;
    for (unsigned node = 0; node < tree.node_count; ++node) {
        depth = level[node] > depth ? level[node] : depth;
        EXPECT_EQ(tree.nodes[node][3] & 0xc0, 0);
        EXPECT_EQ(tree.nodes[node][7] & 0xe0, 0);
        for (const Reference child :
             {first_child(tree.nodes[node]), second_child(tree.nodes[node])}) {
            ASSERT_LT(child.index, child.leaf ? tree.leaf_count : tree.node_count);
            if (child.leaf) {
                ++leaf_seen[child.index];
            } else {
                ASSERT_GT(child.index, node);
                ++node_seen[child.index];
                level[child.index] = level[node] + 1;
            }
        }
    }
    EXPECT_EQ(node_seen, Items(tree.node_count, 1));
    EXPECT_EQ(leaf_seen, Items(tree.leaf_count, 1));
    EXPECT_EQ(depth + 1, tree.depth);
}

TEST(NaiveCompressed, EverySceneGivesASoundTree) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (unsigned count = 2; count <= 300; count += count < 40 ? 1 : 37) {
            const std::vector<Box> boxes = scenes::make(kind, count, count);
            for (const Split split : naive::all_splits) {
                SCOPED_TRACE(std::string(scenes::name(kind)) + " " + std::to_string(count));
                check_tree(build_compressed(boxes, split), boxes);
            }
        }
    }
}

TEST(NaiveCompressed, DecodedBoxesContainTheExactOnes) {
    const scenes::Kind kinds[] = {scenes::Kind::random, scenes::Kind::grid, scenes::Kind::flat,
                                  scenes::Kind::tiny};
    for (const scenes::Kind kind : kinds) {
        const std::vector<Box> boxes = scenes::make(kind, 200, 9);
        for (const Split split : naive::all_splits) {
            const CompressedTree tree = build_compressed(boxes, split);
            const std::vector<Box> decoded = naive::decoded_boxes(tree);
            EXPECT_TRUE(same_bits(decoded[0], tree.root_box));
            for (unsigned position = 0; position < tree.leaf_count; ++position) {
                EXPECT_TRUE(contains(decoded[tree.node_count + position], boxes[position]));
            }
            for (unsigned node = 0; node < tree.node_count; ++node) {
                for (const Reference child :
                     {first_child(tree.nodes[node]), second_child(tree.nodes[node])}) {
                    const unsigned slot = child.leaf ? tree.node_count + child.index : child.index;
                    EXPECT_TRUE(contains(decoded[node], decoded[slot]));
                }
            }
        }
    }
}

TEST(NaiveCompressedSamples, OneItemHasFixedBytes) {
    CompressedTree tree = build_compressed({point(1)}, Split::sah);
    naive::set_sample_count(tree, 1);
    ASSERT_TRUE(naive::refit_sample(tree, {point(2, 3, 4)}, 0));
    EXPECT_EQ(tree.samples[0].bytes,
              (std::vector<unsigned char>{0xff, 0xff, 0xff, 0, 0xff, 0xff, 0xff}));
    EXPECT_TRUE(same_bits(tree.samples[0].root_box, point(2, 3, 4)));
    EXPECT_TRUE(same_bits(tree.root_box, point(1)));
}

TEST(NaiveCompressedSamples, ABuildsOwnBoxesGiveItsOwnBytes) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 90, 3);
    CompressedTree tree = build_compressed(boxes, Split::sah_fast);
    naive::set_sample_count(tree, 2);
    ASSERT_TRUE(naive::refit_sample(tree, boxes, 1));
    EXPECT_TRUE(tree.samples[0].bytes.empty());
    EXPECT_EQ(tree.samples[1].bytes.size(), 7u * tree.node_count);
    for (unsigned node = 0; node < tree.node_count; ++node) {
        EXPECT_EQ(naive::pair_bytes(tree, node, 1), naive::pair_bytes(tree, node));
    }
    EXPECT_TRUE(same_bits(tree.samples[1].root_box, tree.root_box));
}

TEST(NaiveCompressedSamples, FollowTheirBoxesAndKeepTheTopology) {
    CompressedTree tree = build_compressed({point(0), point(10), point(10)}, Split::median);
    const std::vector<Record> nodes = tree.nodes;
    naive::set_sample_count(tree, 1);
    // Item 0 moves above the others, which part on y.
    ASSERT_TRUE(naive::refit_sample(tree, {point(255), point(0, 255), point(0, 0)}, 0));
    EXPECT_EQ(tree.nodes, nodes);
    EXPECT_TRUE(same_bits(tree.samples[0].root_box, {{0, 0, 0}, {255, 255, 0}}));
    // Node 0 on x: the leaf owns the minimum, node 1 the maximum. On y: node 1 spans the parent, so
    // the leaf owns the maximum, and the equal minimum is the second child's.
    EXPECT_EQ(naive::pair_bytes(tree, 0, 0), (PairBytes{254, 0, 0, 1 | 16, 254, 254, 0}));
    // Node 1 is decoded to 0 .. 1 on x, where its children are both at 0.
    EXPECT_EQ(naive::pair_bytes(tree, 1, 0), (PairBytes{0, 254, 0, 16, 254, 254, 0}));
    const std::vector<Box> decoded = naive::decoded_boxes(tree, 0);
    EXPECT_TRUE(same_bits(decoded[1], {{0, 0, 0}, {1, 255, 0}}));
    EXPECT_TRUE(same_bits(decoded[2], {{254, 0, 0}, {255, 1, 0}}));
}

TEST(NaiveCompressedSamples, RefuseWrongCountsAndSamplesBeyondTheTable) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 10, 1);
    CompressedTree tree = build_compressed(boxes, Split::sah);
    naive::set_sample_count(tree, 2);
    for (const unsigned count : {9u, 11u}) {
        const std::vector<Box> others = scenes::make(scenes::Kind::random, count, 2);
        EXPECT_FALSE(naive::refit_sample(tree, others, 0));
    }
    EXPECT_FALSE(naive::refit_sample(tree, boxes, 2));
    EXPECT_TRUE(tree.samples[0].bytes.empty());
}

TEST(NaiveCompressedSamples, ResizingTheTableKeepsWhatStays) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 5, 1);
    CompressedTree tree = build_compressed(boxes, Split::median);
    naive::set_sample_count(tree, 2);
    ASSERT_TRUE(naive::refit_sample(tree, boxes, 0));
    ASSERT_TRUE(naive::refit_sample(tree, boxes, 1));
    naive::set_sample_count(tree, 4);
    EXPECT_EQ(tree.samples[1].bytes.size(), 28u);
    EXPECT_TRUE(same_bits(tree.samples[1].root_box, tree.root_box));
    EXPECT_TRUE(tree.samples[2].bytes.empty());
    naive::set_sample_count(tree, 1);
    ASSERT_EQ(tree.samples.size(), 1u);
    EXPECT_EQ(tree.samples[0].bytes.size(), 28u);
}

} // namespace
