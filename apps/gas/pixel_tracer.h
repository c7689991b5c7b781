#pragma once

#include <cstdint>

#include "render_settings.h"
#include "sample_hash.h"
#include "stage.h"

namespace gas_app {

/// How many rays of each kind were traced.
struct RayCounts {
    std::uint64_t camera = 0;
    std::uint64_t mirror = 0;
    std::uint64_t shadow = 0;
    std::uint64_t ambient = 0;

    void add(const RayCounts& other) {
        camera += other.camera;
        mirror += other.mirror;
        shadow += other.shadow;
        ambient += other.ambient;
    }
    std::uint64_t get_total() const { return camera + mirror + shadow + ambient; }
};

/// Computes pixels, one thread's share of them. A pixel depends on nothing but the stage, the
/// settings and its place.
class PixelTracer {
  public:
    PixelTracer(const Stage& stage, const RenderSettings& settings);

    /// The mean light that reaches pixel (x, y).
    Vec3 trace_light(unsigned x, unsigned y);
    /// Nodes visited and leaf callbacks called for a camera ray of pixel (x, y), nested trees
    /// included; the mean over the samples.
    double trace_costs(unsigned x, unsigned y);

    /// Forgets what makes later rays cheaper, so that costs do not depend on earlier pixels.
    void forget_leaves() { m_holder.forget_leaves(); }
    const RayCounts& get_ray_counts() const { return m_ray_counts; }

    static constexpr unsigned batch_size = 16;

  private:
    /// A ray on its way from the camera, and what its light counts in the pixel.
    struct Path {
        Vec3 origin;
        Vec3 direction;
        Vec3 weight;
        unsigned sample;
        float time;
        unsigned depth;
    };
    /// A path's hit, while its light is gathered.
    struct Lit {
        Path path;
        Surface surface;
        /// What stays of the path's weight for light that the surface scatters.
        Vec3 weight;
    };

    void start_samples(unsigned x, unsigned y, unsigned first, unsigned count,
                       const PixelSampler& sampler);
    void trace_paths();
    void shade_paths();
    void shade_hit(const Path& path, const SceneHit& hit, double distance);
    void add_mirror(const Path& path, const Surface& surface, Vec3& weight);
    void gather_sun_light(const PixelSampler& sampler);
    void gather_ambient_light(const PixelSampler& sampler, const Lit& lit);
    void set_ray(unsigned ray, const Vec3& origin, const Vec3& direction, double far_distance,
                 float time, int cache_slot);
    void trace_shadows(unsigned count);
    Vec3 leave_surface(const Surface& surface, const Vec3& point) const;

    const Stage& m_stage;
    const RenderSettings& m_settings;
    TraceState m_state;
    ShaderHolder m_holder;
    GeometryRayBatch m_batch;
    RayCounts m_ray_counts;

    std::vector<Path> m_paths;
    std::vector<Path> m_next_paths;
    std::vector<Lit> m_lit;
    std::vector<Vec3> m_shadow_light;
    Vec3 m_light{0.0, 0.0, 0.0};
};

} // namespace gas_app
