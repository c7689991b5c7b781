// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// What a leaf callback throws comes through queries and streams, and leaves the tree and the frames
// as they were.

namespace {

using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

constexpr unsigned item_count = 20;

template <typename Tree> class TreesThrow : public testing::Test {
  protected:
    TreesThrow() {
        const std::vector<naive::Box> boxes = support::row_of_boxes(item_count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        calls.attach(tree);
    }

    /// Rays along the row, alone, as a batch or as a stream.
    void trace(RayQuery query, unsigned ray_count, bool as_stream) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        if (as_stream)
            support::trace_stream(tree, query, shader, batch.get_ctx());
        else
            support::trace(tree, query, shader, batch.get_ctx());
    }

    void expect_unharmed(RayQuery query, unsigned ray_count, bool as_stream) {
        trace(query, ray_count, as_stream);
        const std::vector<unsigned> expected = calls.take_items();
        ASSERT_GE(expected.size(), item_count);
        const void* const tree_ctx = shader.tree_ctx_slot;
        const void* const ray_frame = shader.ray_frame_slot;
        for (const std::size_t nth : {std::size_t{1}, expected.size() / 2, expected.size()}) {
            calls.react = [this, nth](unsigned, CtxShader&, GeometryRaytraceCtx&) {
                if (calls.calls.size() == nth)
                    throw nth;
            };
            EXPECT_THROW(trace(query, ray_count, as_stream), std::size_t);
            EXPECT_EQ(calls.calls.size(), nth);
            EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
            EXPECT_EQ(shader.ray_frame_slot, ray_frame);
            calls.calls.clear();
            calls.react = nullptr;
            trace(query, ray_count, as_stream);
            EXPECT_EQ(calls.take_items(), expected);
        }
    }

    Tree tree;
    TestShader shader;
    RecordingCallbacks calls;
};

TYPED_TEST_SUITE(TreesThrow, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesThrow, ALeafCallbackLeavesTheTreeAndTheFrames) {
    support::for_each_walk(this->tree, [this] {
        for (const RayQuery query : support::all_ray_queries) {
            for (const unsigned ray_count : {1u, 6u, 40u}) {
                for (const bool as_stream : {false, true})
                    this->expect_unharmed(query, ray_count, as_stream);
            }
        }
    });
}
