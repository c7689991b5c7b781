/// The same questions to Embree 3: its user geometry over the same triangles, the same intersection
/// function in its callbacks, one thread, a call per ray. Only what the benchmarks need; built
/// where the library is installed.

#include <cstddef>
#include <limits>

#include <benchmark/benchmark.h>

#include "peer_embree.h"

namespace gas_bench {

namespace {

/// What the callbacks see beside the ray: the library hands back the pointer to its context.
struct PeerContext {
    RTCIntersectContext base;
    bool is_all_hits;
    std::uint64_t hit_count;
};

static_assert(offsetof(PeerContext, base) == 0, "the callbacks cast back");

template <bool in_motion>
bool meets(const Scene& scene, unsigned item, const RTCRay& ray, float& distance) {
    const GMathVec3<float> origin = {ray.org_x, ray.org_y, ray.org_z};
    const GMathVec3<float> direction = {ray.dir_x, ray.dir_y, ray.dir_z};
    if constexpr (in_motion) {
        const Triangle triangle =
            blend(scene.triangles[item], scene.later_triangles[item], ray.time);
        return intersect(triangle, origin, direction, ray.tnear, ray.tfar, distance);
    } else {
        return intersect(scene.triangles[item], origin, direction, ray.tnear, ray.tfar, distance);
    }
}

template <bool in_motion> void hit_nearest(const RTCIntersectFunctionNArguments* arguments) {
    if (arguments->N != 1 || arguments->valid[0] == 0)
        return;
    auto& pair = *reinterpret_cast<RTCRayHit*>(arguments->rayhit);
    const Scene& scene = static_cast<const PeerTarget*>(arguments->geometryUserPtr)->scene;
    float distance;
    if (!meets<in_motion>(scene, arguments->primID, pair.ray, distance))
        return;
    pair.ray.tfar = distance;
    pair.hit.primID = arguments->primID;
    pair.hit.geomID = arguments->geomID;
}

template <bool in_motion> void hit_any(const RTCOccludedFunctionNArguments* arguments) {
    if (arguments->N != 1 || arguments->valid[0] == 0)
        return;
    auto& ray = *reinterpret_cast<RTCRay*>(arguments->ray);
    auto& context = *reinterpret_cast<PeerContext*>(arguments->context);
    const Scene& scene = static_cast<const PeerTarget*>(arguments->geometryUserPtr)->scene;
    float distance;
    if (!meets<in_motion>(scene, arguments->primID, ray, distance))
        return;
    ++context.hit_count;
    if (!context.is_all_hits)
        ray.tfar = -std::numeric_limits<float>::infinity();
}

PeerCallbacks get_callbacks(bool in_motion) {
    return in_motion ? PeerCallbacks{hit_nearest<true>, hit_any<true>}
                     : PeerCallbacks{hit_nearest<false>, hit_any<false>};
}

RTCRayHit to_peer(const Ray& ray) {
    RTCRayHit pair = {};
    pair.ray.org_x = ray.origin.x;
    pair.ray.org_y = ray.origin.y;
    pair.ray.org_z = ray.origin.z;
    pair.ray.tnear = ray.near_distance;
    pair.ray.dir_x = ray.direction.x;
    pair.ray.dir_y = ray.direction.y;
    pair.ray.dir_z = ray.direction.z;
    pair.ray.tfar = ray.far_distance;
    pair.ray.time = ray.time;
    pair.ray.mask = ~0u;
    pair.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    pair.hit.primID = RTC_INVALID_GEOMETRY_ID;
    return pair;
}

PeerContext make_context(Query query) {
    PeerContext context;
    rtcInitIntersectContext(&context.base);
    context.is_all_hits = query == Query::all;
    context.hit_count = 0;
    return context;
}

void run_trace(benchmark::State& state, Workload& workload, const PeerKind& kind,
               const TraceQuestion& question) {
    Peer peer(kind, workload.get_scene(), get_callbacks(question.in_motion), question.in_motion,
              RTC_BUILD_QUALITY_MEDIUM);
    peer.build();
    std::vector<RTCRayHit> prepared;
    for (const Ray& ray : workload.get_rays(question.rays))
        prepared.push_back(to_peer(ray));

    PeerContext context = make_context(question.query);
    std::vector<RTCRayHit> pairs(prepared.size());
    for (auto _ : state) {
        context.hit_count = 0;
        pairs = prepared;
        if (question.query == Query::nearest) {
            for (RTCRayHit& pair : pairs)
                rtcIntersect1(peer.get_scene(), &context.base, &pair);
        } else {
            for (RTCRayHit& pair : pairs)
                rtcOccluded1(peer.get_scene(), &context.base, &pair.ray);
        }
    }

    std::uint64_t hit_count = context.hit_count;
    if (question.query == Query::nearest) {
        hit_count = 0;
        for (const RTCRayHit& pair : pairs)
            hit_count += pair.hit.geomID != RTC_INVALID_GEOMETRY_ID ? 1 : 0;
    }
    const auto ray_count = static_cast<double>(pairs.size());
    state.counters["rays/s"] =
        benchmark::Counter(ray_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["hits/ray"] = static_cast<double>(hit_count) / ray_count;
    state.counters["bytes/item"] = peer.get_bytes_per_item();
}

void set_item_counters(benchmark::State& state, Workload& workload, double bytes_per_item) {
    state.counters["items/s"] = benchmark::Counter(static_cast<double>(workload.get_item_count()),
                                                   benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/item"] = bytes_per_item;
}

void run_build(benchmark::State& state, Workload& workload, const PeerKind& kind,
               RTCBuildQuality quality) {
    const Scene& scene = workload.get_scene();
    Peer peer(kind, scene, get_callbacks(false), false, quality);
    // A changed geometry is built from scratch: nothing of the last tree is kept.
    for (auto _ : state)
        peer.build();
    set_item_counters(state, workload, peer.get_bytes_per_item());
}

void run_refit(benchmark::State& state, Workload& workload, const PeerKind& kind) {
    Peer peer(kind, workload.get_scene(), get_callbacks(false), false, RTC_BUILD_QUALITY_MEDIUM);
    peer.keep_topology();
    peer.build();
    bool is_later = false;
    for (auto _ : state) {
        is_later = !is_later;
        peer.set_later(is_later);
        peer.build();
    }
    set_item_counters(state, workload, peer.get_bytes_per_item());
}

template <typename Run>
void add(const std::string& question, const Workload& workload, const PeerKind& kind, Run run) {
    const std::string name = question + "/" + workload.get_name() + "/" + kind.name;
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_peer(const Workloads& workloads) {
    for (const PeerKind& kind : peer_kinds) {
        if (!is_available(kind))
            continue;
        for (const std::shared_ptr<Workload>& workload : workloads) {
            add("build/sah_fast", *workload, kind, [workload, &kind](benchmark::State& state) {
                run_build(state, *workload, kind, RTC_BUILD_QUALITY_MEDIUM);
            });
            add("build/morton", *workload, kind, [workload, &kind](benchmark::State& state) {
                run_build(state, *workload, kind, RTC_BUILD_QUALITY_LOW);
            });
            for (const TraceQuestion& question : trace_questions) {
                add(question.name, *workload, kind,
                    [workload, &kind, &question](benchmark::State& state) {
                        run_trace(state, *workload, kind, question);
                    });
            }
            add("refit/tree", *workload, kind,
                [workload, &kind](benchmark::State& state) { run_refit(state, *workload, kind); });
        }
    }
}

} // namespace gas_bench
