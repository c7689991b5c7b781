// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <bench/bench_tracer.h>
#include <bench/peer/contender.h>
#include <bench/peer/peer_callbacks.h>
#include <bench/peer/peer_scene.h>

namespace gas_peer {

using gas_bench::Query;
using gas_bench::Ray;

/// One way to call the peer.
struct PeerCall {
    const char* name;
    /// Rays to a packet; 1: each by itself.
    unsigned width;
    /// Whether one call traces all rays.
    bool is_stream;
    /// Whether the rays are marked as coherent.
    bool is_coherent;
};

/// A call for each ray.
inline constexpr PeerCall single_call = {"ray", 1, false, false};

/// All calls for many rays; rays in packets walk together.
inline constexpr PeerCall batch_calls[] = {
    {"1M", 1, true, false},         {"1M coherent", 1, true, true},  {"4", 4, false, false},
    {"4 coherent", 4, false, true}, {"8", 8, false, false},          {"8 coherent", 8, false, true},
    {"16", 16, false, false},       {"16 coherent", 16, false, true}};

/// Whether the device has that call, and it is right for the query. For rays that are marked as
/// coherent the peer may report one hit several times, which is wrong where hits are counted.
bool can_call(const PeerDevice& device, const PeerCall& call, Query query);

/// Rays in the peer's layout, and their query.
class PeerRays {
  public:
    /// The built scene outlives this; the rays need not.
    PeerRays(const PeerScene& scene, const std::vector<Ray>& rays, Query query,
             const PeerCall& call);

    /// Resets every ray's far distance and clears all hits.
    void reset();
    void trace();
    Answers get_answers();

  private:
    /// Room for rays and hits of any width, aligned for all of them.
    struct alignas(64) Line {
        unsigned char bytes[64];
    };

    std::size_t get_record_size() const;
    RTCRayN* get_packet(std::size_t packet);
    void fill(const std::vector<Ray>& rays);
    void trace_nearest();
    void trace_any();
    void trace_stream();
    template <typename Record, typename Call> void for_each_packet(const Call& call);

    RTCScene m_scene;
    Query m_query;
    PeerCall m_call;
    std::size_t m_ray_count;
    std::size_t m_packet_count;
    std::vector<Line> m_prepared;
    std::vector<Line> m_lines;
    std::vector<std::uint32_t> m_hit_counts;
    PeerContext m_context;
};

/// The peer with one device and call; its name is that of both.
Contender make_peer_contender(const PeerDevice& device, const PeerScene& scene,
                              const std::vector<Ray>& rays, Query query, const PeerCall& call,
                              const std::string& group);

} // namespace gas_peer
