// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_kinds.h>
#include <tests/support/working_range.h>

// Whatever trees are made of and whatever was done to them, nothing is wrong with them.

namespace {

using naive::Box;
using Boxes = CoreArray<GMathBbox3<float>>;
using Flaws = std::vector<std::string>;

template <typename Tree> class TreesValidate : public testing::Test {
  protected:
    static std::vector<Box> make(scenes::Kind kind, unsigned count, std::uint64_t seed) {
        const std::vector<Box> boxes = scenes::make(kind, count, seed);
        return support::is_compressed<Tree> ? support::fit_to_range(boxes) : boxes;
    }

    void expect_right(const Boxes& boxes, const std::vector<Boxes>& samples = {}) const {
        std::vector<const GMathBbox3<float>*> sample_boxes;
        for (const Boxes& sample : samples)
            sample_boxes.push_back(sample.get_items());
        GasValidateSettings settings;
        settings.bboxes = boxes.get_items();
        settings.sample_bboxes = samples.empty() ? nullptr : sample_boxes.data();
        EXPECT_EQ(gas_validate(m_tree, settings), Flaws());
        EXPECT_EQ(gas_validate(m_tree), Flaws());
    }

    /// Wide nodes, motion-blur samples, the last of which is not filled, new boxes.
    void change(const std::vector<Box>& boxes, const std::vector<Box>& others) {
        const Boxes first = support::to_boxes(boxes);
        const Boxes second = support::to_boxes(others);
        expect_right(first);
        if constexpr (!support::is_compressed<Tree>) {
            m_tree.set_wide_nodes(!m_tree.has_wide_nodes());
            expect_right(first);
        }
        m_tree.set_motion_blur_sample_count(3);
        ASSERT_TRUE(m_tree.refit_motion_blur_sample(second, 0));
        expect_right(first, {second, first, first});
        ASSERT_TRUE(m_tree.refit_motion_blur_sample(first, 1));
        expect_right(first, {second, first, first});
        if constexpr (!support::is_compressed<Tree>) {
            ASSERT_TRUE(m_tree.refit(second));
            expect_right(second, {second, first, first});
        }
        m_tree.set_motion_blur_sample_count(1);
    }

    Tree m_tree;
};

TYPED_TEST_SUITE(TreesValidate, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesValidate, NothingIsWrongWithAnEmptyTree) {
    EXPECT_EQ(gas_validate(this->m_tree), Flaws());
    support::build(this->m_tree, support::row_of_boxes(5));
    this->m_tree.clear();
    EXPECT_EQ(gas_validate(this->m_tree), Flaws());
}

TYPED_TEST(TreesValidate, NothingIsWrongWithBuildsRefitsAndSamples) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {1u, 2u, 3u, 40u, 300u}) {
            const std::vector<Box> boxes = this->make(kind, count, count);
            for (const naive::Split split : support::all_splits) {
                SCOPED_TRACE(std::string(scenes::name(kind)) + ", " + std::to_string(count) + ", " +
                             support::name(split));
                support::build(this->m_tree, boxes, split);
                this->change(boxes, this->make(kind, count, count + 1));
            }
        }
    }
}

// On several threads, and over boxes that no tree can do much with.
TYPED_TEST(TreesValidate, NothingIsWrongWithBuildsOnThreadsAndOverAnyBoxes) {
    support::SeededRandom random(7);
    SysThreadTaskManager manager(nullptr);
    for (unsigned round = 0; round < 24; ++round) {
        SCOPED_TRACE(round);
        const unsigned count = 1 + random.below(round % 3 ? 90 : 3000);
        std::vector<Box> boxes = this->make(scenes::Kind::random, count, round);
        std::vector<Box> others = this->make(scenes::Kind::clustered, count, round);
        if (!support::is_compressed<TypeParam> && round % 2) {
            support::spoil(boxes, random, 6);
            support::spoil(others, random, 30);
        }
        const Boxes items = support::to_boxes(boxes);
        this->m_tree.create(items.get_items(), count, nullptr,
                            support::all_build_methods[round % 4], manager, 1 + round % 4);
        this->change(boxes, others);
    }
}

TYPED_TEST(TreesValidate, OtherBoxesThanThoseOfTheBuildAreTold) {
    support::build(this->m_tree, support::row_of_boxes(9));
    Boxes boxes = support::to_boxes(support::row_of_boxes(9));
    boxes[4].max.x += 0.5f;
    GasValidateSettings settings;
    settings.bboxes = boxes.get_items();
    const Flaws flaws = gas_validate(this->m_tree, settings);
    ASSERT_FALSE(flaws.empty());
    EXPECT_NE(
        flaws.back().find(support::is_compressed<TypeParam>
                              ? "the decoded box of item 4 does not contain the item's, along x"
                              : "the box is not that of its item 4"),
        std::string::npos)
        << flaws.back();
}
