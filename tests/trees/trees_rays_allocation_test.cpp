// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/nested_tracer.h>
#include <tests/support/tree_kinds.h>

// Frames grow with the first queries; from then on a query allocates nothing.

namespace {

using support::count_allocations;
using support::count_live_blocks;
using support::NestedTracer;

template <typename Tree> class RaysAllocations : public testing::Test {};
TYPED_TEST_SUITE(RaysAllocations, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(RaysAllocations, GrownFramesServeEveryQueryWithoutAllocating) {
    NestedTracer<TypeParam> tracer(1);
    EXPECT_GT(count_allocations([&] { tracer.run(); }), 0u);
    const unsigned called = tracer.called;
    const std::int64_t live = count_live_blocks();
    EXPECT_EQ(count_allocations([&] { tracer.run(); }), 0u);
    EXPECT_EQ(count_live_blocks(), live);
    EXPECT_GT(called, 1000u);
    EXPECT_GT(tracer.called, called);
}

TYPED_TEST(RaysAllocations, OneLeafWithTheShortcutNeedsNoMemory) {
    TypeParam tree;
    support::build(tree, support::row_of_boxes(1));
    CtxShader bare;
    GeometryRayBatch batch(4);
    for (const support::RayQuery query : support::all_ray_queries) {
        EXPECT_EQ(count_allocations([&] { trace(tree, query, bare, batch.get_ctx(), true); }), 0u)
            << support::name(query);
    }
}

TYPED_TEST(RaysAllocations, AFailedAllocationPassesThroughAndTheNextQueryWorks) {
    NestedTracer<TypeParam> tracer(2);
    for (std::uint64_t nth = 0;; ++nth) {
        const void* const tree_ctx = tracer.shader.tree_ctx_slot;
        const void* const ray_frame = tracer.shader.ray_frame_slot;
        const support::Attempt attempt = support::attempt(nth, [&] { tracer.run(); });
        EXPECT_EQ(tracer.shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(tracer.shader.ray_frame_slot, ray_frame);
        EXPECT_EQ(attempt.thrown, attempt.reached);
        if (!attempt.reached)
            break;
        // The frames that were left half grown serve as well as new ones.
        if (nth % 2)
            tracer.run();
        ASSERT_LT(nth, 100u);
        GasObject::destroy_ctx(tracer.shader);
        GasObject::create_ctx(tracer.shader);
    }
}
