// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/pixel_tracer.h>

#include <gas/scene/gas_box_padding.h>

namespace gas_app {

namespace {

/// The most mirror reflections of a camera ray.
constexpr unsigned most_mirrors = 2;

} // namespace

PixelTracer::PixelTracer(const Stage& stage, const RenderSettings& settings)
    : m_stage(stage), m_settings(settings), m_camera_rays(stage, settings),
      m_state(std::max(batch_size, settings.packet_size)), m_holder(stage.scene->get_motion_blur()),
      m_batch(batch_size), m_single_ray(1) {
    constexpr double bias = 1e-6;
    m_state.counts_walks = settings.counts_walks;
    m_holder.shader.intersection_bias = bias * gas_get_reach(stage.scene->get_bbox());
}

void PixelTracer::trace_light(const Tile& tile, std::vector<Vec3>& light) {
    light.assign(tile.get_pixel_count(), {0.0, 0.0, 0.0});
    add_samples(tile, 0, m_settings.samples, light);
    for (Vec3& sum : light)
        sum = sum * (1.0 / m_settings.samples);
}

void PixelTracer::add_samples(const Tile& tile, unsigned first_sample, unsigned sample_count,
                              std::vector<Vec3>& sums) {
    constexpr unsigned sample_limit = CameraRays::sample_limit;
    const unsigned end = first_sample + sample_count;
    m_light.swap(sums);
    for (unsigned first = first_sample; first < end; first += sample_limit) {
        const unsigned count = std::min(sample_limit, end - first);
        trace_camera_rays(tile, first, count);
        // The light of each pixel is summed in one order, for any batches.
        for (unsigned pixel = 0; pixel < m_light.size(); ++pixel) {
            for (unsigned sample = 0; sample < count; ++sample)
                start_path(pixel, first, sample);
            if (m_paths.size() + count > block_size)
                follow_paths(tile);
        }
        follow_paths(tile);
    }
    m_light.swap(sums);
}

void PixelTracer::trace_costs(const Tile& tile, std::vector<PixelCost>& costs) {
    costs.assign(tile.get_pixel_count(), PixelCost());
    constexpr unsigned sample_limit = CameraRays::sample_limit;
    for (unsigned first = 0; first < m_settings.samples; first += sample_limit) {
        const unsigned count = std::min(sample_limit, m_settings.samples - first);
        trace_camera_rays(tile, first, count);
        for (unsigned pixel = 0; pixel < costs.size(); ++pixel)
            for (unsigned sample = 0; sample < count; ++sample) {
                const CameraRay& ray = m_camera_rays.get_ray(pixel, sample);
                costs[pixel].visits += ray.cost;
                costs[pixel].leaf_calls += ray.leaf_calls;
                costs[pixel].seconds += ray.seconds;
            }
    }
    for (PixelCost& sum : costs) {
        sum.visits /= m_settings.samples;
        sum.leaf_calls /= m_settings.samples;
        sum.seconds /= m_settings.samples;
    }
}

void PixelTracer::trace_camera_rays(const Tile& tile, unsigned first, unsigned count) {
    m_camera_rays.trace(tile, first, count, m_state, m_holder.shader);
    m_ray_counts.camera += std::uint64_t{tile.get_pixel_count()} * count;
}

void PixelTracer::start_path(unsigned pixel, unsigned first, unsigned sample) {
    const CameraRay& ray = m_camera_rays.get_ray(pixel, sample);
    m_paths.push_back({pixel,
                       m_stage.camera.get_position(),
                       ray.direction,
                       {1.0, 1.0, 1.0},
                       first + sample,
                       ray.time,
                       0,
                       ray.hit,
                       ray.distance});
}

/// Follows the paths from mirror to mirror until none is left.
void PixelTracer::follow_paths(const Tile& tile) {
    while (!m_paths.empty()) {
        shade_paths();
        gather_sun_light(tile);
        gather_ambient_light(tile);
        m_paths.swap(m_next_paths);
        trace_paths();
    }
}

/// Traces mirrored rays as streams or one by one: they are incoherent.
void PixelTracer::trace_paths() {
    m_ray_counts.mirror += m_paths.size();
    m_state.walk = m_settings.walk;
    const unsigned path_count = static_cast<unsigned>(m_paths.size());
    const unsigned limit = m_state.walk == Walk::stream ? batch_size : 1;
    for (unsigned first = 0; first < path_count; first += limit)
        trace_path_batch(m_paths.data() + first, std::min(limit, path_count - first));
}

void PixelTracer::trace_path_batch(Path* paths, unsigned count) {
    GeometryRayBatch& batch = m_state.walk == Walk::stream ? m_batch : m_single_ray;
    for (unsigned ray = 0; ray < count; ++ray) {
        const Path& path = paths[ray];
        batch.set_ray(ray, path.origin, path.direction, 0.0, far_away, path.time, mirror_slot);
        m_state.hits[ray] = SceneHit();
    }
    batch.get_data().set_range(0, static_cast<int>(count) - 1);
    m_stage.scene->ray_hit_nearest(m_state.eval, m_holder.shader, batch.get_data());
    for (unsigned ray = 0; ray < count; ++ray) {
        paths[ray].hit = m_state.hits[ray];
        paths[ray].distance = batch.get_hit_distance(ray);
    }
}

void PixelTracer::shade_paths() {
    m_next_paths.clear();
    m_lit.clear();
    for (const Path& path : m_paths) {
        if (path.hit.is_hit())
            shade_hit(path);
        else
            add_light(path.pixel, multiply(path.weight, m_stage.sky.get_light(path.direction)));
    }
}

void PixelTracer::shade_hit(const Path& path) {
    const double distance = path.distance;
    const Surface surface =
        m_stage.scene->get_surface(path.hit, path.origin, path.direction, distance, path.time);
    Vec3 weight = path.weight;

    const double haze_depth = m_stage.haze_end - m_stage.haze_start;
    const double haze = std::clamp((distance - m_stage.haze_start) / haze_depth, 0.0, 1.0);
    if (haze > 0.0) {
        const double veil = haze * haze * (3.0 - 2.0 * haze);
        add_light(path.pixel, multiply(weight, m_stage.sky.get_light(path.direction)) * veil);
        weight = weight * (1.0 - veil);
    }
    if (surface.material->mirror > 0.0)
        add_mirror(path, surface, weight);
    if (weight.x + weight.y + weight.z > 0.0)
        m_lit.push_back({path, surface, multiply(weight, surface.color)});
}

/// Adds the mirrored ray and subtracts its share from `weight`.
void PixelTracer::add_mirror(const Path& path, const Surface& surface, Vec3& weight) {
    // The share grows towards glancing angles (Schlick's approximation of Fresnel's equations).
    const Vec3& normal = surface.shading_normal;
    const double cosine = std::clamp(-dot(path.direction, normal), 0.0, 1.0);
    const double base = surface.material->mirror;
    const double share = base + (1.0 - base) * std::pow(1.0 - cosine, 5.0);
    const Vec3 tint = surface.material->metal ? surface.color : Vec3{1.0, 1.0, 1.0};
    const Vec3 mirrored_weight = multiply(weight, tint) * share;
    weight = weight * (1.0 - share);

    const Vec3 direction =
        normalized(path.direction - normal * (2.0 * dot(path.direction, normal)));
    // The shading normal may turn the ray into the surface.
    const bool inward = dot(direction, surface.geometric_normal) <= 0.0;
    if (inward || path.depth == most_mirrors) {
        add_light(path.pixel, multiply(mirrored_weight, m_stage.sky.get_light(direction)) * 0.5);
        return;
    }
    m_next_paths.push_back({path.pixel, leave_surface(surface, surface.point), direction,
                            mirrored_weight, path.sample, path.time, path.depth + 1, SceneHit(),
                            0.0});
}

Vec3 PixelTracer::leave_surface(const Surface& surface, const Vec3& point) const {
    return point + surface.geometric_normal * m_holder.shader.intersection_bias;
}

} // namespace gas_app
