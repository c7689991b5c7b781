#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_tree.h>

#include "../support/allocation_counter.h"
#include "../support/recording_callbacks.h"
#include "../support/row_of_boxes.h"
#include "../support/scenes.h"
#include "../support/test_shader.h"

// Frames grow with the first queries; from then on a query allocates nothing.

namespace {

using naive::Box;
using support::RayQuery;
using support::TestShader;

constexpr unsigned ray_count = 32;

/// What the callbacks need, made before counting starts.
struct Tracer {
    explicit Tracer(unsigned seed) : rays(ray_count), nested_rays(2) {
        const std::vector<Box> boxes = scenes::make(scenes::Kind::grid, 343, seed);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes, boxes});
        support::build(nested_tree, boxes, naive::Split::median);
        support::fill_samples(nested_tree, {boxes, boxes, boxes});
        tree.set_leaf_raytrace_callbacks(trace_nested, trace_nested, this);
        nested_tree.set_leaf_raytrace_callbacks(hit_some, hit_some, this);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        for (unsigned ray = 0; ray < ray_count; ++ray) {
            rays.set_ray(ray, {-1.0, 0.2 * ray, 3.1}, {1.0, 0.01, 0.02}, 0.0, 1000.0,
                         static_cast<float>(ray) / 31.0f, static_cast<int>(ray % 6));
        }
        for (unsigned ray = 0; ray < 2; ++ray)
            nested_rays.set_ray(ray, {8.0, 1.5, 2.5}, {-1.0, 0.01, 0.02}, 0.0, 1000.0);
    }

    static void hit_some(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                         GeometryRaytraceCtx& ctx) {
        ++static_cast<Tracer*>(user)->called;
        if (item % 7 == 0)
            support::for_each_ray(ctx,
                                  [&](unsigned ray) { ctx.record_nearest_hit(ray, 100.0, item); });
    }

    static void trace_nested(void* user, const unsigned& item, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
        Tracer& self = *static_cast<Tracer*>(user);
        self.nested_rays.reset_hits();
        self.nested_rays.get_data().set_range(0, item % 2 ? 1 : 0);
        trace(self.nested_tree, self.query, shader, self.nested_rays.get_ctx(), false, eval);
        hit_some(user, item, eval, shader, ctx);
    }

    void run() {
        for (const RayQuery each : support::all_ray_queries) {
            query = each;
            rays.reset_hits();
            rays.get_data().set_range(0, static_cast<int>(ray_count) - 1);
            trace(tree, query, shader, rays.get_ctx());
            rays.reset_hits();
            for (int ray = 0; ray < static_cast<int>(ray_count); ++ray) {
                rays.get_data().set_range(ray, ray);
                trace(tree, query, shader, rays.get_ctx());
            }
        }
    }

    GasTree tree;
    GasTree nested_tree;
    TestShader shader;
    GeometryRayBatch rays;
    GeometryRayBatch nested_rays;
    RayQuery query = RayQuery::hit_static;
    unsigned called = 0;
};

TEST(RayWalkAllocation, GrownFramesServeEveryQueryWithoutAllocating) {
    Tracer tracer(1);
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
    Tracer tracer(2);
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
