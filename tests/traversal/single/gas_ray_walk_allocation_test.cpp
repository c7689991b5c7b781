// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// A frame keeps the deepest stack that a walk needed.

TEST(RayWalkAllocation, AShallowerTreeNeedsNoNewMemoryAndADeeperOneOneStack) {
    GasTree shallow;
    GasTree deep;
    support::build(shallow, support::row_of_boxes(4));
    support::build(deep, support::row_of_boxes(64));
    support::TestShader shader;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    const auto count = [&](const GasTree& tree) {
        return support::count_allocations(
            [&] { support::trace(tree, support::RayQuery::hit_static, shader, batch.get_ctx()); });
    };
    EXPECT_EQ(count(shallow), 2u); // the next frame and this one's stack
    EXPECT_EQ(count(shallow), 0u);
    EXPECT_EQ(count(deep), 1u);
    EXPECT_EQ(count(deep), 0u);
    EXPECT_EQ(count(shallow), 0u);
}
