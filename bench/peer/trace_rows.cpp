// SPDX-License-Identifier: Apache-2.0
/// Rays one by one, in streams and in packets.

#include <memory>
#include <string>

#include <bench/peer/gas_contender.h>
#include <bench/peer/peer_rays.h>
#include <bench/peer/peer_table.h>

namespace gas_peer {

namespace {

using gas_bench::packet_questions;
using gas_bench::PacketQuestion;
using gas_bench::trace_questions;
using gas_bench::TraceQuestion;
using gas_bench::Workload;

using GasTracer = gas_bench::Tracer<GasTree>;

/// A built tree of each device.
using PeerScenes = std::vector<std::unique_ptr<PeerScene>>;

PeerScenes build_scenes(const Scene& scene, const PeerDevices& devices, bool may_move) {
    PeerScenes scenes;
    for (const std::unique_ptr<PeerDevice>& device : devices) {
        scenes.push_back(
            std::make_unique<PeerScene>(*device, scene, may_move, PeerScene::Kind::best));
        scenes.back()->build();
    }
    return scenes;
}

/// The data that the questions share. Rays without motion are traced in trees without motion.
struct Stage {
    Workload& workload;
    const PeerDevices& devices;
    const PeerScenes& scenes;
    bool in_motion;
    RowMaker& rows;

    /// The library's side of a row, over its usual tree.
    std::vector<Contender> start(const TraceQuestion& question, const std::vector<Ray>& rays,
                                 GasCall call) const {
        auto& tracer = workload.get_tracer<GasTree>();
        tracer.prepare(rays, question.query, question.in_motion);
        return {make_tracer_contender("GasTree", tracer, question.query, call)};
    }

    /// Every device with that call.
    void add_peers(std::vector<Contender>& contenders, const std::vector<Ray>& rays, Query query,
                   const PeerCall& call, const std::string& group) const {
        for (std::size_t i = 0; i < devices.size(); ++i) {
            if (can_call(*devices[i], call, query))
                contenders.push_back(
                    make_peer_contender(*devices[i], *scenes[i], rays, query, call, group));
        }
    }

    void add_row(const std::string& name, const std::vector<Ray>& rays, Query query,
                 const std::vector<Contender>& contenders,
                 Unit unit = Unit::million_rays_per_second) const {
        const AnswerCheck check(workload.get_scene(), rays, query, in_motion);
        rows.add_times(name, unit, static_cast<double>(rays.size()), contenders, &check,
                       Groups::rows);
    }
};

void add_single(const Stage& stage, const TraceQuestion& question,
                Unit unit = Unit::million_rays_per_second) {
    const std::vector<Ray>& rays = stage.workload.get_rays(question.rays);
    std::vector<Contender> contenders = stage.start(question, rays, GasCall::rays);
    stage.add_peers(contenders, rays, question.query, single_call, "");
    stage.add_row(question.name, rays, question.query, contenders, unit);
}

/// Against a call per ray, and against the best call for many.
void add_stream(const Stage& stage, const TraceQuestion& question, const std::string& name) {
    const std::vector<Ray>& rays = stage.workload.get_rays(question.rays);
    std::vector<Contender> contenders = stage.start(question, rays, GasCall::stream);
    stage.add_peers(contenders, rays, question.query, single_call, "ray");
    for (const PeerCall& call : batch_calls)
        stage.add_peers(contenders, rays, question.query, call, "batch");
    stage.add_row(name, rays, question.query, contenders);
}

void add_packets(const Stage& stage, const PacketQuestion& question) {
    const gas_bench::Packets packets = make_packets(stage.workload, question);
    if (packets.rays.empty())
        return; // the picture is smaller than a tile
    auto& tracer = stage.workload.get_tracer<GasTree>();
    tracer.prepare_packets(packets.rays, packets.size, packets.frusta);
    std::vector<Contender> contenders = {
        make_tracer_contender("GasTree", tracer, Query::nearest, GasCall::packets)};
    for (const PeerCall& call : batch_calls)
        stage.add_peers(contenders, packets.rays, Query::nearest, call, "");
    stage.add_row(question.name, packets.rays, Query::nearest, contenders);
}

std::string get_stream_name(const TraceQuestion& question) {
    return std::string("stream/") + question.name;
}

bool wants_stream(const RowMaker& rows, const TraceQuestion& question) {
    return rows.wants(get_stream_name(question));
}

bool wants_any(const RowMaker& rows, bool in_motion) {
    for (const TraceQuestion& question : trace_questions) {
        const bool wanted = rows.wants(question.name) || wants_stream(rows, question);
        if (question.in_motion == in_motion && wanted)
            return true;
    }
    for (const PacketQuestion& question : packet_questions) {
        if (!in_motion && rows.wants(question.name))
            return true;
    }
    return false;
}

void add_rows(const Stage& stage) {
    for (const TraceQuestion& question : trace_questions) {
        if (question.in_motion == stage.in_motion && stage.rows.wants(question.name))
            add_single(stage, question);
    }
    for (const TraceQuestion& question : trace_questions) {
        if (question.in_motion == stage.in_motion && wants_stream(stage.rows, question))
            add_stream(stage, question, get_stream_name(question));
    }
    for (const PacketQuestion& question : packet_questions) {
        if (!stage.in_motion && stage.rows.wants(question.name))
            add_packets(stage, question);
    }
}

} // namespace

void add_growth_rows(Workload& workload, const PeerDevices& devices, RowMaker& rows) {
    const Scene& scene = workload.get_scene();
    add_first_build_row(scene, devices, rows);
    rows.add_last_by_depth();
    const PeerScenes scenes = build_scenes(scene, devices, false);
    const Stage stage = {workload, devices, scenes, false, rows};
    for (const TraceQuestion& question : trace_questions) {
        // A ray that misses costs the same, however large the tree.
        if (question.in_motion || question.query == Query::all ||
            question.rays == gas_bench::RayKind::miss)
            continue;
        add_single(stage, question, Unit::nanoseconds_per_ray);
        rows.add_last_by_depth();
    }
}

void add_trace_rows(Workload& workload, const PeerDevices& devices, RowMaker& rows) {
    for (const bool in_motion : {false, true}) {
        if (!wants_any(rows, in_motion))
            continue; // no trees need to be built
        const PeerScenes scenes = build_scenes(workload.get_scene(), devices, in_motion);
        add_rows({workload, devices, scenes, in_motion, rows});
    }
}

} // namespace gas_peer
