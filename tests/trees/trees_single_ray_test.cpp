// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/row_ray.h>
#include <tests/support/tree_kinds.h>

// Queries for one ray on the stack, nested; a query's own pointer.

namespace {

using support::row_of_boxes;
using support::TestShader;

constexpr unsigned depth_limit = 12;

/// The same tree inside each of its items, down to the limit: the innermost gives the hits.
template <typename Tree> struct Nest {
    const Tree* tree;
    unsigned depth = 0;
};

template <typename Tree>
void hit_nest(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
              GeometryRaytraceCtx& ctx) {
    Nest<Tree>& nest = *static_cast<Nest<Tree>*>(user);
    if (nest.depth == depth_limit) {
        const double distance = ctx.get_ray(0).line.get_origin().x + 10.0 * item + 2.0;
        ctx.record_nearest_hit(0, distance, item);
        return;
    }
    GeometrySingleRay inner(ctx.get_ray(0).line.get_origin(), ctx.get_ray(0).line.get_direction(),
                            ctx.get_tnear(0), ctx.get_intersection_path(0).get_hit_distance());
    ++nest.depth;
    trace(*nest.tree, support::RayQuery::nearest_static, shader, inner.get_ctx(), false, eval);
    --nest.depth;
    if (inner.is_hit())
        ctx.record_nearest_hit(0, inner.get_hit_distance(), item + inner.get_item());
}

template <typename Tree> class TreesSingleRay : public testing::Test {};
TYPED_TEST_SUITE(TreesSingleRay, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesSingleRay, FindsWhatABatchOfOneRayFinds) {
    TypeParam tree;
    support::build(tree, row_of_boxes(30));
    support::fill_samples(tree, {row_of_boxes(30), row_of_boxes(30, 3.0f)});
    support::RecordingCallbacks calls(tree);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 3)
            rays.set_hit(0);
        if (rays.get_data().get_intersection_map())
            rays.record_nearest_hit(0, 10.0 * item + 1.5, item);
    };
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    for (const support::RayQuery query : support::all_ray_queries) {
        support::for_each_walk(tree, [&] {
            GeometryRayBatch batch(1);
            batch.set_ray(0, {305.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 1.0, 290.0, 0.5f, 2);
            trace(tree, query, shader, batch.get_ctx());
            const std::vector<unsigned> items = calls.take_items();
            EXPECT_FALSE(items.empty());
            GeometrySingleRay ray({305.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 1.0, 290.0, 0.5f, 3);
            trace(tree, query, shader, ray.get_ctx());
            EXPECT_EQ(calls.take_items(), items) << support::name(query);
            EXPECT_EQ(ray.is_hit(), batch.is_hit(0));
            EXPECT_EQ(ray.get_hit_distance(), batch.get_hit_distance(0));
            EXPECT_EQ(ray.get_item(), batch.get_item(0));
        });
    }
}

TYPED_TEST(TreesSingleRay, EveryCallbackFindsTheQuerysPointer) {
    TypeParam tree;
    support::build(tree, row_of_boxes(30));
    support::fill_samples(tree, {row_of_boxes(30), row_of_boxes(30)});
    support::RecordingCallbacks calls(tree);
    unsigned found = 0;
    unsigned missed = 0;
    calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        ++(rays.get_query_data() == &found ? found : missed);
    };
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    for (const support::RayQuery query : support::all_ray_queries) {
        support::for_each_walk(tree, [&] {
            GeometryRayBatch batch(300);
            batch.get_data().set_query_data(&found);
            for (unsigned ray = 0; ray < 300; ++ray)
                batch.set_ray(ray, {-1.0, 0.1 + 0.002 * ray, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
            found = 0;
            trace(tree, query, shader, batch.get_ctx());
            EXPECT_GT(found, 0u) << support::name(query);
            found = 0;
            trace_stream(tree, query, shader, batch.get_ctx());
            EXPECT_GT(found, 0u) << support::name(query);
            GeometrySingleRay ray({-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
            ray.get_data().set_query_data(&found);
            found = 0;
            trace(tree, query, shader, ray.get_ctx());
            EXPECT_GT(found, 0u) << support::name(query);
        });
    }
    EXPECT_EQ(missed, 0u);
}

TYPED_TEST(TreesSingleRay, NestsDeepWithoutAnAllocation) {
    TypeParam tree;
    support::build(tree, row_of_boxes(2));
    Nest<TypeParam> nest = {&tree};
    tree.set_leaf_raytrace_callbacks(nullptr, hit_nest<TypeParam>, &nest);
    TestShader shader;
    const auto run = [&] {
        GeometrySingleRay ray({-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        trace(tree, support::RayQuery::nearest_static, shader, ray.get_ctx());
        EXPECT_TRUE(ray.is_hit());
        EXPECT_EQ(ray.get_hit_distance(), 1.0);
        EXPECT_EQ(ray.get_item(), 0u);
    };
    run(); // frames grow
    EXPECT_EQ(support::count_allocations(run), 0u);
}
