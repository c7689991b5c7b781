// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_workload.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using gas_bench::make_scene;
using gas_bench::Query;
using gas_bench::RayKind;
using gas_bench::Scene;
using gas_bench::TraceQuestion;
using gas_bench::Tracer;
using gas_bench::Workload;
using testing::AllOf;
using testing::Ge;
using testing::Le;

Workload make_workload(const std::string& scene, unsigned item_count) {
    return {scene, [scene, item_count] { return make_scene(scene, item_count); }, 1024};
}

/// The hits of each ray and, for nearest hits, their distances.
template <typename Tree>
std::vector<double> trace(const Scene& scene, const std::vector<gas_bench::Ray>& rays,
                          const TraceQuestion& question) {
    Tracer<Tree> tracer(scene);
    tracer.prepare(rays, question.query, question.in_motion);
    tracer.trace();
    std::vector<double> answers;
    for (unsigned ray = 0; ray < rays.size(); ++ray) {
        answers.push_back(tracer.get_ray_hit_count(ray));
        if (question.query == Query::nearest)
            answers.push_back(tracer.get_batch().get_hit_distance(ray));
    }
    return answers;
}

TEST(Workload, NestedTreesGiveTheAnswersOfOneTree) {
    Workload nested = make_workload(gas_bench::nested_scene_name, 3000);
    Scene flat = nested.get_scene();
    flat.parts.clear();
    for (const TraceQuestion& question : gas_bench::trace_questions) {
        const std::vector<gas_bench::Ray>& rays = nested.get_rays(question.rays);
        const std::vector<double> expected = trace<GasTree>(flat, rays, question);
        EXPECT_EQ(trace<GasTree>(nested.get_scene(), rays, question), expected) << question.name;
        EXPECT_EQ(trace<GasCompressedTree>(nested.get_scene(), rays, question), expected)
            << question.name;
        EXPECT_EQ(trace<GasGridTree>(nested.get_scene(), rays, question), expected)
            << question.name;
    }
}

TEST(Workload, NestedWalksAreCountedWithTheirParts) {
    Workload nested = make_workload(gas_bench::nested_scene_name, 3000);
    Tracer<GasTree>& tracer = nested.get_tracer<GasTree>();
    tracer.prepare(nested.get_rays(RayKind::bounce), Query::all, false);
    const GasWalkCounts counts = tracer.trace_counted();
    // Each hit is one leaf call of a part's tree, and each part is one of the tree above.
    EXPECT_GT(counts.leaf_calls, tracer.get_hit_count());
    EXPECT_GT(counts.visited_nodes, 4 * nested.get_rays(RayKind::bounce).size());
}

TEST(Workload, RoomsCallThreeToTenLeavesARay) {
    Workload rooms = make_workload("rooms", 60000);
    Tracer<GasTree>& tracer = rooms.get_tracer<GasTree>();
    for (const RayKind kind : {RayKind::camera, RayKind::bounce}) {
        const std::vector<gas_bench::Ray>& rays = rooms.get_rays(kind);
        tracer.prepare(rays, Query::nearest, false);
        const auto calls = static_cast<double>(tracer.trace_counted().leaf_calls);
        EXPECT_THAT(calls / static_cast<double>(rays.size()), AllOf(Ge(3.0), Le(10.0)));
        EXPECT_EQ(tracer.get_hit_count(), rays.size());
    }
}

TEST(Workload, MissRaysMeetNothingBelowTheRoot) {
    for (const std::string& name : gas_bench::get_scene_names()) {
        Workload workload = make_workload(name, 2000);
        const std::vector<gas_bench::Ray>& rays = workload.get_rays(RayKind::miss);
        ASSERT_EQ(rays.size(), 1024u);
        for (const Query query : {Query::nearest, Query::any, Query::all}) {
            Tracer<GasTree>& tracer = workload.get_tracer<GasTree>();
            tracer.prepare(rays, query, false);
            const GasWalkCounts counts = tracer.trace_counted();
            EXPECT_EQ(counts.visited_nodes, rays.size()) << name;
            EXPECT_EQ(counts.leaf_calls, 0u) << name;
        }
    }
}

TEST(Workload, EmptyLeavesHitNothing) {
    for (const char* const name : {"surface", gas_bench::nested_scene_name}) {
        Workload workload = make_workload(name, 2000);
        Tracer<GasTree>& tracer = workload.get_tracer<GasTree>();
        tracer.prepare(workload.get_rays(RayKind::bounce), Query::nearest, false);
        tracer.trace();
        EXPECT_GT(tracer.get_hit_count(), 0u);
        tracer.set_empty_leaves(true);
        tracer.trace();
        EXPECT_EQ(tracer.get_hit_count(), 0u);
        EXPECT_GT(tracer.trace_counted().leaf_calls, 0u);
        tracer.set_empty_leaves(false);
        tracer.trace();
        EXPECT_GT(tracer.get_hit_count(), 0u);
    }
}

} // namespace
