// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/scenes.h>
#include <tests/support/small_stack.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

// A renderer may build on first touch: a leaf callback builds a deep tree of its own and traces it.
TEST(DeepTreesOfCallbacks, AreBuiltRefittedAndTracedInsideACallback) {
    const std::vector<naive::Box> boxes = scenes::sheet(3000, 0.9375f);
    struct Inner {
        CoreArray<GMathBbox3<float>> boxes;
        GasTree tree;
        unsigned calls = 0;
    };
    Inner inner;
    inner.boxes = support::to_boxes(boxes);
    const GasLeafCallback count_leaf = [](void* user, const unsigned&, const CtxEval&, CtxShader&,
                                          GeometryRaytraceCtx&) {
        ++static_cast<Inner*>(user)->calls;
    };
    inner.tree.set_leaf_raytrace_callbacks(count_leaf, nullptr, &inner);
    const GasLeafCallback build_inner = [](void* user, const unsigned&, const CtxEval& eval,
                                           CtxShader& shader, GeometryRaytraceCtx& ctx) {
        Inner& built = *static_cast<Inner*>(user);
        support::QuietProgress progress(naive::Split::sah);
        built.tree.create(built.boxes, nullptr, &progress.bar, 1.0f);
        EXPECT_TRUE(built.tree.refit(built.boxes));
        built.tree.ray_hit_static(eval, shader, ctx, false);
    };
    const GMathBbox3<float> outer_boxes[2] = {{{-1, -1, -1}, {1, 1, 1}}, {{5, 5, 5}, {6, 6, 6}}};
    GasTree outer;
    outer.create(outer_boxes, 2, nullptr, nullptr, 1.0f);
    outer.set_leaf_raytrace_callbacks(build_inner, nullptr, &inner);

    support::run_on_a_small_stack([&] {
        support::TestShader shader;
        const CtxEval eval;
        GeometryRayBatch batch(1);
        batch.set_ray(0, {0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, 0.0, 1e39);
        outer.ray_hit_static(eval, shader, batch.get_ctx(), false);
    });
    EXPECT_GT(inner.tree.get_depth(), 1600u);
    EXPECT_EQ(support::find_flaw(inner.tree, boxes), "");
    EXPECT_EQ(inner.calls, 3000u); // the ray runs along the sheet, across every line
}
