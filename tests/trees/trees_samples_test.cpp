// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_kinds.h>

// Motion-blur samples: filling, refusing, growing and shrinking.

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::is_compressed;
using support::point_box;
using support::to_boxes;
using support::TreeKind;
using Bytes = std::vector<unsigned char>;

constexpr unsigned item_count = 33;

std::vector<Box> first_boxes() { return scenes::make(Kind::random, item_count, 1); }
std::vector<Box> moved_boxes(unsigned seed) {
    return scenes::make(seed % 2 ? Kind::grid : Kind::clustered, item_count, seed);
}

/// A tree over the first boxes, and the naive one.
template <typename Tree> class MotionSamples : public testing::Test {
  protected:
    MotionSamples() : expected(TreeKind<Tree>::build_naive(first_boxes(), Split::sah)) {
        support::build(tree, first_boxes(), Split::sah);
    }

    void resize(unsigned count) {
        tree.set_motion_blur_sample_count(count);
        naive::set_sample_count(expected, count);
        EXPECT_EQ(tree.get_motion_blur_sample_count(), count);
        EXPECT_EQ(support::find_difference(tree, expected), "") << count;
    }

    void refit(unsigned sample, unsigned seed) {
        ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(moved_boxes(seed)), sample));
        ASSERT_TRUE(naive::refit_sample(expected, moved_boxes(seed), sample));
        EXPECT_EQ(support::find_difference(tree, expected), "") << sample;
        EXPECT_EQ(support::find_sample_flaw(tree, moved_boxes(seed), sample), "");
    }

    static bool has_sample(const Tree& tree, unsigned sample) {
        return GasTraversalAccess::has_sample(tree, sample);
    }

    Tree tree;
    typename TreeKind<Tree>::Naive expected;
};

TYPED_TEST_SUITE(MotionSamples, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(MotionSamples, AFilledSampleHasTheBoxesOfItsItems) {
    for (const Kind kind : scenes::all_kinds()) {
        for (const Split split : support::all_splits) {
            for (const unsigned count : {2u, 3u, 40u, 800u}) {
                const std::vector<Box> boxes = scenes::make(kind, count, 1);
                TypeParam scene;
                support::build(scene, boxes, split);
                scene.set_motion_blur_sample_count(3);
                for (const unsigned sample : {2u, 0u, 1u}) {
                    const std::vector<Box> moved = scenes::make(kind, count, 50 + sample);
                    ASSERT_TRUE(scene.refit_motion_blur_sample(to_boxes(moved), sample));
                    ASSERT_EQ(support::find_sample_flaw(scene, moved, sample), "")
                        << scenes::name(kind) << ", " << count;
                }
                ASSERT_EQ(support::find_flaw(scene, boxes), "");
            }
        }
    }
}

TYPED_TEST(MotionSamples, AFilledSampleIsThatOfTheNaiveTree) {
    for (const Split split : support::all_splits) {
        support::build(this->tree, first_boxes(), split);
        this->expected = TreeKind<TypeParam>::build_naive(first_boxes(), split);
        this->resize(3);
        for (const unsigned sample : {2u, 0u, 1u})
            this->refit(sample, sample);
        naive::Box root = moved_boxes(1)[0];
        for (const Box& box : moved_boxes(1))
            root = naive::unite(root, box);
        EXPECT_EQ(this->tree.get_blurred_bbox(1), support::to_box(root));
    }
}

TYPED_TEST(MotionSamples, FillingLeavesTheNodesAlone) {
    const Bytes nodes = support::get_bytes(this->tree);
    const GMathBbox3<float> box = this->tree.get_bbox();
    this->tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(this->tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    EXPECT_EQ(support::get_bytes(this->tree), nodes);
    EXPECT_EQ(this->tree.get_bbox(), box);
    if constexpr (!is_compressed<TypeParam>) {
        // And refitting those leaves the sample alone.
        const Bytes sample = support::get_sample_bytes(this->tree, 0);
        ASSERT_TRUE(this->tree.refit(to_boxes(moved_boxes(3))));
        EXPECT_EQ(support::get_sample_bytes(this->tree, 0), sample);
    }
}

TYPED_TEST(MotionSamples, RefillingReplacesTheBoxes) {
    this->resize(1);
    this->refit(0, 4);
    const Bytes before = support::get_sample_bytes(this->tree, 0);
    this->refit(0, 5);
    EXPECT_NE(support::get_sample_bytes(this->tree, 0), before);
    this->refit(0, 4);
    EXPECT_EQ(support::get_sample_bytes(this->tree, 0), before);
    if constexpr (is_compressed<TypeParam>) {
        const unsigned char* const records = this->tree.get_motion_blur_records(0);
        this->refit(0, 5);
        EXPECT_EQ(this->tree.get_motion_blur_records(0), records);
    }
}

TYPED_TEST(MotionSamples, AnotherNumberOfBoxesIsRefusedAndChangesNothing) {
    this->tree.set_motion_blur_sample_count(2);
    ASSERT_TRUE(this->tree.refit_motion_blur_sample(to_boxes(moved_boxes(2)), 0));
    const Bytes nodes = support::get_bytes(this->tree);
    const Bytes sample = support::get_sample_bytes(this->tree, 0);
    const GMathBbox3<float> box = this->tree.get_blurred_bbox(0);
    std::vector<Box> boxes = moved_boxes(3);
    for (const std::size_t count : {item_count - 1, item_count + 1, 0u}) {
        boxes.resize(count, point_box(0, 0, 0));
        EXPECT_FALSE(this->tree.refit_motion_blur_sample(to_boxes(boxes), 0));
        EXPECT_FALSE(this->tree.refit_motion_blur_sample(to_boxes(boxes), 1));
    }
    EXPECT_EQ(support::get_bytes(this->tree), nodes);
    EXPECT_EQ(support::get_sample_bytes(this->tree, 0), sample);
    EXPECT_EQ(this->tree.get_blurred_bbox(0), box);
    EXPECT_EQ(this->tree.get_blurred_bbox(1), GMathBbox3<float>());
    EXPECT_TRUE(this->has_sample(this->tree, 0));
    EXPECT_FALSE(this->has_sample(this->tree, 1));
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(this->tree.get_motion_blur_records(1), nullptr);
    }
}

TYPED_TEST(MotionSamples, ASampleBeyondTheCountIsRefused) {
    const auto refit = [&](unsigned sample) {
        return this->tree.refit_motion_blur_sample(to_boxes(first_boxes()), sample);
    };
    EXPECT_FALSE(refit(0));
    this->tree.set_motion_blur_sample_count(2);
    EXPECT_FALSE(refit(2));
    EXPECT_FALSE(refit(0xffffffffu));
    EXPECT_TRUE(refit(1));
}

TYPED_TEST(MotionSamples, GrowingAndShrinkingKeepsTheLowerSamples) {
    this->resize(3);
    std::vector<Bytes> bytes;
    std::vector<GMathBbox3<float>> boxes;
    std::vector<const void*> records;
    const auto get_records = [&](unsigned sample) -> const void* {
        if constexpr (is_compressed<TypeParam>)
            return this->tree.get_motion_blur_records(sample);
        return nullptr;
    };
    for (unsigned sample = 0; sample < 3; ++sample) {
        this->refit(sample, sample);
        bytes.push_back(support::get_sample_bytes(this->tree, sample));
        boxes.push_back(this->tree.get_blurred_bbox(sample));
        records.push_back(get_records(sample));
    }
    const auto expect_kept = [&](unsigned kept, unsigned count) {
        this->resize(count);
        for (unsigned sample = 0; sample < count; ++sample) {
            EXPECT_EQ(this->has_sample(this->tree, sample), sample < kept)
                << sample << " of " << count;
            if (sample < kept) {
                EXPECT_EQ(support::get_sample_bytes(this->tree, sample), bytes[sample]);
                EXPECT_EQ(this->tree.get_blurred_bbox(sample), boxes[sample]);
                EXPECT_EQ(get_records(sample), records[sample]);
            }
        }
    };
    expect_kept(3, 3);
    expect_kept(3, 5);
    expect_kept(2, 2);
    expect_kept(2, 4);
    expect_kept(1, 1);
    expect_kept(1, 3);
    expect_kept(0, 0);
    expect_kept(0, 2);
}

TYPED_TEST(MotionSamples, AnEmptyTreeTakesNoBoxes) {
    TypeParam empty;
    empty.set_motion_blur_sample_count(2);
    EXPECT_EQ(empty.get_motion_blur_sample_count(), 2u);
    EXPECT_TRUE(empty.refit_motion_blur_sample({}, 1));
    EXPECT_TRUE(empty.refit_motion_blur_sample({}, 1));
    EXPECT_FALSE(empty.refit_motion_blur_sample({}, 2));
    EXPECT_FALSE(empty.refit_motion_blur_sample(to_boxes({point_box(0, 0, 0)}), 1));
    EXPECT_EQ(empty.get_blurred_bbox(1), GMathBbox3<float>());
    if constexpr (is_compressed<TypeParam>) {
        EXPECT_EQ(empty.get_motion_blur_records(1), nullptr);
    }
    empty.clear();
    EXPECT_EQ(empty.get_motion_blur_sample_count(), 0u);
}

TYPED_TEST(MotionSamples, ABuildAfterTheCountDropsIt) {
    TypeParam empty;
    empty.set_motion_blur_sample_count(2);
    support::build(empty, first_boxes());
    EXPECT_EQ(empty.get_motion_blur_sample_count(), 0u);
    EXPECT_FALSE(empty.refit_motion_blur_sample(to_boxes(first_boxes()), 0));
}

TYPED_TEST(MotionSamples, TheCountMayBeARereadOfTheTrees) {
    this->tree.set_motion_blur_sample_count(3);
    this->tree.set_motion_blur_sample_count(this->tree.get_motion_blur_sample_count());
    EXPECT_EQ(this->tree.get_motion_blur_sample_count(), 3u);
    this->tree.set_motion_blur_sample_count(this->tree.get_node_count());
    EXPECT_EQ(this->tree.get_motion_blur_sample_count(), this->tree.get_node_count());
}

TYPED_TEST(MotionSamples, BoxesThatAreNoneAreRefittedWithoutHarm) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    std::vector<Box> boxes = first_boxes();
    this->tree.set_motion_blur_sample_count(1);
    boxes[3] = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
    boxes[9] = {{-infinity, -3e38f, 0}, {infinity, 3e38f, 0}};
    boxes[21] = point_box(not_a_number, not_a_number, not_a_number);
    EXPECT_TRUE(this->tree.refit_motion_blur_sample(to_boxes(boxes), 0));
    EXPECT_TRUE(this->has_sample(this->tree, 0));
}
