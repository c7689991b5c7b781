#include <gtest/gtest.h>

#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_counter.h>
#include <tests/support/nested_tracer.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// Frames grow with the first queries; from then on a query allocates nothing.

namespace {

using support::RayQuery;
using support::TestShader;

TEST(RayWalkAllocation, GrownFramesServeEveryQueryWithoutAllocating) {
    support::NestedTracer<GasTree> tracer(1);
    const support::AllocationCounts fresh = support::get_allocation_counts();
    tracer.run();
    const support::AllocationCounts grown = support::get_allocation_counts();
    const unsigned called = tracer.called;
    tracer.run();
    const support::AllocationCounts after = support::get_allocation_counts();

    EXPECT_GT(grown.allocations, fresh.allocations);
    EXPECT_EQ(after.allocations, grown.allocations);
    EXPECT_EQ(after.releases, grown.releases);
    EXPECT_GT(called, 1000u);
    EXPECT_GT(tracer.called, called);
}

TEST(RayWalkAllocation, AShallowerTreeNeedsNoNewMemoryAndADeeperOneOneStack) {
    GasTree shallow;
    GasTree deep;
    support::build(shallow, support::row_of_boxes(4));
    support::build(deep, support::row_of_boxes(64));
    TestShader shader;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    const auto count = [&](const GasTree& tree) {
        const std::uint64_t before = support::get_allocation_counts().allocations;
        trace(tree, RayQuery::hit_static, shader, batch.get_ctx());
        return support::get_allocation_counts().allocations - before;
    };
    EXPECT_EQ(count(shallow), 2u); // the next frame and this one's stack
    EXPECT_EQ(count(shallow), 0u);
    EXPECT_EQ(count(deep), 1u);
    EXPECT_EQ(count(deep), 0u);
    EXPECT_EQ(count(shallow), 0u);
}

TEST(RayWalkAllocation, OneLeafWithTheShortcutNeedsNoMemory) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(1));
    CtxShader bare;
    GeometryRayBatch batch(4);
    const std::uint64_t before = support::get_allocation_counts().allocations;
    for (const RayQuery query : support::all_ray_queries)
        trace(tree, query, bare, batch.get_ctx(), true);
    EXPECT_EQ(support::get_allocation_counts().allocations, before);
}

TEST(RayWalkAllocation, AFailedAllocationPassesThroughAndTheNextQueryWorks) {
    support::NestedTracer<GasTree> tracer(2);
    for (std::uint64_t nth = 0;; ++nth) {
        const void* const tree_ctx = tracer.shader.tree_ctx_slot;
        const void* const ray_frame = tracer.shader.ray_frame_slot;
        bool has_failed = false;
        {
            const support::FailingAllocation failing(nth);
            try {
                tracer.run();
            } catch (const std::bad_alloc&) {
            }
            has_failed = failing.has_failed();
        }
        EXPECT_EQ(tracer.shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(tracer.shader.ray_frame_slot, ray_frame);
        if (!has_failed)
            break;
        ASSERT_LT(nth, 100u);
        GasObject::destroy_ctx(tracer.shader);
        GasObject::create_ctx(tracer.shader);
    }
}

} // namespace
