#include <gtest/gtest.h>

#include <algorithm>

#include <tests/support/scenes.h>
#include <tests/support/small_stack.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using naive::Split;
using support::run_on_a_small_stack;

/// Builds by every method on a small stack, checks the trees and returns the largest depth.
unsigned build_deep_trees(const std::vector<Box>& boxes) {
    const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
    unsigned deepest = 0;
    for (const Split split : support::all_splits) {
        support::QuietProgress progress(split);
        GasTree tree;
        run_on_a_small_stack([&] { tree.create(array, nullptr, &progress.bar, 1.0f); });
        EXPECT_EQ(support::find_flaw(tree, boxes), "") << support::name(split);
        EXPECT_EQ(support::find_difference(tree, naive::build(boxes, split)), "")
            << support::name(split);
        EXPECT_NEAR(progress.bar.get_value(), 1.0f, 1e-4f) << support::name(split);
        deepest = std::max(deepest, tree.get_depth());
    }
    return deepest;
}

} // namespace

// 276 halvings lead from 2^126 to 0; the boxes behind coincide there.
TEST(DeepTrees, HalvingChainsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(400, 0.5f, axis)), 100u);
}

TEST(DeepTrees, ChainsOfFifteenSixteenthsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(3000, 0.9375f, axis)), 100u);
}

// Their areas overflow, so that no cost is a number, and the last cut or the cut in half wins.
TEST(DeepTrees, SheetsBuildOnASmallStack) {
    EXPECT_GT(build_deep_trees(scenes::sheet(400, 0.5f)), 100u);
    EXPECT_GT(build_deep_trees(scenes::sheet(3000, 0.9375f)), 1600u);
}

// A renderer may build on first touch: a leaf callback builds a deep tree of its own and traces it.
TEST(DeepTrees, AreBuiltRefittedAndTracedInsideACallback) {
    const std::vector<Box> boxes = scenes::sheet(3000, 0.9375f);
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
        support::QuietProgress progress(Split::sah);
        built.tree.create(built.boxes, nullptr, &progress.bar, 1.0f);
        EXPECT_TRUE(built.tree.refit(built.boxes));
        built.tree.ray_hit_static(eval, shader, ctx, false);
    };
    const GMathBbox3<float> outer_boxes[2] = {{{-1, -1, -1}, {1, 1, 1}}, {{5, 5, 5}, {6, 6, 6}}};
    GasTree outer;
    outer.create(outer_boxes, 2, nullptr, nullptr, 1.0f);
    outer.set_leaf_raytrace_callbacks(build_inner, nullptr, &inner);

    run_on_a_small_stack([&] {
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
