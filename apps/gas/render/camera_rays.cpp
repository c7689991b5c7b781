// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/camera_rays.h>

#include <chrono>

#include <gas/host/gmath_pinhole_frustum.h>

#include <apps/gas/math/z_order.h>

namespace gas_app {

namespace {

std::uint64_t get_cost(const GasWalkCounts& counts) {
    return counts.visited_nodes + counts.leaf_calls;
}

/// Reads the clock only where it is asked to.
class RayStopwatch {
  public:
    explicit RayStopwatch(bool runs) : m_runs(runs) {
        if (runs)
            m_start = Clock::now();
    }
    double get_seconds() const {
        return m_runs ? std::chrono::duration<double>(Clock::now() - m_start).count() : 0.0;
    }

  private:
    using Clock = std::chrono::steady_clock;

    bool m_runs;
    Clock::time_point m_start;
};

} // namespace

CameraRays::CameraRays(const Stage& stage, const RenderSettings& settings)
    : m_stage(stage), m_settings(settings), m_batch(settings.get_camera_batch_size()) {}

void CameraRays::trace(const Tile& tile, unsigned first, unsigned count, TraceState& state,
                       CtxShader& shader) {
    m_sample_count = count;
    make_rays(tile, first);
    state.walk = m_settings.camera_walk;
    const unsigned ray_count = static_cast<unsigned>(m_rays.size());
    const unsigned batch_size = m_settings.get_camera_batch_size();
    const bool times_batches = m_settings.timed == RenderSettings::Timed::batches;
    const RayStopwatch stopwatch(m_settings.timed == RenderSettings::Timed::tiles);
    for (unsigned place = 0; place < ray_count; place += batch_size) {
        const unsigned batch = std::min(batch_size, ray_count - place);
        const RayStopwatch batch_stopwatch(times_batches);
        trace_batch(tile, place, batch, state, shader);
        const double seconds = batch_stopwatch.get_seconds() / batch;
        for (unsigned ray = place; times_batches && ray < place + batch; ++ray)
            m_rays[m_order[ray]].seconds = seconds;
    }
    if (m_settings.timed != RenderSettings::Timed::tiles)
        return;
    const double seconds = stopwatch.get_seconds() / ray_count;
    for (CameraRay& ray : m_rays)
        ray.seconds = seconds;
}

/// Makes the rays pixel by pixel, and lists them along a Z-order curve (Morton 1966): any run of it
/// covers few neighbouring pixels, and runs of 4, 16, 64 or 256 are squares.
void CameraRays::make_rays(const Tile& tile, unsigned first) {
    m_rays.clear();
    for (unsigned pixel = 0; pixel < tile.get_pixel_count(); ++pixel) {
        const PixelSampler sampler(m_settings.seed,
                                   tile.get_picture_pixel(pixel, m_settings.width));
        for (unsigned sample = first; sample < first + m_sample_count; ++sample) {
            const SquarePoint place = sampler.get_square(sample, pixel_area);
            CameraRay ray;
            ray.direction = m_stage.camera.get_direction(tile.get_x(pixel) + place.u,
                                                         tile.get_y(pixel) + place.v);
            ray.time = static_cast<float>(sampler.get_line(sample, shutter_time));
            m_rays.push_back(ray);
        }
    }

    m_order.clear();
    for (unsigned step = 0; step < tile_size * tile_size; ++step) {
        const unsigned column = take_even_bits(step);
        const unsigned row = take_even_bits(step >> 1);
        if (tile.left + column >= tile.right || tile.top + row >= tile.bottom)
            continue;
        const unsigned pixel = row * tile.get_width() + column;
        for (unsigned sample = 0; sample < m_sample_count; ++sample)
            m_order.push_back(pixel * m_sample_count + sample);
    }
}

void CameraRays::trace_batch(const Tile& tile, unsigned first_place, unsigned count,
                             TraceState& state, CtxShader& shader) {
    for (unsigned index = 0; index < count; ++index) {
        const CameraRay& ray = m_rays[m_order[first_place + index]];
        m_batch.set_ray(index, m_stage.camera.get_position(), ray.direction, 0.0, far_away,
                        ray.time, camera_slot);
        state.hits[index] = SceneHit();
    }
    if (count > 1 && state.walk != Walk::stream)
        m_batch.set_frustum(get_frustum(tile, first_place, count));
    else
        m_batch.clear_frustum();
    const std::uint64_t earlier_cost = get_cost(state.counts);
    const std::uint64_t earlier_calls = state.counts.leaf_calls;
    m_batch.get_data().set_range(0, static_cast<int>(count) - 1);
    m_stage.scene->ray_hit_nearest(state.eval, shader, m_batch.get_data());

    const std::uint64_t cost = get_cost(state.counts) - earlier_cost;
    const std::uint64_t calls = state.counts.leaf_calls - earlier_calls;
    for (unsigned index = 0; index < count; ++index) {
        CameraRay& ray = m_rays[m_order[first_place + index]];
        ray.hit = state.hits[index];
        ray.distance = m_batch.get_hit_distance(index);
        ray.cost = static_cast<double>(cost) / count;
        ray.leaf_calls = static_cast<double>(calls) / count;
    }
}

/// Around the pixels of the rays.
GMathFrustum CameraRays::get_frustum(const Tile& tile, unsigned first_place, unsigned count) const {
    Tile pixels{tile.right, tile.bottom, tile.left, tile.top};
    for (unsigned index = 0; index < count; ++index) {
        const unsigned pixel = m_order[first_place + index] / m_sample_count;
        pixels.left = std::min(pixels.left, tile.get_x(pixel));
        pixels.top = std::min(pixels.top, tile.get_y(pixel));
        pixels.right = std::max(pixels.right, tile.get_x(pixel) + 1);
        pixels.bottom = std::max(pixels.bottom, tile.get_y(pixel) + 1);
    }
    const Camera& camera = m_stage.camera;
    const Vec3 corners[4] = {camera.get_direction(pixels.left, pixels.top),
                             camera.get_direction(pixels.right, pixels.top),
                             camera.get_direction(pixels.right, pixels.bottom),
                             camera.get_direction(pixels.left, pixels.bottom)};
    return gmath_make_pinhole_frustum(camera.get_position(), corners);
}

} // namespace gas_app
