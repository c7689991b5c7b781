#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/stream_oracle.h>

// Streams against queries that trace each ray alone: every ray has the same history, whatever the
// others do, and the cached leaves of the frames stay.

namespace {

using naive::Box;
using support::RayHistories;
using support::RayQuery;
using support::SeededRandom;
using support::Twist;

#ifdef NDEBUG
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 7, 8, 12, 17, 33, 64, 300, 3000};
#else
const std::vector<unsigned> counts = {1, 2, 5, 12, 64, 300};
#endif

class RayStreamOracle : public testing::TestWithParam<scenes::Kind> {};

void compare_tree(scenes::Kind kind, unsigned count, bool wide, std::size_t& calls) {
    SeededRandom random(std::uint64_t{count} * 100 + static_cast<unsigned>(kind) + wide);
    const Twist twist = support::all_twists[random.below(6)];
    std::vector<Box> boxes = scenes::make(kind, count, count);
    support::twist_boxes(boxes, twist, random);
    GasTree tree;
    tree.set_wide_nodes(wide);
    support::build(tree, boxes);
    std::vector<std::vector<Box>> samples(random.below(4), boxes);
    if (samples.size() > 1)
        samples[1] = scenes::make(kind, count, count + 1);
    support::fill_samples(tree, samples);
    RayHistories histories(
        tree,
        [&](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
            support::trace(tree, query, shader, rays);
        },
        [&](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
            support::trace_stream(tree, query, shader, rays);
        });
    support::StreamOracle oracle(histories,
                                 CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
    for (const unsigned size : support::stream_sizes) {
        const unsigned most = count == 3000 ? 33 : 200;
        oracle.compare(boxes, std::min(size, most), support::all_ray_queries[random.below(4)],
                       random);
        if (testing::Test::HasFatalFailure())
            return;
    }
    calls += histories.get_call_count();
}

TEST_P(RayStreamOracle, EveryRayHasTheHistoryThatItHasAlone) {
    std::size_t calls = 0;
    for (const unsigned count : counts) {
        for (const bool wide : {true, false}) {
            SCOPED_TRACE(std::to_string(count) + (wide ? " boxes, wide" : " boxes"));
            compare_tree(GetParam(), count, wide, calls);
            if (HasFatalFailure())
                return;
        }
    }
    std::printf("%zu leaf calls\n", calls);
    EXPECT_GT(calls, 10000u);
}

INSTANTIATE_TEST_SUITE_P(Scenes, RayStreamOracle, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

} // namespace
