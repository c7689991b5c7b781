#include <gtest/gtest.h>

#include <algorithm>

#include <tests/support/compressed_checker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/small_stack.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using naive::Split;
using support::RayQuery;
using support::run_on_a_small_stack;

/// Builds and refits by every method on a small stack, checks the trees and returns the largest
/// depth.
unsigned build_deep_trees(const std::vector<Box>& boxes) {
    const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
    unsigned deepest = 0;
    for (const Split split : support::all_splits) {
        support::QuietProgress progress(split);
        GasCompressedTree tree;
        run_on_a_small_stack([&] {
            tree.create(array, nullptr, &progress.bar);
            tree.set_motion_blur_sample_count(1);
            EXPECT_TRUE(tree.refit_motion_blur_sample(array, 0));
        });
        EXPECT_EQ(support::find_flaw(tree, boxes), "") << support::name(split);
        EXPECT_EQ(support::find_sample_flaw(tree, boxes, 0), "") << support::name(split);
        EXPECT_EQ(tree.get_depth(), naive::build(boxes, split).depth) << support::name(split);
        EXPECT_EQ(progress.bar.get_value(), 1.0f) << support::name(split);
        deepest = std::max(deepest, tree.get_depth());
    }
    return deepest;
}

/// A tree of over a thousand levels, with samples, whose boxes a ray along y crosses one by one.
class DeepCompressedRays : public testing::TestWithParam<RayQuery> {
  protected:
    static constexpr unsigned item_count = 3000;

    DeepCompressedRays() {
        const std::vector<Box> boxes = scenes::sheet(item_count, 0.9375f);
        support::build(tree, boxes, Split::sah);
        support::fill_samples(tree, {boxes, boxes});
        tree.set_leaf_raytrace_callbacks(count_leaf, count_leaf, this);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    static void count_leaf(void* user, const unsigned&, const CtxEval&, CtxShader&,
                           GeometryRaytraceCtx&) {
        ++static_cast<DeepCompressedRays*>(user)->calls;
    }

    void expect_all_leaves(const GMathVec3<double>& origin, const GMathVec3<double>& direction,
                           unsigned ray_count) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, origin, direction, 0.0, 1e39, 0.5f);
        calls = 0;
        run_on_a_small_stack([&] { trace(tree, GetParam(), shader, batch.get_ctx()); });
        const bool together = support::goes_together(GetParam());
        EXPECT_EQ(calls, item_count * (together ? 1 : ray_count));
    }

    GasCompressedTree tree;
    support::TestShader shader;
    unsigned calls = 0;
};

} // namespace

// 276 halvings lead from 2^126 to 0; the boxes behind coincide there.
TEST(DeepCompressedTrees, HalvingChainsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(400, 0.5f, axis)), 100u);
}

TEST(DeepCompressedTrees, ChainsOfFifteenSixteenthsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(3000, 0.9375f, axis)), 100u);
}

// Their areas overflow, so that no cost is a number, and the last cut or the cut in half wins.
TEST(DeepCompressedTrees, SheetsBuildOnASmallStack) {
    EXPECT_GT(build_deep_trees(scenes::sheet(400, 0.5f)), 100u);
    EXPECT_GT(build_deep_trees(scenes::sheet(3000, 0.9375f)), 1600u);
}

TEST_P(DeepCompressedRays, EveryLeafIsReachedOnASmallStack) {
    ASSERT_GT(tree.get_depth(), 1600u);
    for (const unsigned ray_count : {1u, 2u, 5u}) {
        expect_all_leaves({0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, ray_count);
        expect_all_leaves({0.0, 3e38, 0.0}, {0.0, -1.0, 0.0}, ray_count);
    }
}

TEST_P(DeepCompressedRays, SlotsInUseNeverExceedTheLevelsAndOne) {
    expect_all_leaves({0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, 5);
    const GasTreeCtx& frame = shader.get_tree_ctx();
    EXPECT_EQ(frame.stack_capacity, 2 * tree.get_depth());
    if (support::goes_together(GetParam())) {
        // The next unused slot is also the most that were ever in use.
        EXPECT_GT(frame.counters[0], 2u);
        EXPECT_LE(frame.counters[0], tree.get_depth() + 1);
        EXPECT_EQ(frame.counters[1], frame.counters[0]) << "every slot is free again";
    } else {
        EXPECT_EQ(frame.counters[0], 0u) << "single rays need no slots";
        EXPECT_EQ(frame.node_states, nullptr);
    }
}

TEST_P(DeepCompressedRays, AreTracedInsideACallback) {
    const GMathBbox3<float> outer_boxes[2] = {{{-1, -1, -1}, {1, 1, 1}}, {{5, 5, 5}, {6, 6, 6}}};
    GasCompressedTree outer;
    outer.create(outer_boxes, 2, nullptr, nullptr);
    support::RecordingCallbacks outer_calls(outer);
    outer_calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx& ctx) {
        trace(tree, GetParam(), inside, ctx);
    };
    run_on_a_small_stack([&] {
        GeometryRayBatch batch(1);
        batch.set_ray(0, {0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, 0.0, 1e39);
        trace(outer, GetParam(), shader, batch.get_ctx());
    });
    EXPECT_EQ(outer_calls.take_items(), std::vector<unsigned>{0});
    EXPECT_EQ(calls, item_count);
}

INSTANTIATE_TEST_SUITE_P(Queries, DeepCompressedRays, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });
