// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// Streams of compressed trees: which rays go together, and what each of them is asked about. That
// every ray has the history that it has alone, trees_streams_test.cpp says.

namespace {

using support::LeafCall;
using support::RayQuery;
using support::TestShader;

/// Rays along a row of boxes, in flight or one by one; alone, the calls of each ray stand together.
class CompressedStreams : public testing::TestWithParam<RayQuery> {
  protected:
    static constexpr unsigned box_count = 40;

    CompressedStreams() : calls(tree) {
        const std::vector<naive::Box> boxes = support::row_of_boxes_among_others(box_count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    using Calls = std::vector<std::pair<int, unsigned>>;

    /// Each ray starts in the middle and meets twenty boxes: those upwards, or every other ray,
    /// where they are incoherent, those downwards.
    Calls run(unsigned ray_count, bool are_incoherent) {
        GeometryRayBatch batch(ray_count);
        for (unsigned ray = 0; ray < ray_count; ++ray) {
            const double sign = are_incoherent && ray % 2 != 0 ? -1.0 : 1.0;
            batch.set_ray(ray, {195.5, 0.5, 0.5}, {sign, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
        }
        support::trace_stream(tree, GetParam(), shader, batch.get_ctx());
        Calls order;
        for (const LeafCall& call : calls.calls) {
            EXPECT_EQ(call.callback, GetParam());
            order.emplace_back(call.first_ray, call.item);
        }
        calls.calls.clear();
        return order;
    }

    /// How often the next call is for another ray.
    static unsigned count_switches(const Calls& order) {
        unsigned switches = 0;
        int ray = -1;
        for (const auto& [of_ray, item] : order) {
            switches += of_ray != ray;
            ray = of_ray;
        }
        return switches;
    }

    /// Each ray's leaves, from its start on.
    static void expect_rows(const Calls& order, unsigned ray_count, bool are_incoherent) {
        std::map<int, std::vector<unsigned>> items;
        for (const auto& [ray, item] : order)
            items[ray].push_back(item);
        ASSERT_EQ(items.size(), ray_count);
        for (const auto& [ray, of_ray] : items) {
            ASSERT_EQ(of_ray.size(), 20u) << ray;
            const bool is_upwards = !are_incoherent || ray % 2 == 0;
            for (unsigned i = 0; i < 20; ++i)
                ASSERT_EQ(of_ray[i], is_upwards ? 20 + i : 19 - i) << ray;
        }
    }

    GasCompressedTree tree;
    support::RecordingCallbacks calls;
    TestShader shader;
};

TEST_P(CompressedStreams, IncoherentRaysGoTogether) {
    for (const unsigned count : {12u, 13u, 31u, 33u, 255u, 3000u}) {
        const Calls order = run(count, true);
        expect_rows(order, count, true);
        EXPECT_GT(count_switches(order), order.size() * 9 / 10) << count;
    }
}

TEST_P(CompressedStreams, AFewRaysGoOneByOne) {
    for (unsigned count = 1; count < 12; ++count) {
        const Calls order = run(count, true);
        expect_rows(order, count, true);
        EXPECT_EQ(count_switches(order), count);
    }
}

TEST_P(CompressedStreams, CoherentRaysGoOneByOneAfterTheFirst) {
    constexpr unsigned trial = 128;
    constexpr unsigned alone = 2048;
    constexpr unsigned count = trial + alone;
    const Calls order = run(count, false);
    expect_rows(order, count, false);
    const Calls rest(order.begin() + trial * 20, order.end());
    EXPECT_EQ(count_switches(rest), alone);
    EXPECT_GT(count_switches(order), alone + trial * 15);
}

TEST_P(CompressedStreams, TheSameBatchHasTheSameCallsInTheSameOrder) {
    for (const bool are_incoherent : {false, true})
        EXPECT_EQ(run(700, are_incoherent), run(700, are_incoherent));
}

INSTANTIATE_TEST_SUITE_P(Queries, CompressedStreams, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
