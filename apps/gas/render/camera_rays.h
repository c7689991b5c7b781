// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/math/sample_hash.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/scene/stage.h>

namespace gas_app {

/// Sides of the tiles in which a picture is computed.
inline constexpr unsigned tile_size = 16;
inline constexpr unsigned largest_packet = tile_size * tile_size;

/// A part of the picture, of at most `tile_size` on each side; right and bottom are exclusive.
struct Tile {
    unsigned left = 0;
    unsigned top = 0;
    unsigned right = 0;
    unsigned bottom = 0;

    unsigned get_width() const { return right - left; }
    unsigned get_pixel_count() const { return get_width() * (bottom - top); }
    /// Row by row.
    unsigned get_x(unsigned pixel) const { return left + pixel % get_width(); }
    unsigned get_y(unsigned pixel) const { return top + pixel / get_width(); }
    /// Its number in the whole picture.
    std::uint64_t get_picture_pixel(unsigned pixel, unsigned picture_width) const {
        return std::uint64_t{get_y(pixel)} * picture_width + get_x(pixel);
    }
};

/// What random numbers of a pixel are for.
enum SampleDimension : std::uint64_t {
    pixel_area,
    shutter_time,
    sun_disc,
    ambient_sky,
    per_depth = 4
};

// Rays of one kind share a cached leaf in each tree.
inline constexpr int camera_slot = 0;
inline constexpr int mirror_slot = 1;
inline constexpr int shadow_slot = 2;
inline constexpr int ambient_slot = 3;

inline constexpr double far_away = 1e30;

/// A camera ray, and what it hit.
struct CameraRay {
    Vec3 direction{0.0, 0.0, 1.0};
    float time = 0.0f;
    SceneHit hit;
    double distance = 0.0;
    /// Nodes visited and leaf callbacks called, nested trees included: the ray's share of its
    /// packet's or stream's cost, where walks are counted.
    double cost = 0.0;
    /// Of the cost, the leaf callbacks.
    double leaf_calls = 0.0;
    /// The ray's share of the time that its batch or tile took, where that is timed.
    double seconds = 0.0;
};

/// Traces the camera rays of a tile in batches of neighbouring pixels: as packets with the frustum
/// around them, or as streams.
class CameraRays {
  public:
    /// Samples per pixel that are traced at a time.
    static constexpr unsigned sample_limit = 16;

    CameraRays(const Stage& stage, const RenderSettings& settings);

    /// Traces `count` samples (at most `sample_limit`) of each of the tile's pixels, from sample
    /// `first` on.
    void trace(const Tile& tile, unsigned first, unsigned count, TraceState& state,
               CtxShader& shader);

    /// Of the last `trace`: the ray of the tile's pixel `pixel` and sample `first + sample`.
    const CameraRay& get_ray(unsigned pixel, unsigned sample) const {
        return m_rays[pixel * m_sample_count + sample];
    }

  private:
    void make_rays(const Tile& tile, unsigned first);
    void trace_batch(const Tile& tile, unsigned first_place, unsigned count, TraceState& state,
                     CtxShader& shader);
    GMathFrustum get_frustum(const Tile& tile, unsigned first_place, unsigned count) const;

    const Stage& m_stage;
    const RenderSettings& m_settings;
    GeometryRayBatch m_batch;
    unsigned m_sample_count = 0;
    std::vector<CameraRay> m_rays;
    /// Indices into `m_rays` in the order of tracing.
    std::vector<unsigned> m_order;
};

} // namespace gas_app
