// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <embree3/rtcore.h>

#include <bench/bench_scene.h>
#include <bench/peer/peer_callbacks.h>

/// The peer: Embree 3, one thread, user geometry with a primitive per item.
namespace gas_peer {

using gas_bench::Scene;

/// One configuration of the library. The fastest instruction set differs from machine to machine.
class PeerDevice {
  public:
    /// Null where the machine lacks what `configuration` asks for.
    static std::unique_ptr<PeerDevice> create(const std::string& configuration);
    PeerDevice(const PeerDevice&) = delete;
    PeerDevice& operator=(const PeerDevice&) = delete;
    ~PeerDevice();

    /// Its instruction set: "avx512", "avx2", "avx" or "sse".
    const std::string& get_name() const { return m_name; }
    RTCDevice get() const { return m_device; }
    /// Bytes that the device and all of its scenes hold.
    std::int64_t get_byte_count() const { return m_byte_count; }
    /// Whether packets of `width` rays are walked as such.
    bool has_packets(unsigned width) const;
    bool has_streams() const;
    /// As major.minor.patch.
    std::string get_version() const;
    /// Throws std::runtime_error when a call has failed since the last check.
    void check() const;

  private:
    explicit PeerDevice(RTCDevice device);
    std::string find_instruction_set() const;
    static bool count_bytes(void* device, ssize_t bytes, bool);

    RTCDevice m_device;
    std::string m_name;
    std::atomic<std::int64_t> m_byte_count = 0;
};

using PeerDevices = std::vector<std::unique_ptr<PeerDevice>>;

/// First the one with the instruction set that the peer chooses, then, where that is another and
/// the machine has it, one with AVX2.
PeerDevices create_peer_devices();
/// Version, and the instruction sets of the devices.
std::string describe(const PeerDevices& devices);

/// The scene's data for callbacks.
struct PeerTarget {
    const Scene& scene;
    /// Whether the boxes are those of the closing shutter.
    bool is_later;
    /// The scenes under its leaves, where items are parts with trees of their own.
    std::vector<RTCScene> parts;
};

/// One geometry over a scene's items or, where a scene has parts, one over the parts and a scene
/// for each of them. Device and scene outlive it.
class PeerScene {
  public:
    /// How the tree is built.
    enum class Kind {
        best,   ///< binned SAH
        fast,   ///< by Morton codes
        refits, ///< `build` keeps the topology from its second call on
    };

    enum class Leaves {
        intersected,
        empty, ///< their callbacks do nothing
    };

    /// Nothing is built yet. `may_move`: two time steps.
    PeerScene(const PeerDevice& device, const Scene& scene, bool may_move, Kind kind,
              Leaves leaves = Leaves::intersected);
    PeerScene(const PeerScene&) = delete;
    PeerScene& operator=(const PeerScene&) = delete;
    ~PeerScene();

    /// Builds the tree, or refits it.
    void build();

    /// Sets the items' boxes to those of the closing or of the opening shutter.
    void set_later(bool is_later) { m_target.is_later = is_later; }

    RTCScene get() const { return m_rtc_scene; }

  private:
    static void get_bounds(const RTCBoundsFunctionArguments* arguments);
    void set_callbacks(const PeerCallbacks& callbacks);
    void set_kind(Kind kind);

    Scene m_outline;
    std::vector<std::unique_ptr<PeerScene>> m_parts;
    PeerTarget m_target;
    bool m_is_attached = false;
    const PeerDevice& m_device;
    RTCScene m_rtc_scene;
    RTCGeometry m_geometry;
};

RTCBounds to_peer_bounds(const GMathBbox3<float>& box);

} // namespace gas_peer
