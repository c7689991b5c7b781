#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

#include <gas/tree/gas_tree.h>

#include "../support/recording_callbacks.h"
#include "../support/row_of_boxes.h"
#include "../support/scenes.h"
#include "../support/seeded_random.h"
#include "../support/test_shader.h"

// A built tree is shared by threads; what a query writes belongs to its shader and its batch.

namespace {

using naive::Box;
using support::RayQuery;
using support::SeededRandom;
using support::TestShader;

constexpr unsigned batch_size = 16;
constexpr unsigned batch_count = 40;

/// Chooses between hit and miss by item and ray alone; keeps the called items in the evaluation's
/// user data, which each thread has for itself.
void hit_or_miss(void*, const unsigned& item, const CtxEval& eval, CtxShader&,
                 GeometryRaytraceCtx& rays) {
    static_cast<std::vector<unsigned>*>(eval.user_data)->push_back(item);
    support::for_each_ray(rays, [&](unsigned ray) {
        SeededRandom random((std::uint64_t{item} << 32) + ray);
        if (random.below(4) == 0)
            rays.record_nearest_hit(ray, 20.0 + 100.0 * random.uniform_double(), item);
    });
}

struct Outcome {
    std::vector<unsigned> items;
    std::vector<double> distances;
    std::vector<bool> hits;

    bool operator==(const Outcome&) const = default;
};

/// Traces the same batches through the tree, with a shader of its own.
Outcome trace_all(const GasTree& tree) {
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    GeometryRayBatch batch(batch_size);
    SeededRandom random(5);
    Outcome outcome;
    CtxEval eval;
    eval.user_data = &outcome.items;
    for (unsigned i = 0; i < batch_count; ++i) {
        for (unsigned ray = 0; ray < batch_size; ++ray) {
            const auto coordinate = [&] { return random.uniform_double() * 2.0 - 1.0; };
            const GMathVec3<double> origin = {60.0 * coordinate(), 60.0 * coordinate(),
                                              60.0 * coordinate()};
            batch.set_ray(ray, origin, origin * -0.01, 0.0, 1000.0, random.uniform(),
                          static_cast<int>(random.below(6)));
        }
        for (const RayQuery query : support::all_ray_queries) {
            batch.reset_hits();
            trace(tree, query, shader, batch.get_ctx(), false, eval);
            for (unsigned ray = 0; ray < batch_size; ++ray) {
                outcome.distances.push_back(batch.get_hit_distance(ray));
                outcome.hits.push_back(batch.is_hit(ray));
            }
        }
    }
    return outcome;
}

TEST(RayWalkThreads, ThreadsThatShareATreeFindWhatOneThreadFinds) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 500, 1);
    GasTree tree;
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, scenes::make(scenes::Kind::random, 500, 2)});
    tree.set_leaf_raytrace_callbacks(hit_or_miss, hit_or_miss, nullptr);
    const Outcome expected = trace_all(tree);
    EXPECT_GT(expected.items.size(), 1000u);

    constexpr unsigned thread_count = 2;
    std::latch start(thread_count);
    Outcome outcomes[thread_count];
    std::vector<std::thread> threads;
    for (Outcome& outcome : outcomes) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            outcome = trace_all(tree);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const Outcome& outcome : outcomes)
        EXPECT_TRUE(outcome == expected);
}

} // namespace
