#pragma once

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <embree3/rtcore.h>

#include "bench_workload.h"

/// What the questions to Embree 3 have in common.
namespace gas_bench {

/// The fastest instruction set differs from machine to machine, so two are measured: what the
/// library chooses, and AVX2.
struct PeerKind {
    const char* name;
    const char* configuration;
};

inline constexpr PeerKind peer_kinds[] = {{"peer", "threads=1"},
                                          {"peer_avx2", "threads=1,isa=avx2"}};

/// Whether this machine has what the kind asks for.
inline bool is_available(const PeerKind& kind) {
    const RTCDevice device = rtcNewDevice(kind.configuration);
    if (device)
        rtcReleaseDevice(device);
    return device != nullptr;
}

/// What the callbacks see of the scene.
struct PeerTarget {
    const Scene& scene;
    /// Whether the boxes are those of the closing shutter.
    bool is_later;
};

/// How the peer's rays meet items; `any` may be null.
struct PeerCallbacks {
    RTCIntersectFunctionN nearest;
    RTCOccludedFunctionN any;
};

inline RTCBounds to_bounds(const GMathBbox3<float>& box) {
    RTCBounds bounds = {};
    bounds.lower_x = box.min.x;
    bounds.lower_y = box.min.y;
    bounds.lower_z = box.min.z;
    bounds.upper_x = box.max.x;
    bounds.upper_y = box.max.y;
    bounds.upper_z = box.max.z;
    return bounds;
}

/// A device with one geometry over a scene's items.
class Peer {
  public:
    /// Throws where the machine lacks the instruction set. Nothing is built yet.
    Peer(const PeerKind& kind, const Scene& scene, const PeerCallbacks& callbacks, bool in_motion,
         RTCBuildQuality quality)
        : m_target{scene, false}, m_device(rtcNewDevice(kind.configuration)) {
        if (!m_device)
            throw std::runtime_error("no peer with " + std::string(kind.configuration));
        rtcSetDeviceMemoryMonitorFunction(m_device, count_memory, this);
        m_rtc_scene = rtcNewScene(m_device);
        rtcSetSceneBuildQuality(m_rtc_scene, quality);
        m_geometry = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_USER);
        rtcSetGeometryUserPrimitiveCount(m_geometry, scene.boxes.get_count());
        rtcSetGeometryUserData(m_geometry, &m_target);
        rtcSetGeometryTimeStepCount(m_geometry, in_motion ? 2 : 1);
        rtcSetGeometryBoundsFunction(m_geometry, get_bounds, nullptr);
        rtcSetGeometryIntersectFunction(m_geometry, callbacks.nearest);
        rtcSetGeometryOccludedFunction(m_geometry, callbacks.any);
        rtcSetGeometryBuildQuality(m_geometry, quality);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() {
        rtcReleaseGeometry(m_geometry);
        rtcReleaseScene(m_rtc_scene);
        rtcReleaseDevice(m_device);
    }

    void build() {
        rtcCommitGeometry(m_geometry);
        if (!m_is_attached)
            rtcAttachGeometry(m_rtc_scene, m_geometry);
        m_is_attached = true;
        rtcCommitScene(m_rtc_scene);
    }

    /// The first `build` after this makes the tree, later ones keep its topology. Only scenes of
    /// low quality hold their geometries' trees apart, so that one of them can be refitted.
    void keep_topology() {
        rtcSetSceneBuildQuality(m_rtc_scene, RTC_BUILD_QUALITY_LOW);
        rtcSetSceneFlags(m_rtc_scene, RTC_SCENE_FLAG_DYNAMIC);
        rtcSetGeometryBuildQuality(m_geometry, RTC_BUILD_QUALITY_REFIT);
    }

    /// From now on the items' boxes are those of the closing shutter, or those of the opening one.
    void set_later(bool is_later) { m_target.is_later = is_later; }

    RTCScene get_scene() const { return m_rtc_scene; }
    double get_bytes_per_item() const {
        return static_cast<double>(m_bytes.load()) /
               static_cast<double>(m_target.scene.boxes.get_count());
    }

  private:
    static void get_bounds(const RTCBoundsFunctionArguments* arguments) {
        const PeerTarget& target = *static_cast<const PeerTarget*>(arguments->geometryUserPtr);
        const bool is_later = target.is_later || arguments->timeStep > 0;
        const Scene& scene = target.scene;
        *arguments->bounds_o = to_bounds(is_later ? scene.later_boxes[arguments->primID]
                                                  : scene.boxes[arguments->primID]);
    }

    static bool count_memory(void* peer, ssize_t bytes, bool) {
        static_cast<Peer*>(peer)->m_bytes += bytes;
        return true;
    }

    PeerTarget m_target;
    std::atomic<std::int64_t> m_bytes = 0;
    bool m_is_attached = false;
    RTCDevice m_device;
    RTCScene m_rtc_scene;
    RTCGeometry m_geometry;
};

} // namespace gas_bench
