// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/stream_oracle.h>
#include <tests/support/tree_kinds.h>

// Streams against queries that trace each ray alone: every ray has the same history, whatever the
// others do, and the cached leaves of the frames stay.

namespace {

using naive::Box;
using support::RayHistories;
using support::RayQuery;
using support::SeededRandom;
using support::TestShader;
using support::TreeClass;

#ifdef NDEBUG
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 7, 8, 12, 17, 33, 64, 300, 3000};
#else
const std::vector<unsigned> counts = {1, 2, 5, 12, 64, 300};
#endif

template <typename Tree>
void compare_tree(Tree& tree, scenes::Kind kind, unsigned count, bool wide, std::size_t& calls) {
    SeededRandom random(std::uint64_t{count} * 100 + static_cast<unsigned>(kind) + wide);
    std::vector<Box> boxes = scenes::make(kind, count, count);
    support::twist_boxes(boxes, support::all_twists[random.below(6)], random);
    support::build(tree, boxes);
    std::vector<std::vector<Box>> samples(random.below(4), boxes);
    if (samples.size() > 1)
        samples[1] = scenes::make(kind, count, count + 1);
    support::fill_samples(tree, samples);
    RayHistories histories(tree);
    // A compressed tree's lone leaf is called for the whole range.
    histories.expects_single_rays = count > 1 || !support::is_compressed<Tree>;
    support::StreamOracle oracle(histories,
                                 CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
    for (const unsigned size : support::stream_sizes) {
        const unsigned most = count == 3000 ? 33 : 600;
        oracle.compare(boxes, std::min(size, most), support::all_ray_queries[random.below(4)],
                       random);
        if (testing::Test::HasFatalFailure())
            return;
    }
    calls += histories.get_call_count();
}

class TreesStreamOracle : public testing::TestWithParam<std::tuple<TreeClass, scenes::Kind>> {};

/// Streams along rows of boxes.
template <typename Tree> class TreesStreams : public testing::Test {};
TYPED_TEST_SUITE(TreesStreams, support::BothTrees, support::TreeNames);

} // namespace

TEST_P(TreesStreamOracle, EveryRayHasTheHistoryThatItHasAlone) {
    const auto& [tree_class, kind] = GetParam();
    std::size_t calls = 0;
    for (const unsigned count : counts) {
        for (const bool wide : {true, false}) {
            SCOPED_TRACE(std::to_string(count) + (wide ? " boxes, wide" : " boxes"));
            with_tree(tree_class, [&, scene = kind](auto& tree) {
                if constexpr (requires { tree.set_wide_nodes(wide); })
                    tree.set_wide_nodes(wide);
                compare_tree(tree, scene, count, wide, calls);
            });
            if (HasFatalFailure())
                return;
        }
    }
    std::printf("%zu leaf calls\n", calls);
    EXPECT_GT(calls, 10000u);
}

INSTANTIATE_TEST_SUITE_P(Trees, TreesStreamOracle,
                         testing::Combine(testing::ValuesIn(support::both_tree_classes),
                                          testing::ValuesIn(scenes::all_kinds())),
                         [](const auto& scene) {
                             return std::string(support::name(std::get<TreeClass>(scene.param))) +
                                    "_" + scenes::name(std::get<scenes::Kind>(scene.param));
                         });

TYPED_TEST(TreesStreams, CallEachRayThroughAPrivateViewAndALoneLeafOnce) {
    for (const unsigned count : {1u, 5u}) {
        TypeParam tree;
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        support::RecordingCallbacks calls(tree);
        GeometryRayBatch batch(40);
        for (unsigned ray = 0; ray < 40; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        batch.get_data().set_range(2, 38);
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        CtxShader bare;
        for (const RayQuery query : support::all_ray_queries) {
            support::for_each_walk(tree, [&] {
                trace_stream(tree, query, bare, batch.get_ctx(), true);
                EXPECT_EQ(calls.calls.size(), count == 1 ? 1u : 0u);
                calls.calls.clear();
                trace_stream(tree, query, shader, batch.get_ctx(), true);
                for (const support::LeafCall& call : calls.calls) {
                    EXPECT_EQ(call.callback, query);
                    EXPECT_EQ(call.first_ray == call.last_ray, count > 1);
                    EXPECT_EQ(call.rays == &batch.get_ctx(), count == 1);
                }
                EXPECT_EQ(calls.take_ray_count(), 37 * count);
            });
        }
    }
}

TYPED_TEST(TreesStreams, AnEmptyTreeIsSilent) {
    TypeParam tree;
    support::RecordingCallbacks calls(tree);
    TestShader shader;
    GeometryRayBatch batch(3);
    for (const RayQuery query : support::all_ray_queries)
        trace_stream(tree, query, shader, batch.get_ctx(), true);
    EXPECT_TRUE(calls.calls.empty());
}
