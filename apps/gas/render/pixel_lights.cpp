// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/pixel_tracer.h>

/// The light at the hits of paths: rays towards the light, in batches.

namespace gas_app {

namespace {

/// A direction around `normal`, with a probability proportional to the cosine of the angle.
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

void PixelTracer::gather_sun_light(const Tile& tile) {
    m_state.walk = m_settings.sun_walk;
    for (const Lit& lit : m_lit) {
        const Path& path = lit.path;
        const SquarePoint point = get_sampler(tile, path.pixel)
                                      .get_square(path.sample, sun_disc + per_depth * path.depth);
        const Vec3 direction = sample_sun(m_stage.sky, point);
        const double cosine = dot(direction, lit.surface.shading_normal);
        if (cosine <= 0.0)
            continue;
        ++m_ray_counts.shadow;
        const Vec3 light = multiply(lit.weight, m_stage.sky.sun_light) * cosine;
        add_light_ray({path.pixel, light, false, {0.0, 0.0, 0.0}},
                      leave_surface(lit.surface, lit.surface.light_point), direction, far_away,
                      path.time, shadow_slot);
    }
    trace_light_rays();
}

void PixelTracer::gather_ambient_light(const Tile& tile) {
    m_state.walk = m_settings.walk;
    for (const Lit& lit : m_lit) {
        // Mirrored surfaces are lit by fewer rays, because their noise is less visible.
        const unsigned wanted = m_settings.ambient_rays;
        const unsigned rays = lit.path.depth == 0 ? wanted : std::min(wanted, 1u);
        if (rays > 0) {
            send_ambient_rays(get_sampler(tile, lit.path.pixel), lit, rays);
        } else {
            const Vec3 up = normalized(lit.surface.shading_normal + Vec3{0.0, 0.35, 0.0});
            add_light(lit.path.pixel, multiply(lit.weight, m_stage.sky.get_light(up)));
        }
    }
    trace_light_rays();
}

void PixelTracer::send_ambient_rays(const PixelSampler& sampler, const Lit& lit, unsigned rays) {
    // A rough estimate of the light that bounced off the occluder.
    const Vec3 bounced = multiply(lit.surface.color, Vec3{0.16, 0.13, 0.10});
    const Vec3 share = lit.weight * (1.0 / rays);
    const LightRay light_ray{lit.path.pixel, share, true, multiply(share, bounced)};
    const Vec3 origin = leave_surface(lit.surface, lit.surface.light_point);
    m_ray_counts.ambient += rays;
    for (unsigned ray = 0; ray < rays; ++ray) {
        const std::uint64_t index = std::uint64_t{lit.path.sample} * rays + ray;
        const SquarePoint point =
            sampler.get_square(index, ambient_sky + per_depth * lit.path.depth);
        const Vec3 direction = sample_cosine(lit.surface.shading_normal, point);
        add_light_ray(light_ray, origin, direction, m_stage.ambient_distance, lit.path.time,
                      ambient_slot);
    }
}

/// One more ray for the batch, which is traced when it is full.
void PixelTracer::add_light_ray(const LightRay& ray, const Vec3& origin, const Vec3& direction,
                                double far_distance, float time, int cache_slot) {
    const unsigned index = static_cast<unsigned>(m_light_rays.size());
    m_batch.set_ray(index, origin, direction, 0.0, far_distance, time, cache_slot);
    m_light_rays.push_back(ray);
    if (m_light_rays.size() == batch_size)
        trace_light_rays();
}

void PixelTracer::trace_light_rays() {
    if (m_light_rays.empty())
        return;
    m_batch.get_data().set_range(0, static_cast<int>(m_light_rays.size()) - 1);
    m_stage.scene->ray_hit(m_state.eval, m_holder.shader, m_batch.get_data());
    for (unsigned index = 0; index < m_light_rays.size(); ++index) {
        const LightRay& ray = m_light_rays[index];
        const Vec3& direction = m_batch.get_data().get_arrays().rays[index].line.get_direction();
        if (m_batch.is_hit(index))
            add_light(ray.pixel, ray.blocked);
        else if (ray.sees_sky)
            add_light(ray.pixel, multiply(ray.open, m_stage.sky.get_light(direction)));
        else
            add_light(ray.pixel, ray.open);
    }
    m_light_rays.clear();
}

} // namespace gas_app
