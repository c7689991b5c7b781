/// Packets for Embree 3: the same tiles, four or eight rays to a call, which it walks together. The
/// callbacks look at each active ray of a packet with the same intersection function.

#include <algorithm>

#include <benchmark/benchmark.h>

#include "peer_embree.h"

namespace gas_bench {

namespace {

void hit_nearest(const RTCIntersectFunctionNArguments* arguments) {
    const unsigned count = arguments->N;
    RTCRayN* const rays = RTCRayHitN_RayN(arguments->rayhit, count);
    RTCHitN* const hits = RTCRayHitN_HitN(arguments->rayhit, count);
    const Scene& scene = static_cast<const PeerTarget*>(arguments->geometryUserPtr)->scene;
    const Triangle& triangle = scene.triangles[arguments->primID];
    for (unsigned i = 0; i < count; ++i) {
        if (arguments->valid[i] == 0)
            continue;
        const GMathVec3<float> origin = {RTCRayN_org_x(rays, count, i),
                                         RTCRayN_org_y(rays, count, i),
                                         RTCRayN_org_z(rays, count, i)};
        const GMathVec3<float> direction = {RTCRayN_dir_x(rays, count, i),
                                            RTCRayN_dir_y(rays, count, i),
                                            RTCRayN_dir_z(rays, count, i)};
        float distance;
        if (!intersect(triangle, origin, direction, RTCRayN_tnear(rays, count, i),
                       RTCRayN_tfar(rays, count, i), distance))
            continue;
        RTCRayN_tfar(rays, count, i) = distance;
        RTCHitN_primID(hits, count, i) = arguments->primID;
        RTCHitN_geomID(hits, count, i) = arguments->geomID;
    }
}

template <unsigned width> struct PeerPacket;

template <> struct PeerPacket<4> {
    using RayHit = RTCRayHit4;
    static void intersect(const int* valid, RTCScene scene, RTCIntersectContext& context,
                          RayHit& packet) {
        rtcIntersect4(valid, scene, &context, &packet);
    }
};

template <> struct PeerPacket<8> {
    using RayHit = RTCRayHit8;
    static void intersect(const int* valid, RTCScene scene, RTCIntersectContext& context,
                          RayHit& packet) {
        rtcIntersect8(valid, scene, &context, &packet);
    }
};

/// The rays from `first` on; those beyond the last repeat it.
template <unsigned width>
typename PeerPacket<width>::RayHit to_packet(const std::vector<Ray>& rays, std::size_t first) {
    typename PeerPacket<width>::RayHit packet = {};
    for (unsigned i = 0; i < width; ++i) {
        const Ray& ray = rays[std::min(first + i, rays.size() - 1)];
        packet.ray.org_x[i] = ray.origin.x;
        packet.ray.org_y[i] = ray.origin.y;
        packet.ray.org_z[i] = ray.origin.z;
        packet.ray.dir_x[i] = ray.direction.x;
        packet.ray.dir_y[i] = ray.direction.y;
        packet.ray.dir_z[i] = ray.direction.z;
        packet.ray.tnear[i] = ray.near_distance;
        packet.ray.tfar[i] = ray.far_distance;
        packet.ray.mask[i] = ~0u;
        packet.hit.geomID[i] = RTC_INVALID_GEOMETRY_ID;
        packet.hit.primID[i] = RTC_INVALID_GEOMETRY_ID;
    }
    return packet;
}

template <unsigned width>
void run(benchmark::State& state, Workload& workload, const PeerKind& kind,
         const PacketQuestion& question) {
    const std::vector<Ray> rays = make_packets(workload, question).rays;
    if (rays.empty()) {
        state.SkipWithError("the picture is smaller than a tile");
        return;
    }
    Peer peer(kind, workload.get_scene(), {hit_nearest, nullptr}, false, RTC_BUILD_QUALITY_MEDIUM);
    peer.build();
    using RayHit = typename PeerPacket<width>::RayHit;
    std::vector<RayHit> prepared;
    for (std::size_t first = 0; first < rays.size(); first += width)
        prepared.push_back(to_packet<width>(rays, first));

    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    if (question.rays == RayKind::camera)
        context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    alignas(32) int valid[width];
    std::fill(valid, valid + width, -1);
    std::vector<RayHit> packets(prepared.size());
    for (auto _ : state) {
        packets = prepared;
        for (RayHit& packet : packets)
            PeerPacket<width>::intersect(valid, peer.get_scene(), context, packet);
    }

    std::size_t hit_count = 0;
    for (std::size_t ray = 0; ray < rays.size(); ++ray)
        hit_count += packets[ray / width].hit.geomID[ray % width] != RTC_INVALID_GEOMETRY_ID;
    const auto ray_count = static_cast<double>(rays.size());
    state.counters["rays/s"] =
        benchmark::Counter(ray_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["hits/ray"] = static_cast<double>(hit_count) / ray_count;
}

template <unsigned width>
void add(const std::shared_ptr<Workload>& workload, const PeerKind& kind,
         const PacketQuestion& question) {
    const std::string name = std::string(question.name) + "/" + workload->get_name() + "/" +
                             kind.name + "_" + std::to_string(width);
    benchmark::RegisterBenchmark(name.c_str(),
                                 [workload, &kind, &question](benchmark::State& state) {
                                     run<width>(state, *workload, kind, question);
                                 })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_peer_packets(const Workloads& workloads) {
    for (const PeerKind& kind : peer_kinds) {
        if (!is_available(kind))
            continue;
        for (const std::shared_ptr<Workload>& workload : workloads) {
            for (const PacketQuestion& question : packet_questions) {
                add<4>(workload, kind, question);
                add<8>(workload, kind, question);
            }
        }
    }
}

} // namespace gas_bench
