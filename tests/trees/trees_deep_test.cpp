// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/small_stack.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// Trees of hundreds of levels, on a small stack.

namespace {

using naive::Box;
using naive::Split;
using support::create;
using support::run_on_a_small_stack;

template <typename Tree> class DeepTrees : public testing::Test {
  protected:
    /// Builds and refits by every method on a small stack, checks the trees and returns the largest
    /// depth.
    static unsigned build(const std::vector<Box>& boxes) {
        const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
        unsigned deepest = 0;
        for (const Split split : support::all_splits) {
            SCOPED_TRACE(support::name(split));
            support::QuietProgress progress(split);
            Tree tree;
            run_on_a_small_stack([&] { create(tree, array, nullptr, &progress.bar); });
            EXPECT_EQ(support::find_flaw(tree, boxes), "");
            EXPECT_EQ(
                support::find_difference(tree, support::TreeKind<Tree>::build_naive(boxes, split)),
                "");
            EXPECT_EQ(tree.get_depth(), naive::build(boxes, split).depth);
            EXPECT_NEAR(progress.bar.get_value(), 1.0f,
                        support::is_compressed<Tree> ? 0.0f : 1e-4f);
            run_on_a_small_stack([&] {
                tree.set_motion_blur_sample_count(1);
                EXPECT_TRUE(tree.refit_motion_blur_sample(array, 0));
            });
            EXPECT_EQ(support::find_sample_flaw(tree, boxes, 0), "");
            deepest = std::max(deepest, tree.get_depth());
        }
        return deepest;
    }
};

TYPED_TEST_SUITE(DeepTrees, support::BothTrees, support::TreeNames);

/// A tree of over a thousand levels, with samples, whose boxes a ray along y crosses one by one.
template <typename Traced> class DeepRays : public testing::Test {
  protected:
    static constexpr unsigned item_count = 3000;
    static constexpr support::RayQuery query = Traced::query;

    DeepRays() {
        const std::vector<Box> boxes = scenes::sheet(item_count, 0.9375f);
        support::build(tree, boxes, Split::sah);
        support::fill_samples(tree, {boxes, boxes});
        tree.set_leaf_raytrace_callbacks(count_leaf, count_leaf, this);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    static void count_leaf(void* user, const unsigned&, const CtxEval&, CtxShader&,
                           GeometryRaytraceCtx&) {
        ++static_cast<DeepRays*>(user)->calls;
    }

    void expect_all_leaves(const GMathVec3<double>& origin, const GMathVec3<double>& direction,
                           unsigned ray_count) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, origin, direction, 0.0, 1e39, 0.5f);
        calls = 0;
        run_on_a_small_stack([&] { trace(tree, query, shader, batch.get_ctx()); });
        EXPECT_EQ(calls, item_count * (support::goes_together(query) ? 1 : ray_count));
    }

    typename Traced::Tree tree;
    support::TestShader shader;
    unsigned calls = 0;
};

TYPED_TEST_SUITE(DeepRays, support::BothTreesQueries, support::TreeQueryNames);

template <typename Traced> class DeepCompressedRays : public DeepRays<Traced> {};
TYPED_TEST_SUITE(DeepCompressedRays, support::CompressedTreeQueries, support::TreeQueryNames);

} // namespace

// 276 halvings lead from 2^126 to 0; the boxes behind coincide there.
TYPED_TEST(DeepTrees, HalvingChainsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(this->build(scenes::geometric_chain(400, 0.5f, axis)), 100u);
}

TYPED_TEST(DeepTrees, ChainsOfFifteenSixteenthsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(this->build(scenes::geometric_chain(3000, 0.9375f, axis)), 100u);
}

// Their areas overflow, so that no cost is a number, and the last cut or the cut in half wins.
TYPED_TEST(DeepTrees, SheetsBuildOnASmallStack) {
    EXPECT_GT(this->build(scenes::sheet(400, 0.5f)), 100u);
    EXPECT_GT(this->build(scenes::sheet(3000, 0.9375f)), 1600u);
}

TYPED_TEST(DeepRays, EveryLeafIsReachedOnASmallStack) {
    ASSERT_GT(this->tree.get_depth(), 1600u);
    for (const unsigned ray_count : {1u, 2u, 5u}) {
        this->expect_all_leaves({0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, ray_count);
        this->expect_all_leaves({0.0, 3e38, 0.0}, {0.0, -1.0, 0.0}, ray_count);
    }
}

TYPED_TEST(DeepRays, AreTracedInsideACallback) {
    const GMathBbox3<float> outer_boxes[2] = {{{-1, -1, -1}, {1, 1, 1}}, {{5, 5, 5}, {6, 6, 6}}};
    typename TypeParam::Tree outer;
    support::create_of(outer, outer_boxes, 2);
    support::RecordingCallbacks outer_calls(outer);
    outer_calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx& ctx) {
        trace(this->tree, this->query, inside, ctx);
    };
    run_on_a_small_stack([&] {
        GeometryRayBatch batch(1);
        batch.set_ray(0, {0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, 0.0, 1e39);
        trace(outer, this->query, this->shader, batch.get_ctx());
    });
    EXPECT_EQ(outer_calls.take_items(), std::vector<unsigned>{0});
    EXPECT_EQ(this->calls, this->item_count);
}

TYPED_TEST(DeepCompressedRays, SlotsInUseNeverExceedTheLevelsAndOne) {
    this->expect_all_leaves({0.0, -1.0, 0.0}, {0.0, 1.0, 0.0}, 5);
    const GasTreeCtx& frame = this->shader.get_tree_ctx();
    EXPECT_EQ(frame.stack_capacity, 2 * this->tree.get_depth());
    if (support::goes_together(this->query)) {
        // The next unused slot is also the most that were ever in use.
        EXPECT_GT(frame.counters[0], 2u);
        EXPECT_LE(frame.counters[0], this->tree.get_depth() + 1);
        EXPECT_EQ(frame.counters[1], frame.counters[0]) << "every slot is free again";
    } else {
        EXPECT_EQ(frame.counters[0], 0u) << "single rays need no slots";
        EXPECT_EQ(frame.node_states, nullptr);
    }
}
