// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/peer_rays.h>

#include <algorithm>
#include <limits>

namespace gas_peer {

namespace {

/// All lanes of a packet; lanes without a ray have an empty range of distances.
alignas(64) constexpr int all_valid[16] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                           -1, -1, -1, -1, -1, -1, -1, -1};

constexpr std::size_t ray_size = sizeof(RTCRay);
constexpr std::size_t ray_hit_size = sizeof(RTCRayHit);
static_assert(sizeof(RTCRay4) == 4 * ray_size && sizeof(RTCRayHit4) == 4 * ray_hit_size);
static_assert(sizeof(RTCRay8) == 8 * ray_size && sizeof(RTCRayHit8) == 8 * ray_hit_size);
static_assert(sizeof(RTCRay16) == 16 * ray_size && sizeof(RTCRayHit16) == 16 * ray_hit_size);

} // namespace

bool can_call(const PeerDevice& device, const PeerCall& call, Query query) {
    if (call.is_coherent && query == Query::all)
        return false;
    if (call.is_stream)
        return device.has_streams();
    return call.width == 1 || device.has_packets(call.width);
}

PeerRays::PeerRays(const PeerScene& scene, const std::vector<Ray>& rays, Query query,
                   const PeerCall& call)
    : m_scene(scene.get()), m_query(query), m_call(call), m_ray_count(rays.size()),
      m_packet_count((rays.size() + call.width - 1) / call.width),
      m_hit_counts(query == Query::all ? rays.size() : 0), m_context{} {
    const std::size_t byte_count = m_packet_count * get_record_size();
    m_lines.resize((byte_count + sizeof(Line) - 1) / sizeof(Line));
    fill(rays);
    m_prepared = m_lines;
    rtcInitIntersectContext(&m_context.base);
    m_context.base.flags =
        call.is_coherent ? RTC_INTERSECT_CONTEXT_FLAG_COHERENT : RTC_INTERSECT_CONTEXT_FLAG_NONE;
    m_context.hit_counts = query == Query::all ? m_hit_counts.data() : nullptr;
}

std::size_t PeerRays::get_record_size() const {
    return m_call.width * (m_query == Query::nearest ? ray_hit_size : ray_size);
}

RTCRayN* PeerRays::get_packet(std::size_t packet) {
    unsigned char* const bytes = m_lines.data()->bytes;
    return reinterpret_cast<RTCRayN*>(bytes + packet * get_record_size());
}

void PeerRays::fill(const std::vector<Ray>& rays) {
    const unsigned width = m_call.width;
    for (std::size_t i = 0; i < m_packet_count * width; ++i) {
        const bool is_used = i < rays.size();
        const Ray& ray = rays[is_used ? i : rays.size() - 1];
        RTCRayN* const packet = get_packet(i / width);
        const auto lane = static_cast<unsigned>(i % width);
        RTCRayN_org_x(packet, width, lane) = ray.origin.x;
        RTCRayN_org_y(packet, width, lane) = ray.origin.y;
        RTCRayN_org_z(packet, width, lane) = ray.origin.z;
        RTCRayN_tnear(packet, width, lane) = is_used ? ray.near_distance : 1.0f;
        RTCRayN_dir_x(packet, width, lane) = ray.direction.x;
        RTCRayN_dir_y(packet, width, lane) = ray.direction.y;
        RTCRayN_dir_z(packet, width, lane) = ray.direction.z;
        RTCRayN_time(packet, width, lane) = ray.time;
        RTCRayN_tfar(packet, width, lane) = is_used ? ray.far_distance : 0.0f;
        RTCRayN_mask(packet, width, lane) = ~0u;
        RTCRayN_id(packet, width, lane) = static_cast<unsigned>(i);
        RTCRayN_flags(packet, width, lane) = 0;
        if (m_query == Query::nearest) {
            RTCHitN* const hits = RTCRayHitN_HitN(reinterpret_cast<RTCRayHitN*>(packet), width);
            RTCHitN_geomID(hits, width, lane) = RTC_INVALID_GEOMETRY_ID;
            RTCHitN_primID(hits, width, lane) = RTC_INVALID_GEOMETRY_ID;
        }
    }
}

void PeerRays::reset() {
    m_lines = m_prepared;
    std::fill(m_hit_counts.begin(), m_hit_counts.end(), 0u);
}

template <typename Record, typename Call> void PeerRays::for_each_packet(const Call& call) {
    auto* const records = reinterpret_cast<Record*>(get_packet(0));
    for (std::size_t packet = 0; packet < m_packet_count; ++packet)
        call(&records[packet]);
}

void PeerRays::trace() {
    if (m_call.is_stream)
        trace_stream();
    else if (m_query == Query::nearest)
        trace_nearest();
    else
        trace_any();
}

void PeerRays::trace_nearest() {
    RTCIntersectContext* const context = &m_context.base;
    RTCScene scene = m_scene;
    switch (m_call.width) {
    case 4:
        for_each_packet<RTCRayHit4>(
            [=](RTCRayHit4* rays) { rtcIntersect4(all_valid, scene, context, rays); });
        break;
    case 8:
        for_each_packet<RTCRayHit8>(
            [=](RTCRayHit8* rays) { rtcIntersect8(all_valid, scene, context, rays); });
        break;
    case 16:
        for_each_packet<RTCRayHit16>(
            [=](RTCRayHit16* rays) { rtcIntersect16(all_valid, scene, context, rays); });
        break;
    default:
        for_each_packet<RTCRayHit>([=](RTCRayHit* ray) { rtcIntersect1(scene, context, ray); });
    }
}

void PeerRays::trace_any() {
    RTCIntersectContext* const context = &m_context.base;
    RTCScene scene = m_scene;
    switch (m_call.width) {
    case 4:
        for_each_packet<RTCRay4>(
            [=](RTCRay4* rays) { rtcOccluded4(all_valid, scene, context, rays); });
        break;
    case 8:
        for_each_packet<RTCRay8>(
            [=](RTCRay8* rays) { rtcOccluded8(all_valid, scene, context, rays); });
        break;
    case 16:
        for_each_packet<RTCRay16>(
            [=](RTCRay16* rays) { rtcOccluded16(all_valid, scene, context, rays); });
        break;
    default:
        for_each_packet<RTCRay>([=](RTCRay* ray) { rtcOccluded1(scene, context, ray); });
    }
}

void PeerRays::trace_stream() {
    const auto count = static_cast<unsigned>(m_ray_count);
    RTCRayN* const rays = get_packet(0);
    if (m_query == Query::nearest)
        rtcIntersect1M(m_scene, &m_context.base, reinterpret_cast<RTCRayHit*>(rays), count,
                       ray_hit_size);
    else
        rtcOccluded1M(m_scene, &m_context.base, reinterpret_cast<RTCRay*>(rays), count, ray_size);
}

Answers PeerRays::get_answers() {
    if (m_query == Query::all)
        return {m_hit_counts.begin(), m_hit_counts.end()};
    Answers answers(m_ray_count);
    const unsigned width = m_call.width;
    for (std::size_t i = 0; i < m_ray_count; ++i) {
        RTCRayN* const packet = get_packet(i / width);
        const auto lane = static_cast<unsigned>(i % width);
        const float distance = RTCRayN_tfar(packet, width, lane);
        if (m_query == Query::any) {
            answers[i] = distance == -std::numeric_limits<float>::infinity() ? 1.0f : 0.0f;
        } else {
            RTCHitN* const hits = RTCRayHitN_HitN(reinterpret_cast<RTCRayHitN*>(packet), width);
            const bool is_hit = RTCHitN_geomID(hits, width, lane) != RTC_INVALID_GEOMETRY_ID;
            answers[i] = is_hit ? distance : std::numeric_limits<float>::infinity();
        }
    }
    return answers;
}

Contender make_peer_contender(const PeerDevice& device, const PeerScene& scene,
                              const std::vector<Ray>& rays, Query query, const PeerCall& call,
                              const std::string& group) {
    // Functions are copied, rays are not.
    const auto peer_rays = std::make_shared<PeerRays>(scene, rays, query, call);
    return {device.get_name() + " " + call.name, group, [peer_rays] { peer_rays->reset(); },
            [peer_rays] { peer_rays->trace(); }, [peer_rays] { return peer_rays->get_answers(); }};
}

} // namespace gas_peer
