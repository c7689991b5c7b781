// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <vector>

#include <gas/isa/gas_instruction_set.h>
#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/tree_checker.h>
#include <tests/support/wide_checker.h>

namespace {

using naive::Box;
using support::to_boxes;

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Each test goes through all instruction sets and ends with the one in use that it found.
class NodePass : public testing::Test {
  protected:
    NodePass() : m_before(gas_get_instruction_set()) {}
    ~NodePass() override { gas_set_instruction_set(m_before); }

    template <typename Check> static void for_each_set(const Check& check) {
        for (const GasInstructionSet set : {GasInstructionSet::baseline, GasInstructionSet::avx2}) {
            if (!gas_set_instruction_set(set))
                continue;
            SCOPED_TRACE(gas_get_instruction_set_name(set));
            check();
        }
    }

  private:
    GasInstructionSet m_before;
};

/// Coordinates for which the order of operands, the sign of a zero or a NaN's bits show.
std::vector<Box> make_hostile_boxes(unsigned count, unsigned seed) {
    constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
    constexpr float values[] = {
        0.0f,     -0.0f,     1.0f,         -1.0f,
        infinity, -infinity, not_a_number, -not_a_number,
        FLT_MAX,  -FLT_MAX,  FLT_MIN,      std::numeric_limits<float>::denorm_min()};
    support::SeededRandom random(seed);
    std::vector<Box> boxes(count);
    for (Box& box : boxes)
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = values[random.below(12)];
            box.max[axis] = values[random.below(12)];
        }
    return boxes;
}

TEST_F(NodePass, TakeWhateverBoxesHold) {
    for_each_set([] {
        for (const unsigned count : {2u, 3u, 40u, 700u}) {
            GasTree tree;
            tree.set_wide_nodes(true);
            support::build(tree, scenes::make(scenes::Kind::random, count, count));
            tree.set_motion_blur_sample_count(2);
            for (unsigned seed = 0; seed < 20; ++seed) {
                const std::vector<Box> boxes = make_hostile_boxes(count, seed);
                ASSERT_TRUE(tree.refit(to_boxes(boxes)));
                ASSERT_EQ(support::find_flaw(tree, boxes), "") << count << " boxes, " << seed;
                ASSERT_TRUE(tree.refit_motion_blur_sample(to_boxes(boxes), 1));
                ASSERT_EQ(support::find_sample_flaw(tree, boxes, 1), "") << count << ", " << seed;
            }
        }
    });
}

TEST_F(NodePass, FillWideNodesAndSamples) {
    for_each_set([] {
        for (const scenes::Kind kind : scenes::all_kinds()) {
            const std::vector<Box> first = scenes::make(scenes::Kind::random, 300, 1);
            const std::vector<Box> second = scenes::make(kind, 300, 2);
            GasTree tree;
            tree.set_wide_nodes(true);
            support::build(tree, first);
            ASSERT_TRUE(tree.refit(to_boxes(second)));
            support::fill_samples(tree, {second, first, second});
            EXPECT_EQ(support::find_wide_flaw(tree), "") << scenes::name(kind);
        }
    });
}

// A box without end on both sides has no centre. Wide nodes take it, other walks ask for a centre.
TEST_F(NodePass, TellBoxesWithoutACentre) {
    for_each_set([] {
        std::vector<Box> boxes = scenes::make(scenes::Kind::random, 300, 3);
        GasTree tree;
        tree.set_wide_nodes(true);
        support::build(tree, boxes);
        const auto refit_to = [&](unsigned axis, float min, float max) {
            std::vector<Box> changed = boxes;
            changed[7].min[axis] = min;
            changed[200].max[axis] = max;
            ASSERT_TRUE(tree.refit(to_boxes(changed)));
        };
        for (unsigned axis = 0; axis < 3; ++axis) {
            // No item, but the root.
            refit_to(axis, -infinity, infinity);
            EXPECT_TRUE(GasTraversalAccess::are_boxes_ordered(tree));
            std::vector<Box> changed = boxes;
            changed[7].min[axis] = -infinity;
            changed[7].max[axis] = infinity;
            ASSERT_TRUE(tree.refit(to_boxes(changed)));
            EXPECT_FALSE(GasTraversalAccess::are_boxes_ordered(tree));
            EXPECT_NE(support::get_wide_nodes(tree), nullptr);
            refit_to(axis, -infinity, 1e9f);
            EXPECT_TRUE(GasTraversalAccess::are_boxes_ordered(tree));
        }
    });
}

} // namespace
