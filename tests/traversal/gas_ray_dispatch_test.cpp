// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// A lone leaf without the shortcut; the shortcut and everything else about the start of queries
// holds for compressed trees too.

namespace {

using support::RayQuery;
using support::RecordingCallbacks;
using Items = std::vector<unsigned>;

class LoneLeafDispatch : public testing::TestWithParam<RayQuery> {
  protected:
    LoneLeafDispatch() : calls(tree), batch(4) {
        const std::vector<naive::Box> boxes = support::row_of_boxes(1);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        for (unsigned ray = 0; ray < 4; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    }

    void miss(unsigned ray) { batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0); }

    void run(CtxShader& with) { trace(tree, GetParam(), with, batch.get_ctx()); }

    GasTree tree;
    RecordingCallbacks calls;
    support::TestShader shader;
    GeometryRayBatch batch;
};

/// Queries whose rays go alone even in a batch.
class RayByRayDispatch : public LoneLeafDispatch {};

/// Batches whose rays go together.
class TogetherDispatch : public LoneLeafDispatch {};

TEST_P(RayByRayDispatch, WithoutTheShortcutALoneLeafIsWalkedToRayByRay) {
    // The root's box is not tested: these rays miss it.
    for (unsigned ray = 0; ray < 4; ++ray)
        miss(ray);
    run(shader);
    EXPECT_EQ(calls.take_items(), (Items{0, 0, 0, 0}));
    CtxShader bare;
    run(bare);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(TogetherDispatch, WithoutTheShortcutALoneLeafIsWalkedToByThoseThatHitIt) {
    miss(0);
    miss(3);
    run(shader);
    ASSERT_EQ(calls.calls.size(), 1u);
    EXPECT_EQ(calls.calls[0].item, 0u);
    EXPECT_EQ(calls.calls[0].first_ray, 1);
    EXPECT_EQ(calls.calls[0].last_ray, 2);
    calls.calls.clear();
    CtxShader bare;
    run(bare);
    EXPECT_TRUE(calls.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(Queries, RayByRayDispatch,
                         testing::Values(RayQuery::hit_static, RayQuery::hit_motion,
                                         RayQuery::nearest_motion),
                         [](const auto& query) { return support::name(query.param); });
INSTANTIATE_TEST_SUITE_P(Queries, TogetherDispatch, testing::Values(RayQuery::nearest_static),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
