// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/peer_callbacks.h>

#include <cstddef>
#include <limits>

#include <bench/bench_ray_group.h>
#include <bench/peer/peer_scene.h>

namespace gas_peer {

namespace {

static_assert(offsetof(PeerContext, base) == 0, "the callbacks cast back");

using Point = GMathVec3<float>;

constexpr float stopped = -std::numeric_limits<float>::infinity();

const Scene& get_scene(void* user) { return static_cast<const PeerTarget*>(user)->scene; }

template <bool in_motion>
bool meets(const Scene& scene, unsigned item, const Point& origin, const Point& direction,
           float near_distance, float far_distance, float time, float& distance) {
    if constexpr (in_motion) {
        const gas_bench::Triangle triangle =
            blend(scene.triangles[item], scene.later_triangles[item], time);
        return intersect(triangle, origin, direction, near_distance, far_distance, distance);
    } else {
        return intersect(scene.triangles[item], origin, direction, near_distance, far_distance,
                         distance);
    }
}

/// A single ray.
template <bool in_motion>
bool meets(const Scene& scene, unsigned item, const RTCRay& ray, float& distance) {
    return meets<in_motion>(scene, item, {ray.org_x, ray.org_y, ray.org_z},
                            {ray.dir_x, ray.dir_y, ray.dir_z}, ray.tnear, ray.tfar, ray.time,
                            distance);
}

/// Ray `i` of a packet of `count`.
template <bool in_motion>
bool meets(const Scene& scene, unsigned item, RTCRayN* rays, unsigned count, unsigned i,
           float& distance) {
    const Point origin = {RTCRayN_org_x(rays, count, i), RTCRayN_org_y(rays, count, i),
                          RTCRayN_org_z(rays, count, i)};
    const Point direction = {RTCRayN_dir_x(rays, count, i), RTCRayN_dir_y(rays, count, i),
                             RTCRayN_dir_z(rays, count, i)};
    return meets<in_motion>(scene, item, origin, direction, RTCRayN_tnear(rays, count, i),
                            RTCRayN_tfar(rays, count, i), RTCRayN_time(rays, count, i), distance);
}

/// Rays start..start + 3 of a packet of `count`.
gas_bench::RayGroup get_group(RTCRayN* rays, unsigned count, unsigned start) {
    const auto load = [](const float& first) { return SimdF::load_unaligned(&first); };
    return {{load(RTCRayN_org_x(rays, count, start)), load(RTCRayN_org_y(rays, count, start)),
             load(RTCRayN_org_z(rays, count, start))},
            {load(RTCRayN_dir_x(rays, count, start)), load(RTCRayN_dir_y(rays, count, start)),
             load(RTCRayN_dir_z(rays, count, start))},
            load(RTCRayN_tnear(rays, count, start))};
}

/// Rays of a packet, as in the library's callback: a test for each four. `count` is a multiple of
/// four.
void hit_nearest_together(const RTCIntersectFunctionNArguments* arguments) {
    const Scene& scene = get_scene(arguments->geometryUserPtr);
    const unsigned count = arguments->N;
    RTCRayN* const rays = RTCRayHitN_RayN(arguments->rayhit, count);
    RTCHitN* const hits = RTCRayHitN_HitN(arguments->rayhit, count);
    for (unsigned start = 0; start < count; start += 4) {
        const int* const valid = arguments->valid + start;
        if ((valid[0] | valid[1] | valid[2] | valid[3]) == 0)
            continue;
        SimdF distances;
        const int mask =
            intersect(scene.triangles[arguments->primID], get_group(rays, count, start),
                      SimdF::load_unaligned(&RTCRayN_tfar(rays, count, start)), distances);
        for (unsigned lane = 0; mask != 0 && lane < 4; ++lane) {
            if ((mask >> lane & 1) == 0 || valid[lane] == 0)
                continue;
            RTCRayN_tfar(rays, count, start + lane) = distances.get(lane);
            RTCHitN_primID(hits, count, start + lane) = arguments->primID;
            RTCHitN_geomID(hits, count, start + lane) = arguments->geomID;
        }
    }
}

template <bool in_motion> void hit_nearest(const RTCIntersectFunctionNArguments* arguments) {
    const Scene& scene = get_scene(arguments->geometryUserPtr);
    const unsigned item = arguments->primID;
    const unsigned count = arguments->N;
    float distance;
    if (count == 1) {
        auto& pair = *reinterpret_cast<RTCRayHit*>(arguments->rayhit);
        if (arguments->valid[0] == 0 || !meets<in_motion>(scene, item, pair.ray, distance))
            return;
        pair.ray.tfar = distance;
        pair.hit.primID = item;
        pair.hit.geomID = arguments->geomID;
        return;
    }
    if (!in_motion && count % 4 == 0) {
        hit_nearest_together(arguments);
        return;
    }
    RTCRayN* const rays = RTCRayHitN_RayN(arguments->rayhit, count);
    RTCHitN* const hits = RTCRayHitN_HitN(arguments->rayhit, count);
    for (unsigned i = 0; i < count; ++i) {
        if (arguments->valid[i] == 0 || !meets<in_motion>(scene, item, rays, count, i, distance))
            continue;
        RTCRayN_tfar(rays, count, i) = distance;
        RTCHitN_primID(hits, count, i) = item;
        RTCHitN_geomID(hits, count, i) = arguments->geomID;
    }
}

template <bool in_motion> void hit_any(const RTCOccludedFunctionNArguments* arguments) {
    const auto& context = *reinterpret_cast<const PeerContext*>(arguments->context);
    const Scene& scene = get_scene(arguments->geometryUserPtr);
    const unsigned item = arguments->primID;
    const unsigned count = arguments->N;
    float distance;
    if (count == 1) {
        auto& ray = *reinterpret_cast<RTCRay*>(arguments->ray);
        if (arguments->valid[0] == 0 || !meets<in_motion>(scene, item, ray, distance))
            return;
        if (context.hit_counts)
            ++context.hit_counts[ray.id];
        else
            ray.tfar = stopped;
        return;
    }
    RTCRayN* const rays = arguments->ray;
    for (unsigned i = 0; i < count; ++i) {
        if (arguments->valid[i] == 0 || !meets<in_motion>(scene, item, rays, count, i, distance))
            continue;
        if (context.hit_counts)
            ++context.hit_counts[RTCRayN_id(rays, count, i)];
        else
            RTCRayN_tfar(rays, count, i) = stopped;
    }
}

RTCScene get_part(void* user, unsigned part) {
    return static_cast<const PeerTarget*>(user)->parts[part];
}

void trace_part_nearest(const RTCIntersectFunctionNArguments* arguments) {
    RTCScene part = get_part(arguments->geometryUserPtr, arguments->primID);
    const int* const valid = arguments->valid;
    RTCIntersectContext* const context = arguments->context;
    void* const rays = arguments->rayhit;
    switch (arguments->N) {
    case 1:
        if (valid[0] != 0)
            rtcIntersect1(part, context, static_cast<RTCRayHit*>(rays));
        break;
    case 4:
        rtcIntersect4(valid, part, context, static_cast<RTCRayHit4*>(rays));
        break;
    case 8:
        rtcIntersect8(valid, part, context, static_cast<RTCRayHit8*>(rays));
        break;
    default:
        rtcIntersect16(valid, part, context, static_cast<RTCRayHit16*>(rays));
    }
}

void trace_part_any(const RTCOccludedFunctionNArguments* arguments) {
    RTCScene part = get_part(arguments->geometryUserPtr, arguments->primID);
    const int* const valid = arguments->valid;
    RTCIntersectContext* const context = arguments->context;
    void* const rays = arguments->ray;
    switch (arguments->N) {
    case 1:
        if (valid[0] != 0)
            rtcOccluded1(part, context, static_cast<RTCRay*>(rays));
        break;
    case 4:
        rtcOccluded4(valid, part, context, static_cast<RTCRay4*>(rays));
        break;
    case 8:
        rtcOccluded8(valid, part, context, static_cast<RTCRay8*>(rays));
        break;
    default:
        rtcOccluded16(valid, part, context, static_cast<RTCRay16*>(rays));
    }
}

} // namespace

PeerCallbacks get_item_callbacks(bool in_motion) {
    if (in_motion)
        return {hit_nearest<true>, hit_any<true>};
    return {hit_nearest<false>, hit_any<false>};
}

PeerCallbacks get_part_callbacks() { return {trace_part_nearest, trace_part_any}; }

PeerCallbacks get_empty_callbacks() {
    return {[](const RTCIntersectFunctionNArguments*) {},
            [](const RTCOccludedFunctionNArguments*) {}};
}

} // namespace gas_peer
