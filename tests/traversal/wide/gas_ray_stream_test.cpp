// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include <gas/traversal/wide/gas_ray_stream.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using support::LeafCall;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using Items = std::vector<unsigned>;

/// Streams of one kind along a row of boxes, over wide nodes or without.
class RayStream : public testing::TestWithParam<std::tuple<RayQuery, bool>> {
  protected:
    static constexpr unsigned ray_count = 70;

    RayStream() : calls(tree), batch(ray_count) {
        tree.set_wide_nodes(std::get<bool>(GetParam()));
        aim();
    }

    void aim() {
        for (unsigned ray = 0; ray < ray_count; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    }

    RayQuery get_query() const { return std::get<RayQuery>(GetParam()); }

    void build_row(unsigned count) {
        const std::vector<naive::Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void run(CtxShader& with, bool shortcut = false) {
        support::trace_stream(tree, get_query(), with, batch.get_ctx(), shortcut, eval);
    }

    /// The items that each ray was asked about, in order; forgets the calls.
    std::map<int, Items> take_items_of_rays() {
        std::map<int, Items> items;
        for (const LeafCall& call : calls.calls)
            items[call.first_ray].push_back(call.item);
        calls.calls.clear();
        return items;
    }

    GasTree tree;
    RecordingCallbacks calls;
    TestShader shader;
    CtxEval eval;
    GeometryRayBatch batch;
};

TEST_P(RayStream, TheShortcutCallsOneLeafOnceForTheWholeRangeWithoutBoxOrFrames) {
    build_row(1);
    for (unsigned ray = 0; ray < ray_count; ++ray)
        batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    batch.get_data().set_range(3, 40);
    CtxShader bare;
    run(bare, true);
    ASSERT_EQ(calls.calls.size(), 1u);
    const LeafCall& call = calls.calls[0];
    EXPECT_EQ(call.callback, get_query());
    EXPECT_EQ(call.item, 0u);
    EXPECT_EQ(call.rays, &batch.get_ctx());
    EXPECT_EQ(call.first_ray, 3);
    EXPECT_EQ(call.last_ray, 40);
    EXPECT_EQ(call.eval, &eval);
    EXPECT_EQ(call.shader, &bare);
}

TEST_P(RayStream, WithoutTheShortcutALoneLeafIsCalledForEachRayWhateverItsBox) {
    build_row(1);
    for (unsigned ray = 0; ray < ray_count; ++ray)
        batch.set_ray(ray, {-1.0, 50.0, 0.5}, {-1.0, 0.0, 0.0}, 0.0, 1.0);
    run(shader);
    EXPECT_EQ(calls.calls.size(), ray_count);
    EXPECT_EQ(take_items_of_rays().size(), ray_count);
    CtxShader bare;
    run(bare);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayStream, AnEmptyTreeIsSilent) {
    for (const bool shortcut : {false, true}) {
        run(shader, shortcut);
        CtxShader bare;
        run(bare, shortcut);
    }
    build_row(3);
    tree.clear();
    run(shader);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayStream, AMissingFrameOfEitherChainIsSilent) {
    build_row(3);
    void* const tree_ctx = std::exchange(shader.tree_ctx_slot, nullptr);
    run(shader);
    shader.tree_ctx_slot = tree_ctx;
    void* const ray_frame = std::exchange(shader.ray_frame_slot, nullptr);
    run(shader);
    shader.ray_frame_slot = ray_frame;
    EXPECT_TRUE(calls.calls.empty());
    run(shader, true);
    EXPECT_EQ(calls.take_ray_count(), 3 * ray_count);
}

TEST_P(RayStream, AnEmptyRangeTracesNothing) {
    build_row(3);
    batch.get_data().set_range(2, 1);
    run(shader);
    batch.get_data().set_range(0, -1);
    run(shader);
    EXPECT_TRUE(calls.calls.empty());
}

TEST_P(RayStream, EachCallIsForOneRayThroughAPrivateView) {
    build_row(9);
    for (const auto& [first, last] : {std::pair{5, 60}, {7, 7}, {0, 1}}) {
        batch.get_data().set_range(first, last);
        calls.react = [&, first = first, last = last](unsigned, CtxShader&,
                                                      GeometryRaytraceCtx& rays) {
            EXPECT_NE(&rays, &batch.get_ctx());
            EXPECT_EQ(&rays, &rays.get_data().get_ctx());
            EXPECT_EQ(rays.get_data().get_ray_count(), ray_count);
            EXPECT_EQ(batch.get_data().get_first_ray(), first);
            EXPECT_EQ(batch.get_data().get_last_ray(), last);
        };
        run(shader);
        for (const LeafCall& call : calls.calls) {
            EXPECT_EQ(call.callback, get_query());
            EXPECT_EQ(call.first_ray, call.last_ray);
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
        }
        const std::map<int, Items> items = take_items_of_rays();
        EXPECT_EQ(items.begin()->first, first);
        EXPECT_EQ(items.rbegin()->first, last);
        EXPECT_EQ(items.size(), static_cast<std::size_t>(last - first + 1));
        for (const auto& [ray, of_ray] : items)
            EXPECT_EQ(of_ray, (Items{0, 1, 2, 3, 4, 5, 6, 7, 8})) << ray;
        EXPECT_EQ(batch.get_data().get_first_ray(), first);
        EXPECT_EQ(batch.get_data().get_last_ray(), last);
    }
}

TEST_P(RayStream, AHitEndsItsRayAndNoOther) {
    build_row(9);
    // Ray r hits box r % 10, or none.
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        const unsigned ray = support::get_only_ray(rays);
        if (ray % 10 == item)
            rays.record_nearest_hit(ray, 1.0 + 10.0 * item, item);
    };
    run(shader);
    for (const auto& [ray, items] : take_items_of_rays()) {
        const unsigned hit = static_cast<unsigned>(ray) % 10;
        EXPECT_EQ(items.size(), std::min(hit + 1, 9u)) << ray;
        EXPECT_EQ(batch.is_hit(static_cast<unsigned>(ray)), hit < 9) << ray;
    }
    EXPECT_EQ(batch.get_hit_distance(23), 31.0);
    EXPECT_EQ(batch.get_hit_distance(39), 1000.0);
}

TEST_P(RayStream, AFlagFromBeforeEndsARayAfterItsFirstLeaf) {
    build_row(5);
    batch.get_ctx().set_hit(33);
    run(shader);
    for (const auto& [ray, items] : take_items_of_rays())
        EXPECT_EQ(items.size(), ray == 33 && !support::is_nearest(get_query()) ? 1u : 5u) << ray;
}

TEST_P(RayStream, FewerThanTwoTreeSamplesFallBackToStaticRays) {
    const std::vector<naive::Box> elsewhere = support::row_of_boxes(3, 500.0f);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    for (unsigned sample_count = 0; sample_count < 2; ++sample_count) {
        support::build(tree, support::row_of_boxes(3));
        support::fill_samples(tree, std::vector<std::vector<naive::Box>>(sample_count, elsewhere));
        run(shader);
        for (const LeafCall& call : calls.calls)
            EXPECT_EQ(call.callback, support::without_motion(get_query()));
        EXPECT_EQ(calls.take_ray_count(), 3 * ray_count);
    }
}

TEST_P(RayStream, RaysOfDifferentTimesSeeTheirOwnSamples) {
    support::build(tree, support::row_of_boxes(6));
    support::fill_samples(tree, {support::row_of_boxes(6), support::row_of_boxes(6, 100.0f),
                                 support::row_of_boxes(6, 300.0f)});
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    // The boxes reach as far as 351 - 1 at the end, 151 at half time.
    for (unsigned ray = 0; ray < ray_count; ++ray)
        batch.set_ray(ray, {160.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0,
                      static_cast<float>(ray % 3) * 0.5f);
    run(shader);
    const std::map<int, Items> items = take_items_of_rays();
    if (!support::is_motion(get_query()))
        EXPECT_TRUE(items.empty());
    else
        EXPECT_EQ(items.size(), ray_count / 3);
    for (const auto& [ray, of_ray] : items) {
        EXPECT_EQ(ray % 3, 2);
        EXPECT_EQ(of_ray, (Items{0, 1, 2, 3, 4, 5}));
    }
}

TEST_P(RayStream, ACallbackThatThrowsLeavesTheFramesAsTheyWere) {
    build_row(9);
    run(shader);
    const std::map<int, Items> expected = take_items_of_rays();
    const void* const tree_ctx = shader.tree_ctx_slot;
    const void* const ray_frame = shader.ray_frame_slot;
    const unsigned call_count = 9 * ray_count;
    for (unsigned nth = 1; nth <= call_count; nth += 50) {
        aim();
        calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx&) {
            if (calls.calls.size() == nth)
                throw nth;
        };
        EXPECT_THROW(run(shader), unsigned);
        EXPECT_EQ(calls.calls.size(), nth);
        EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
        EXPECT_EQ(shader.ray_frame_slot, ray_frame);
        calls.calls.clear();
        calls.react = nullptr;
        run(shader);
        EXPECT_EQ(take_items_of_rays(), expected);
    }
}

#ifdef NDEBUG
TEST_P(RayStream, ARangeBeyondTheBatchTracesNothing) {
    build_row(3);
    for (const auto& [first, last] : {std::pair{0, 70}, {-1, 2}, {70, 70}, {-1, -1}, {-3, 99}}) {
        batch.get_data().set_range(first, last);
        run(shader);
        EXPECT_TRUE(calls.calls.empty()) << first << ".." << last;
    }
}

TEST_P(RayStream, ABatchWithoutAnIntersectionMapIsTracedForAllHitsOnly) {
    build_row(3);
    batch.get_data().use_intersection_map(false);
    run(shader);
    EXPECT_EQ(calls.calls.empty(), support::is_nearest(get_query()));
}

TEST_P(RayStream, MotionRaysBetweenSamplesThatWereNeverFilledSeeNothing) {
    support::build(tree, support::row_of_boxes(3));
    tree.set_motion_blur_sample_count(2);
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    run(shader);
    EXPECT_EQ(calls.calls.empty(), support::is_motion(get_query()));
}
#else
TEST_P(RayStream, ARangeBeyondTheBatchAsserts) {
    build_row(3);
    batch.get_data().set_range(0, 70);
    EXPECT_DEATH(run(shader), "within its rays");
    batch.get_data().set_range(-1, 2);
    EXPECT_DEATH(run(shader), "within its rays");
}
#endif

INSTANTIATE_TEST_SUITE_P(Queries, RayStream,
                         testing::Combine(testing::ValuesIn(support::all_ray_queries),
                                          testing::Bool()),
                         [](const auto& way) { return support::name(way.param); });

/// Which way the rays of a large batch go shows in the order of calls: alone, the calls of each ray
/// stand together.
class StreamWay : public testing::TestWithParam<RayQuery> {
  protected:
    static constexpr unsigned batch_size = 3000;
    static constexpr unsigned trial_size = 128;

    StreamWay() : calls(tree), batch(batch_size) {
        tree.set_wide_nodes(true);
        build(support::row_of_boxes_among_others(40));
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void build(const std::vector<naive::Box>& boxes) {
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
    }

    /// Each ray starts in the middle and meets twenty boxes: those upwards, or every other ray for
    /// which `is_incoherent` holds those downwards.
    template <typename IsIncoherent> void aim(const IsIncoherent& is_incoherent) {
        for (unsigned ray = 0; ray < batch_size; ++ray) {
            const double sign = is_incoherent(ray) && ray % 2 != 0 ? -1.0 : 1.0;
            batch.set_ray(ray, {199.0, 0.5, 0.5}, {sign, 0.0, 0.0}, 0.0, 1000.0);
        }
    }

    std::vector<std::pair<int, unsigned>> run() {
        batch.reset_hits();
        support::trace_stream(tree, GetParam(), shader, batch.get_ctx());
        std::vector<std::pair<int, unsigned>> order;
        for (const LeafCall& call : calls.calls)
            order.emplace_back(call.first_ray, call.item);
        calls.calls.clear();
        return order;
    }

    /// How often the next call is for another ray, for rays from `first` on.
    static unsigned count_switches(const std::vector<std::pair<int, unsigned>>& order, int first) {
        unsigned switches = 0;
        int ray = -1;
        for (const auto& [of_ray, item] : order) {
            if (of_ray < first)
                continue;
            switches += of_ray != ray;
            ray = of_ray;
        }
        return switches;
    }

    GasTree tree;
    RecordingCallbacks calls;
    TestShader shader;
    GeometryRayBatch batch;
};

TEST_P(StreamWay, CoherentRaysGoAloneAfterTheFirst) {
    aim([](unsigned) { return false; });
    const auto order = run();
    EXPECT_EQ(order.size(), batch_size * 20u);
    // All but those of the two trials.
    const unsigned alone = 2048;
    EXPECT_LT(count_switches(order, 0), (batch_size - alone) * 20 + alone + 1);
    for (std::size_t call = 0; call < 20; ++call) {
        EXPECT_EQ(order[trial_size * 20 + call].first, static_cast<int>(trial_size));
        EXPECT_EQ(order[trial_size * 20 + call].second, 20 + call);
    }
}

TEST_P(StreamWay, IncoherentRaysGoTogether) {
    aim([](unsigned) { return true; });
    const auto order = run();
    // Hardly two calls in succession are for the same ray.
    EXPECT_GT(count_switches(order, 0), order.size() * 9 / 10);
}

TEST_P(StreamWay, IncoherentRaysFromLeafToLeafGoAloneAfterTheFirst) {
    build(support::row_of_boxes(40));
    aim([](unsigned) { return true; });
    const auto order = run();
    EXPECT_EQ(order.size(), batch_size * 20u);
    const unsigned alone = 2048;
    EXPECT_LT(count_switches(order, 0), (batch_size - alone) * 20 + alone + 1);
}

TEST_P(StreamWay, EachPartOfABatchGoesItsWay) {
    constexpr unsigned half = 2176; // a trial and the rays that follow it
    aim([](unsigned ray) { return ray < half; });
    const auto order = run();
    EXPECT_GT(count_switches(order, 0) - count_switches(order, static_cast<int>(half)), half * 15);
    EXPECT_EQ(count_switches(order, static_cast<int>(half + trial_size)),
              batch_size - half - trial_size);
}

TEST_P(StreamWay, TheSameBatchHasTheSameCallsInTheSameOrder) {
    for (const bool is_incoherent : {false, true}) {
        aim([&](unsigned) { return is_incoherent; });
        const auto order = run();
        EXPECT_EQ(run(), order);
        TestShader fresh;
        fresh.set_motion_blur(shader.get_motion_blur());
        batch.reset_hits();
        support::trace_stream(tree, GetParam(), fresh, batch.get_ctx());
        ASSERT_EQ(calls.calls.size(), order.size());
        for (std::size_t call = 0; call < order.size(); ++call)
            EXPECT_EQ(calls.calls[call].first_ray, order[call].first);
        calls.calls.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(Queries, StreamWay, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

/// A trial of rays that visit the same `shared_count` nodes each, and `own_count` that neither the
/// ray before nor the ray after visits. No two of these nodes have the same bit.
GasStreamTrial get_trial(unsigned first, unsigned shared_count, unsigned own_count) {
    GasStreamTrial trial;
    for (unsigned ray = first; ray < first + GasStreamTrial::ray_count; ++ray) {
        trial.start_ray(ray);
        for (unsigned node = 0; node < shared_count; ++node)
            trial.visit_node(ray, node);
        for (unsigned node = 0; node < own_count; ++node)
            trial.visit_node(ray, 50 + 50 * (ray % 2) + node);
    }
    return trial;
}

TEST(StreamTrial, RaysAreCoherentUpToAShareOfDifference) {
    constexpr GasStreamShare two_thirds = {2, 3};
    constexpr GasStreamShare half = {1, 2};
    for (const unsigned first : {0u, 5u, 2048u}) {
        EXPECT_TRUE(get_trial(first, 1, 0).is_coherent(first, half));
        EXPECT_TRUE(get_trial(first, 9, 3).is_coherent(first, half)) << "6 of 12";
        EXPECT_FALSE(get_trial(first, 8, 3).is_coherent(first, half)) << "6 of 11";
        EXPECT_TRUE(get_trial(first, 8, 4).is_coherent(first, two_thirds)) << "8 of 12";
        EXPECT_FALSE(get_trial(first, 7, 4).is_coherent(first, two_thirds)) << "8 of 11";
        EXPECT_FALSE(get_trial(first, 8, 5).is_coherent(first, two_thirds)) << "10 of 13";
        EXPECT_FALSE(get_trial(first, 0, 12).is_coherent(first, two_thirds));
    }
}

TEST(StreamTrial, CountsWhatARayVisitsSinceItStarted) {
    constexpr GasStreamShare half = {1, 2};
    GasStreamTrial trial = get_trial(0, 0, 12);
    EXPECT_FALSE(trial.is_coherent(0, half));
    for (unsigned ray = 0; ray < GasStreamTrial::ray_count; ++ray) {
        trial.start_ray(ray);
        // In any order, and once, however often it is visited.
        for (const unsigned node : ray % 2 != 0 ? std::vector{3u, 1u, 2u} : std::vector{1u, 2u, 3u})
            for (unsigned visit = 0; visit <= ray % 5; ++visit)
                trial.visit_node(ray, node);
    }
    EXPECT_TRUE(trial.is_coherent(0, half));
}

TEST(StreamTrial, CountsLeavesAmongWhatRaysVisit) {
    constexpr GasStreamShare third = {1, 3};
    GasStreamTrial trial;
    EXPECT_FALSE(trial.visits_leaves_mostly(third)) << "of nothing";
    for (unsigned node = 0; node < 200; ++node)
        trial.visit_node(node % GasStreamTrial::ray_count, node / 7);
    for (unsigned leaf = 0; leaf < 100; ++leaf)
        trial.visit_leaf(leaf);
    EXPECT_FALSE(trial.visits_leaves_mostly(third)) << "100 of 300";
    trial.visit_leaf(0);
    EXPECT_TRUE(trial.visits_leaves_mostly(third)) << "101 of 301";
}

} // namespace
