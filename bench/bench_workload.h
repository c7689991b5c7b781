// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <bench/bench_tracer.h>

namespace gas_bench {

enum class RayKind {
    camera, ///< from one eye through the pixels of a picture, row by row: neighbours are coherent
    bounce, ///< from where camera rays end into random directions: neighbours are incoherent
    shadow, ///< from where camera rays end to one light
    miss,   ///< past the scene on all sides, so that not even the root's box is met
};

/// A pinhole camera outside of a scene (or inside of a room), and a square picture of `side` pixels
/// that the scene fills.
struct PictureCamera {
    GMathVec3<float> eye;
    GMathVec3<float> forward;
    GMathVec3<float> right;
    GMathVec3<float> up;
    unsigned side;
    /// The width of the picture at distance 1.
    float width;

    PictureCamera(const Scene& scene, unsigned pixel_count);
    /// Through the pixel coordinates (x, y); of no particular length.
    GMathVec3<float> get_direction(float x, float y) const;
};

/// Rays that are traced in packets of `size`.
struct Packets {
    unsigned size;
    std::vector<Ray> rays;
    /// The frustum of each packet's rays; empty where packets have none.
    std::vector<GMathFrustum> frusta;
};

/// The camera's rays regrouped: squares of `tile_side` x `tile_side` pixels (a power of two) in
/// Z-order. `camera_rays` are its rays row by row; tiles that the border cuts off are left out.
Packets make_tiles(const PictureCamera& camera, const std::vector<Ray>& camera_rays,
                   unsigned tile_side, bool with_frusta);

/// A scene with its rays and a tracer for each tree class. Each is made when it is first needed and
/// kept, so that benchmarks may run in any order.
class Workload {
  public:
    /// `may_move`: trees have motion-blur samples.
    Workload(std::string name, std::function<Scene()> make_scene, unsigned ray_count,
             bool may_move = true)
        : m_name(std::move(name)), m_make_scene(std::move(make_scene)), m_ray_count(ray_count),
          m_may_move(may_move) {}

    /// Of the form scene/items.
    const std::string& get_name() const { return m_name; }
    const Scene& get_scene();
    const std::vector<Ray>& get_rays(RayKind kind);
    PictureCamera get_camera() { return {get_scene(), m_ray_count}; }
    template <typename Tree> Tracer<Tree>& get_tracer() {
        auto& tracer = std::get<std::unique_ptr<Tracer<Tree>>>(m_tracers);
        if (!tracer)
            tracer = std::make_unique<Tracer<Tree>>(get_scene(), m_may_move);
        return *tracer;
    }
    unsigned get_item_count() { return get_scene().boxes.get_count(); }

  private:
    void make_rays();
    void make_miss_rays();

    std::string m_name;
    std::function<Scene()> m_make_scene;
    unsigned m_ray_count;
    bool m_may_move;
    std::unique_ptr<Scene> m_scene;
    std::tuple<std::unique_ptr<Tracer<GasTree>>, std::unique_ptr<Tracer<GasCompressedTree>>,
               std::unique_ptr<Tracer<GasGridTree>>>
        m_tracers;
    std::vector<Ray> m_camera_rays;
    std::vector<Ray> m_bounce_rays;
    std::vector<Ray> m_shadow_rays;
    std::vector<Ray> m_miss_rays;
};

using Workloads = std::vector<std::shared_ptr<Workload>>;

/// A question to a ray tracer, for the library and for the peer.
struct TraceQuestion {
    const char* name;
    Query query;
    RayKind rays;
    bool in_motion;
};

inline constexpr TraceQuestion trace_questions[] = {
    {"nearest/camera", Query::nearest, RayKind::camera, false},
    {"nearest/bounce", Query::nearest, RayKind::bounce, false},
    {"any/shadow", Query::any, RayKind::shadow, false},
    {"any/bounce", Query::any, RayKind::bounce, false},
    {"all/camera", Query::all, RayKind::camera, false},
    {"all/bounce", Query::all, RayKind::bounce, false},
    {"nearest/miss", Query::nearest, RayKind::miss, false},
    {"any/miss", Query::any, RayKind::miss, false},
    {"nearest_motion/camera", Query::nearest, RayKind::camera, true},
    {"nearest_motion/bounce", Query::nearest, RayKind::bounce, true},
    {"any_motion/shadow", Query::any, RayKind::shadow, true},
};

/// A question to packets of rays, for both.
struct PacketQuestion {
    const char* name;
    /// Of the packets, whose size is its square.
    unsigned tile_side;
    /// Tiles of camera rays, or runs of bounce rays.
    RayKind rays;
    bool with_frusta;
};

inline constexpr PacketQuestion packet_questions[] = {
    {"packet/camera_2x2", 2, RayKind::camera, false},
    {"packet/camera_8x8", 8, RayKind::camera, false},
    {"packet/camera_8x8_frustum", 8, RayKind::camera, true},
    {"packet/camera_16x16", 16, RayKind::camera, false},
    {"packet/camera_16x16_frustum", 16, RayKind::camera, true},
    {"packet/bounce_64", 8, RayKind::bounce, false},
};

/// The rays of a question, in its packets.
Packets make_packets(Workload& workload, const PacketQuestion& question);

/// One file of gas_bench each; a benchmark is named question/kind/scene/items/tree.
void register_build(const Workloads& workloads);
void register_refit(const Workloads& workloads);
void register_trace_single(const Workloads& workloads);
void register_trace_packet(const Workloads& workloads);
void register_queries(const Workloads& workloads);
void register_closest_item(const Workloads& workloads);
void register_first_ray(const Workloads& workloads);
void register_owning(const Workloads& workloads);
void register_codec();
void register_grid_first_touch(const Workloads& workloads);

} // namespace gas_bench
