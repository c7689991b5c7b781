#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench_tracer.h"

namespace gas_bench {

enum class RayKind {
    camera, ///< from one eye through the pixels of a picture, row by row: neighbours are alike
    bounce, ///< from where camera rays end into random directions: neighbours are not alike
    shadow, ///< from where camera rays end to one light
};

/// A scene to measure on, with its rays and its tracer. Each is made when it is first asked for
/// and kept, so that benchmarks may run in any order.
class Workload {
  public:
    Workload(std::string name, std::function<Scene()> make_scene, unsigned ray_count)
        : m_name(std::move(name)), m_make_scene(std::move(make_scene)), m_ray_count(ray_count) {}

    /// Of the form scene/items.
    const std::string& get_name() const { return m_name; }
    const Scene& get_scene();
    const std::vector<Ray>& get_rays(RayKind kind);
    Tracer& get_tracer();
    unsigned get_item_count() { return get_scene().boxes.get_count(); }

  private:
    void make_rays();

    std::string m_name;
    std::function<Scene()> m_make_scene;
    unsigned m_ray_count;
    std::unique_ptr<Scene> m_scene;
    std::unique_ptr<Tracer> m_tracer;
    std::vector<Ray> m_camera_rays;
    std::vector<Ray> m_bounce_rays;
    std::vector<Ray> m_shadow_rays;
};

using Workloads = std::vector<std::shared_ptr<Workload>>;

/// A question to a ray tracer, asked of the library and of the peer alike.
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
    {"nearest_motion/camera", Query::nearest, RayKind::camera, true},
    {"nearest_motion/bounce", Query::nearest, RayKind::bounce, true},
    {"any_motion/shadow", Query::any, RayKind::shadow, true},
};

/// One file each; a benchmark is named question/scene/items/who.
void register_build(const Workloads& workloads);
void register_refit(const Workloads& workloads);
void register_trace_single(const Workloads& workloads);
/// Only where GAS_BENCH_PEER is defined.
void register_peer(const Workloads& workloads);

} // namespace gas_bench
