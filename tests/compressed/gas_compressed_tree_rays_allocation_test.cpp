// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// What frames grow by.

namespace {

using support::count_allocations;
using support::RayQuery;
using support::TestShader;

/// Traces rays along the row, alone or two at once.
std::uint64_t count_of_rays(const GasCompressedTree& tree, RayQuery query, CtxShader& shader,
                            unsigned ray_count) {
    GeometryRayBatch batch(2);
    for (unsigned ray = 0; ray < 2; ++ray)
        batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
    batch.get_data().set_range(0, static_cast<int>(ray_count) - 1);
    return count_allocations([&] { trace(tree, query, shader, batch.get_ctx()); });
}

} // namespace

TEST(CompressedRaysAllocation, ARayGrowsItsStackAndItsBoxesOnly) {
    GasCompressedTree shallow;
    GasCompressedTree deep;
    support::build(shallow, support::row_of_boxes(4));
    support::build(deep, support::row_of_boxes(64));
    support::fill_samples(deep, {support::row_of_boxes(64), support::row_of_boxes(64)});
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    const GasTreeCtx& frame = shader.get_tree_ctx();
    // The next frame, this one's stack and its boxes.
    EXPECT_EQ(count_of_rays(shallow, RayQuery::hit_static, shader, 1), 3u);
    EXPECT_EQ(frame.decoded_box_capacity, frame.stack_capacity);
    EXPECT_EQ(count_of_rays(shallow, RayQuery::nearest_static, shader, 1), 0u);
    EXPECT_EQ(count_of_rays(deep, RayQuery::nearest_static, shader, 1), 2u);
    EXPECT_EQ(count_of_rays(deep, RayQuery::hit_static, shader, 1), 0u);
    EXPECT_EQ(count_of_rays(shallow, RayQuery::hit_static, shader, 1), 0u);
    // A motion ray keeps two boxes for each waiting node.
    EXPECT_EQ(count_of_rays(deep, RayQuery::nearest_motion, shader, 1), 1u);
    EXPECT_EQ(frame.decoded_box_capacity, 2 * frame.stack_capacity);
    EXPECT_EQ(count_of_rays(deep, RayQuery::hit_motion, shader, 1), 0u);
    EXPECT_EQ(frame.node_state_capacity, 0u);
    // A batch needs the two other slot buffers, the next batch frame and packets.
    EXPECT_EQ(count_of_rays(deep, RayQuery::nearest_static, shader, 2), 4u);
    EXPECT_EQ(frame.node_state_capacity, frame.stack_capacity);
    EXPECT_EQ(frame.decoded_box_capacity, 2 * frame.stack_capacity);
    for (const RayQuery query : support::all_ray_queries)
        EXPECT_EQ(count_of_rays(deep, query, shader, 2), 0u);
}

TEST(CompressedRaysAllocation, AStreamAllocatesNothingOnceFramesHaveGrown) {
    GasCompressedTree tree;
    const std::vector<naive::Box> boxes = support::row_of_boxes(64);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    for (const unsigned ray_count : {5u, 40u, 400u}) {
        GeometryRayBatch batch(ray_count);
        const auto count = [&](RayQuery query) {
            for (unsigned ray = 0; ray < ray_count; ++ray)
                batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
            return count_allocations([&] { trace_stream(tree, query, shader, batch.get_ctx()); });
        };
        for (const RayQuery query : support::all_ray_queries)
            count(query);
        for (const RayQuery query : support::all_ray_queries)
            EXPECT_EQ(count(query), 0u) << support::name(query) << ", " << ray_count << " rays";
    }
}
