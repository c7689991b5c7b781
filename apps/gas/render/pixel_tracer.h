// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <apps/gas/render/camera_rays.h>

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

/// What a pixel's camera rays cost, the mean over its samples.
struct PixelCost {
    /// Nodes visited and leaf callbacks called, nested trees included; and of these the callbacks.
    double visits = 0.0;
    double leaf_calls = 0.0;
    /// Where times are measured.
    double seconds = 0.0;
};

/// Computes one thread's share of the pixels. A pixel depends only on the stage, the settings and
/// its place; its light does not depend on the packets and streams of the settings.
class PixelTracer {
  public:
    PixelTracer(const Stage& stage, const RenderSettings& settings);

    /// The mean light that reaches each pixel of the tile, row by row.
    void trace_light(const Tile& tile, std::vector<Vec3>& light);
    /// Adds the light of `sample_count` samples from `first_sample` on of each pixel of the tile,
    /// row by row, to `sums`. Sums of all samples are those of `trace_light`, to the bit, where
    /// each call but the last adds a multiple of `CameraRays::sample_limit`.
    void add_samples(const Tile& tile, unsigned first_sample, unsigned sample_count,
                     std::vector<Vec3>& sums);
    /// For each pixel of the tile, row by row. Rays of a packet or a stream share its costs evenly.
    void trace_costs(const Tile& tile, std::vector<PixelCost>& costs);

    /// Clears the cached leaves, so that costs do not depend on earlier tiles.
    void forget_leaves() { m_holder.forget_leaves(); }
    const RayCounts& get_ray_counts() const { return m_ray_counts; }
    /// Of all rays so far, where the settings say that walks are counted.
    const GasWalkCounts& get_walk_counts() const { return m_state.counts; }

  private:
    static constexpr unsigned batch_size = RenderSettings::stream_size;
    /// Paths that are followed together: enough to fill streams at each step.
    static constexpr unsigned block_size = 2048;

    /// A ray on a path from the camera, and the weight of its light in the pixel.
    struct Path {
        /// Of the tile.
        unsigned pixel;
        Vec3 origin;
        Vec3 direction;
        Vec3 weight;
        unsigned sample;
        float time;
        unsigned depth;
        /// When it was traced.
        SceneHit hit;
        double distance;
    };
    /// A path's hit, while its light is gathered.
    struct Lit {
        Path path;
        Surface surface;
        /// The part of the path's weight for light that the surface scatters.
        Vec3 weight;
    };

    /// A ray towards light, the one of its place in the batch.
    struct LightRay {
        unsigned pixel;
        /// The pixel's light without an occluder: this, or this factor times the sky's light.
        Vec3 open;
        bool sees_sky;
        /// The pixel's light with an occluder.
        Vec3 blocked;
    };

    void trace_camera_rays(const Tile& tile, unsigned first, unsigned count);
    void start_path(unsigned pixel, unsigned first, unsigned sample);
    void follow_paths(const Tile& tile);
    void trace_paths();
    void trace_path_batch(Path* paths, unsigned count);
    void shade_paths();
    void shade_hit(const Path& path);
    void add_mirror(const Path& path, const Surface& surface, Vec3& weight);
    void add_light(unsigned pixel, const Vec3& light) { m_light[pixel] = m_light[pixel] + light; }
    Vec3 leave_surface(const Surface& surface, const Vec3& point) const;

    // Light; bodies in pixel_lights.cpp.
    void gather_sun_light(const Tile& tile);
    void gather_ambient_light(const Tile& tile);
    void send_ambient_rays(const PixelSampler& sampler, const Lit& lit, unsigned rays);
    void add_light_ray(const LightRay& ray, const Vec3& origin, const Vec3& direction,
                       double far_distance, float time, int cache_slot);
    void trace_light_rays();
    PixelSampler get_sampler(const Tile& tile, unsigned pixel) const {
        return {m_settings.seed, tile.get_picture_pixel(pixel, m_settings.width)};
    }

    const Stage& m_stage;
    const RenderSettings& m_settings;
    CameraRays m_camera_rays;
    TraceState m_state;
    ShaderHolder m_holder;
    GeometryRayBatch m_batch;
    GeometryRayBatch m_single_ray;
    RayCounts m_ray_counts;

    std::vector<Path> m_paths;
    std::vector<Path> m_next_paths;
    std::vector<Lit> m_lit;
    std::vector<LightRay> m_light_rays;
    /// Per pixel of the tile: sums over the samples.
    std::vector<Vec3> m_light;
};

} // namespace gas_app
