#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/stream_oracle.h>
#include <tests/support/threaded_rays.h>

// Streams over the compressed tree, whose rays go one by one.

namespace {

using naive::Box;
using support::RayHistories;
using support::RayQuery;
using support::SeededRandom;
using support::TestShader;

#ifdef NDEBUG
const std::vector<unsigned> counts = {1, 2, 3, 5, 17, 64, 300};
#else
const std::vector<unsigned> counts = {1, 2, 5, 64};
#endif

void stream(const GasCompressedTree& tree, RayQuery query, CtxShader& shader,
            GeometryRaytraceCtx& rays) {
    support::trace_stream(tree, query, shader, rays, CtxEval());
}

class CompressedStreams : public testing::TestWithParam<scenes::Kind> {};

TEST_P(CompressedStreams, EveryRayHasTheHistoryThatItHasAlone) {
    std::size_t calls = 0;
    for (const unsigned count : counts) {
        SCOPED_TRACE(std::to_string(count) + " boxes");
        SeededRandom random(std::uint64_t{count} * 100 + static_cast<unsigned>(GetParam()));
        const std::vector<Box> boxes = scenes::make(GetParam(), count, count);
        GasCompressedTree tree;
        support::build(tree, boxes);
        std::vector<std::vector<Box>> samples(random.below(4), boxes);
        if (samples.size() > 1)
            samples[1] = scenes::make(GetParam(), count, count + 1);
        support::fill_samples(tree, samples);
        RayHistories histories(
            tree,
            [&](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
                support::trace(tree, query, shader, rays);
            },
            [&](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
                stream(tree, query, shader, rays);
            });
        // A lone leaf is called for the whole range.
        histories.expects_single_rays = count > 1;
        support::StreamOracle oracle(
            histories, CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
        for (const unsigned size : support::stream_sizes) {
            oracle.compare(boxes, size, support::all_ray_queries[random.below(4)], random);
            if (HasFatalFailure())
                return;
        }
        calls += histories.get_call_count();
    }
    EXPECT_GT(calls, 1000u);
}

INSTANTIATE_TEST_SUITE_P(Scenes, CompressedStreams, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

TEST(CompressedStreamsOfARow, CallEachRayThroughAPrivateViewAndALoneLeafOnce) {
    for (const unsigned count : {1u, 5u}) {
        GasCompressedTree tree;
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
            stream(tree, query, bare, batch.get_ctx());
            EXPECT_EQ(calls.calls.size(), count == 1 ? 1u : 0u);
            calls.calls.clear();
            stream(tree, query, shader, batch.get_ctx());
            for (const support::LeafCall& call : calls.calls) {
                EXPECT_EQ(call.callback, query);
                EXPECT_EQ(call.first_ray == call.last_ray, count > 1);
                EXPECT_EQ(call.rays == &batch.get_ctx(), count == 1);
            }
            EXPECT_EQ(calls.take_ray_count(), 37 * count);
        }
    }
}

TEST(CompressedStreamsOfARow, AnEmptyTreeIsSilent) {
    GasCompressedTree tree;
    support::RecordingCallbacks calls(tree);
    TestShader shader;
    GeometryRayBatch batch(3);
    for (const RayQuery query : support::all_ray_queries)
        stream(tree, query, shader, batch.get_ctx());
    EXPECT_TRUE(calls.calls.empty());
}

TEST(CompressedStreamsOfThreads, FindInASharedTreeWhatOneThreadsDo) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 500, 1);
    GasCompressedTree tree;
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, scenes::make(scenes::Kind::random, 500, 2)});
    support::ThreadedRays::attach(tree);
    const auto stream_with = [&](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                                 const CtxEval& eval) {
        support::trace_stream(tree, query, shader, rays, eval);
    };
    support::ThreadedRays(160).expect_same(stream_with, stream_with);
}

} // namespace
