#include "pixel_tracer.h"

namespace gas_app {

namespace {

/// Camera rays may be mirrored so many times.
constexpr unsigned most_mirrors = 2;

/// A direction around `normal`, the more likely the closer to it (as the cosine of the angle).
Vec3 sample_cosine(const Vec3& normal, const SquarePoint& point) {
    Vec3 tangent;
    Vec3 bitangent;
    get_tangents(normal, tangent, bitangent);
    const double radius = std::sqrt(point.u);
    const double angle = 2.0 * pi * point.v;
    return normalized(tangent * (radius * std::cos(angle)) +
                      bitangent * (radius * std::sin(angle)) +
                      normal * std::sqrt(std::max(0.0, 1.0 - point.u)));
}

/// A direction from the disc of the sun.
Vec3 sample_sun(const Sky& sky, const SquarePoint& point) {
    Vec3 tangent;
    Vec3 bitangent;
    get_tangents(sky.sun_direction, tangent, bitangent);
    const double radius = sky.sun_radius * std::sqrt(point.u);
    const double angle = 2.0 * pi * point.v;
    return normalized(sky.sun_direction + tangent * (radius * std::cos(angle)) +
                      bitangent * (radius * std::sin(angle)));
}

} // namespace

PixelTracer::PixelTracer(const Stage& stage, const RenderSettings& settings)
    : m_stage(stage), m_settings(settings), m_camera_rays(stage, settings),
      m_state(settings.walk, std::max(batch_size, settings.packet_size)),
      m_holder(stage.scene->get_motion_blur()), m_batch(batch_size) {
    constexpr double bias = 1e-6;
    m_holder.shader.intersection_bias = bias * get_reach(stage.scene->get_bbox());
}

void PixelTracer::trace_light(const Tile& tile, std::vector<Vec3>& light) {
    light.assign(tile.get_pixel_count(), {0.0, 0.0, 0.0});
    for (unsigned first = 0; first < m_settings.samples; first += batch_size) {
        const unsigned count = std::min(batch_size, m_settings.samples - first);
        trace_camera_rays(tile, first, count);
        for (unsigned pixel = 0; pixel < light.size(); ++pixel) {
            // Whatever the packets were: from here on each pixel has its rays to itself, and its
            // light is summed in one order.
            m_light = light[pixel];
            start_paths(pixel, first, count);
            const PixelSampler sampler(m_settings.seed,
                                       tile.get_picture_pixel(pixel, m_settings.width));
            while (!m_paths.empty()) {
                shade_paths();
                gather_sun_light(sampler);
                for (const Lit& lit : m_lit)
                    gather_ambient_light(sampler, lit);
                m_paths.swap(m_next_paths);
                trace_paths();
            }
            light[pixel] = m_light;
        }
    }
    for (Vec3& sum : light)
        sum = sum * (1.0 / m_settings.samples);
}

void PixelTracer::trace_costs(const Tile& tile, std::vector<double>& costs) {
    costs.assign(tile.get_pixel_count(), 0.0);
    for (unsigned first = 0; first < m_settings.samples; first += batch_size) {
        const unsigned count = std::min(batch_size, m_settings.samples - first);
        trace_camera_rays(tile, first, count);
        for (unsigned pixel = 0; pixel < costs.size(); ++pixel)
            for (unsigned sample = 0; sample < count; ++sample)
                costs[pixel] += m_camera_rays.get_ray(pixel, sample).cost;
    }
    for (double& sum : costs)
        sum /= m_settings.samples;
}

void PixelTracer::trace_camera_rays(const Tile& tile, unsigned first, unsigned count) {
    m_camera_rays.trace(tile, first, count, m_state, m_holder.shader);
    m_ray_counts.camera += std::uint64_t{tile.get_pixel_count()} * count;
}

void PixelTracer::start_paths(unsigned pixel, unsigned first, unsigned count) {
    m_paths.clear();
    for (unsigned sample = 0; sample < count; ++sample) {
        const CameraRay& ray = m_camera_rays.get_ray(pixel, sample);
        m_paths.push_back({m_stage.camera.get_position(),
                           ray.direction,
                           {1.0, 1.0, 1.0},
                           first + sample,
                           ray.time,
                           0,
                           ray.hit,
                           ray.distance});
    }
}

void PixelTracer::set_ray(unsigned ray, const Vec3& origin, const Vec3& direction,
                          double far_distance, float time, int cache_slot) {
    m_batch.set_ray(ray, origin, direction, 0.0, far_distance, time, cache_slot);
}

/// Traces mirrored rays, one by one: few pixels have many, and they scatter.
void PixelTracer::trace_paths() {
    m_ray_counts.mirror += m_paths.size();
    m_batch.get_data().set_range(0, 0);
    for (Path& path : m_paths) {
        set_ray(0, path.origin, path.direction, far_away, path.time, mirror_slot);
        m_state.hits[0] = SceneHit();
        m_stage.scene->ray_hit_nearest(m_state.eval, m_holder.shader, m_batch.get_data());
        path.hit = m_state.hits[0];
        path.distance = m_batch.get_hit_distance(0);
    }
}

void PixelTracer::shade_paths() {
    m_next_paths.clear();
    m_lit.clear();
    for (const Path& path : m_paths) {
        if (path.hit.is_hit())
            shade_hit(path);
        else
            m_light = m_light + multiply(path.weight, m_stage.sky.get_light(path.direction));
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
        m_light = m_light + multiply(weight, m_stage.sky.get_light(path.direction)) * veil;
        weight = weight * (1.0 - veil);
    }
    if (surface.material->mirror > 0.0)
        add_mirror(path, surface, weight);
    if (weight.x + weight.y + weight.z > 0.0)
        m_lit.push_back({path, surface, multiply(weight, surface.color)});
}

/// Follows the mirrored ray and takes its share off `weight`.
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
    // Bent by the shading normal, the ray may point into the surface.
    const bool inward = dot(direction, surface.geometric_normal) <= 0.0;
    if (inward || path.depth == most_mirrors) {
        m_light = m_light + multiply(mirrored_weight, m_stage.sky.get_light(direction)) * 0.5;
        return;
    }
    m_next_paths.push_back({leave_surface(surface, surface.point), direction, mirrored_weight,
                            path.sample, path.time, path.depth + 1, SceneHit(), 0.0});
}

Vec3 PixelTracer::leave_surface(const Surface& surface, const Vec3& point) const {
    return point + surface.geometric_normal * m_holder.shader.intersection_bias;
}

void PixelTracer::trace_shadows(unsigned count) {
    m_batch.get_data().set_range(0, static_cast<int>(count) - 1);
    m_stage.scene->ray_hit(m_state.eval, m_holder.shader, m_batch.get_data());
}

void PixelTracer::gather_sun_light(const PixelSampler& sampler) {
    unsigned count = 0;
    m_shadow_light.clear();
    for (const Lit& lit : m_lit) {
        const SquarePoint point =
            sampler.get_square(lit.path.sample, sun_disc + per_depth * lit.path.depth);
        const Vec3 direction = sample_sun(m_stage.sky, point);
        const double cosine = dot(direction, lit.surface.shading_normal);
        if (cosine <= 0.0)
            continue;
        set_ray(count++, leave_surface(lit.surface, lit.surface.light_point), direction, far_away,
                lit.path.time, shadow_slot);
        m_shadow_light.push_back(multiply(lit.weight, m_stage.sky.sun_light) * cosine);
    }
    if (count == 0)
        return;
    m_ray_counts.shadow += count;
    trace_shadows(count);
    for (unsigned ray = 0; ray < count; ++ray)
        if (!m_batch.is_hit(ray))
            m_light = m_light + m_shadow_light[ray];
}

void PixelTracer::gather_ambient_light(const PixelSampler& sampler, const Lit& lit) {
    // What is seen in a mirror is lit by fewer rays; nobody looks that closely.
    const unsigned wanted = m_settings.ambient_rays;
    const unsigned rays = lit.path.depth == 0 ? wanted : std::min(wanted, 1u);
    const Vec3& normal = lit.surface.shading_normal;
    if (rays == 0) {
        const Vec3 light = m_stage.sky.get_light(normalized(normal + Vec3{0.0, 0.35, 0.0}));
        m_light = m_light + multiply(lit.weight, light);
        return;
    }

    // Light that bounced off whatever is in the way, roughly.
    const Vec3 bounced = multiply(lit.surface.color, Vec3{0.16, 0.13, 0.10});
    const Vec3 share = lit.weight * (1.0 / rays);
    const Vec3 origin = leave_surface(lit.surface, lit.surface.light_point);
    for (unsigned first = 0; first < rays; first += batch_size) {
        const unsigned count = std::min(batch_size, rays - first);
        for (unsigned ray = 0; ray < count; ++ray) {
            const std::uint64_t index = std::uint64_t{lit.path.sample} * rays + first + ray;
            const SquarePoint point =
                sampler.get_square(index, ambient_sky + per_depth * lit.path.depth);
            set_ray(ray, origin, sample_cosine(normal, point), m_stage.ambient_distance,
                    lit.path.time, ambient_slot);
        }
        m_ray_counts.ambient += count;
        trace_shadows(count);
        for (unsigned ray = 0; ray < count; ++ray) {
            const Vec3& direction = m_batch.get_data().get_arrays().rays[ray].line.get_direction();
            const Vec3 light = m_batch.is_hit(ray) ? bounced : m_stage.sky.get_light(direction);
            m_light = m_light + multiply(share, light);
        }
    }
}

} // namespace gas_app
