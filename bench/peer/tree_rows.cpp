// SPDX-License-Identifier: Apache-2.0
/// The library's tree classes side by side.

#include <limits>
#include <memory>

#include <bench/bench_cost.h>
#include <bench/peer/gas_contender.h>
#include <bench/peer/own_tables.h>

namespace gas_peer {

namespace {

using gas_bench::Query;
using gas_bench::Ray;
using gas_bench::RayKind;
using gas_bench::Scene;
using gas_bench::TraceQuestion;
using gas_bench::Tracer;
using gas_bench::Workload;

constexpr const char* plain_name = "GasTree";
constexpr const char* compressed_name = "GasCompressedTree";
constexpr const char* grid_name = "GasGridTree";

template <typename Tree> Contender make_build(const char* name, const Scene& scene) {
    const auto tree = std::make_shared<std::unique_ptr<Tree>>();
    return {name, name, [tree] { *tree = std::make_unique<Tree>(); },
            [tree, &scene] { gas_bench::create_traced_tree(**tree, scene, false); }, nullptr};
}

/// The time to a picture: a build, then the nearest hits of some rays.
template <typename Tree>
Contender make_first_rays(const char* name, const Scene& scene, const std::vector<Ray>& rays) {
    const auto tracer = std::make_shared<std::unique_ptr<Tracer<Tree>>>();
    const auto run = [tracer, &scene, &rays] {
        *tracer = std::make_unique<Tracer<Tree>>(scene, false);
        (*tracer)->prepare(rays, Query::nearest, false);
        (*tracer)->trace_rays();
    };
    return {name, name, [tracer] { tracer->reset(); }, run,
            [tracer] { return get_answers(**tracer, Query::nearest); }};
}

void add_builds(Workload& workload, RowMaker& rows) {
    const Scene& scene = workload.get_scene();
    if (rows.wants("build"))
        rows.add_times("build", Unit::nanoseconds_per_item, scene.boxes.get_count(),
                       {make_build<GasTree>(plain_name, scene),
                        make_build<GasCompressedTree>(compressed_name, scene),
                        make_build<GasGridTree>(grid_name, scene)},
                       nullptr, Groups::columns);
    for (const RayKind kind : {RayKind::camera, RayKind::bounce}) {
        const char* const name =
            kind == RayKind::camera ? "build, nearest/camera" : "build, nearest/bounce";
        if (!rows.wants(name))
            continue;
        const std::vector<Ray>& rays = workload.get_rays(kind);
        const AnswerCheck check(scene, rays, Query::nearest, false);
        rows.add_times(name, Unit::milliseconds, static_cast<double>(rays.size()),
                       {make_first_rays<GasTree>(plain_name, scene, rays),
                        make_first_rays<GasCompressedTree>(compressed_name, scene, rays),
                        make_first_rays<GasGridTree>(grid_name, scene, rays)},
                       &check, Groups::columns);
    }
}

/// The workload's tracer of a class, prepared.
template <typename Tree>
Contender prepare(const char* name, Workload& workload, const TraceQuestion& question) {
    Tracer<Tree>& tracer = workload.get_tracer<Tree>();
    tracer.prepare(workload.get_rays(question.rays), question.query, question.in_motion);
    return make_tracer_contender(name, tracer, question.query, GasCall::rays);
}

void add_trace(Workload& workload, const TraceQuestion& question, RowMaker& rows) {
    const std::vector<Ray>& rays = workload.get_rays(question.rays);
    const AnswerCheck check(workload.get_scene(), rays, question.query, question.in_motion);
    rows.add_times(question.name, Unit::million_rays_per_second, static_cast<double>(rays.size()),
                   {prepare<GasTree>(plain_name, workload, question),
                    prepare<GasCompressedTree>(compressed_name, workload, question),
                    prepare<GasGridTree>(grid_name, workload, question)},
                   &check, Groups::columns);
}

/// Bytes per item of a tree as the last questions left it.
template <typename Tree> double get_size(Workload& workload, bool in_motion) {
    Tracer<Tree>& tracer = workload.get_tracer<Tree>();
    tracer.prepare(workload.get_rays(RayKind::camera), Query::nearest, in_motion);
    return static_cast<double>(tracer.get_memory_size()) / workload.get_item_count();
}

} // namespace

void add_tree_rows(Workload& workload, RowMaker& rows) {
    add_builds(workload, rows);
    for (const TraceQuestion& question : gas_bench::trace_questions) {
        if (rows.wants(question.name))
            add_trace(workload, question, rows);
    }
    for (const bool in_motion : {false, true}) {
        const char* const name = in_motion ? "memory/motion" : "memory/static";
        if (rows.wants(name))
            rows.add_figures(name, "bytes/item",
                             {get_size<GasTree>(workload, in_motion),
                              get_size<GasCompressedTree>(workload, in_motion),
                              get_size<GasGridTree>(workload, in_motion)},
                             Groups::columns);
    }
    if (rows.wants("cost"))
        rows.add_figures(
            "cost", "boxes",
            {gas_bench::get_sah_cost(workload.get_tracer<GasTree>().get_tree()),
             gas_bench::get_sah_cost(workload.get_tracer<GasCompressedTree>().get_tree()),
             std::numeric_limits<double>::quiet_NaN()},
            Groups::columns);
}

} // namespace gas_peer
