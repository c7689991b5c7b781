// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include <gas/isa/gas_instruction_set.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

namespace {

/// Ends with the instruction set in use that it found.
class InstructionSet : public testing::Test {
  protected:
    InstructionSet() : m_before(gas_get_instruction_set()) {}
    ~InstructionSet() override { gas_set_instruction_set(m_before); }

    static constexpr GasInstructionSet all[] = {GasInstructionSet::baseline,
                                                GasInstructionSet::avx2};

  private:
    GasInstructionSet m_before;
};

TEST_F(InstructionSet, HasAName) {
    EXPECT_STREQ(gas_get_instruction_set_name(GasInstructionSet::baseline), "baseline");
    EXPECT_STREQ(gas_get_instruction_set_name(GasInstructionSet::avx2), "avx2");
}

TEST_F(InstructionSet, IsFoundByItsName) {
    for (const GasInstructionSet set : all) {
        auto found = static_cast<GasInstructionSet>(7);
        EXPECT_TRUE(gas_find_instruction_set(gas_get_instruction_set_name(set), found));
        EXPECT_EQ(found, set);
    }
    GasInstructionSet found = GasInstructionSet::avx2;
    for (const char* name : {"", "AVX2", "avx", "baseline "})
        EXPECT_FALSE(gas_find_instruction_set(name, found)) << name;
    EXPECT_EQ(found, GasInstructionSet::avx2);
}

TEST_F(InstructionSet, BaselineIsAlwaysThere) {
    EXPECT_TRUE(gas_has_instruction_set(GasInstructionSet::baseline));
}

TEST_F(InstructionSet, IsUsedOnceItIsSet) {
    for (const GasInstructionSet set : all) {
        const GasInstructionSet before = gas_get_instruction_set();
        const bool has = gas_has_instruction_set(set);
        EXPECT_EQ(gas_set_instruction_set(set), has);
        EXPECT_EQ(gas_get_instruction_set(), has ? set : before);
    }
}

TEST_F(InstructionSet, ThatIsNoneIsRefused) {
    const auto none = static_cast<GasInstructionSet>(7);
    const GasInstructionSet before = gas_get_instruction_set();
    EXPECT_FALSE(gas_has_instruction_set(none));
    EXPECT_FALSE(gas_set_instruction_set(none));
    EXPECT_EQ(gas_get_instruction_set(), before);
}

/// A choice holds for the next query, whichever set traced the one before.
TEST_F(InstructionSet, MayChangeBetweenQueries) {
    GasTree tree;
    tree.set_wide_nodes(true);
    support::build(tree, support::row_of_boxes(16));
    support::RecordingCallbacks calls(tree);
    support::TestShader shader;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    for (unsigned round = 0; round < 2; ++round)
        for (const GasInstructionSet set : all) {
            if (!gas_has_instruction_set(set))
                continue;
            ASSERT_TRUE(gas_set_instruction_set(set));
            tree.ray_hit_static(CtxEval(), shader, batch.get_ctx(), false);
            ASSERT_EQ(calls.calls.size(), 16u);
            for (unsigned leaf = 0; leaf < 16; ++leaf)
                EXPECT_EQ(calls.calls[leaf].item, leaf);
            calls.calls.clear();
        }
}

} // namespace
