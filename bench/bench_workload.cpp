#include "bench_workload.h"

#include <algorithm>
#include <cmath>

#include "support/seeded_random.h"

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

constexpr float far_away = 1e30f;

Point normalize(const Point& vector) {
    const float length = std::sqrt(dot(vector, vector));
    return length > 0.0f ? vector * (1.0f / length) : Point{0.0f, 0.0f, 1.0f};
}

float get_size(const GMathBbox3<float>& box) {
    const Point extent = box.max - box.min;
    return std::sqrt(dot(extent, extent));
}

/// An eye outside of the box, and the pixels of a square picture that the box fills.
std::vector<Ray> make_camera_rays(const GMathBbox3<float>& bounds, unsigned count) {
    support::SeededRandom random(11);
    const Point middle = (bounds.min + bounds.max) * 0.5f;
    const Point forward = normalize({-0.7f, -0.6f, -0.4f});
    const Point right = normalize(cross(forward, {0.0f, 0.0f, 1.0f}));
    const Point up = cross(right, forward);
    const Point eye = middle - forward * (1.1f * get_size(bounds));
    const auto side = static_cast<unsigned>(std::sqrt(static_cast<float>(count)));
    std::vector<Ray> rays;
    for (unsigned row = 0; row < side; ++row) {
        for (unsigned column = 0; column < side; ++column) {
            const float x =
                (static_cast<float>(column) + random.uniform()) / static_cast<float>(side) - 0.5f;
            const float y =
                (static_cast<float>(row) + random.uniform()) / static_cast<float>(side) - 0.5f;
            const Point direction = normalize(forward + right * (0.6f * x) + up * (0.6f * y));
            rays.push_back({eye, direction, 0.0f, far_away, random.uniform()});
        }
    }
    return rays;
}

/// A direction at random into the half space of `normal`.
Point make_direction(support::SeededRandom& random, const Point& normal) {
    Point direction;
    do {
        direction.x = random.between(-1.0f, 1.0f);
        direction.y = random.between(-1.0f, 1.0f);
        direction.z = random.between(-1.0f, 1.0f);
    } while (!(dot(direction, direction) < 1.0f && dot(direction, direction) > 0.01f));
    return normalize(dot(direction, normal) < 0.0f ? direction * -1.0f : direction);
}

} // namespace

const Scene& Workload::get_scene() {
    if (!m_scene)
        m_scene = std::make_unique<Scene>(m_make_scene());
    return *m_scene;
}

Tracer& Workload::get_tracer() {
    if (!m_tracer)
        m_tracer = std::make_unique<Tracer>(get_scene());
    return *m_tracer;
}

const std::vector<Ray>& Workload::get_rays(RayKind kind) {
    if (m_camera_rays.empty())
        make_rays();
    switch (kind) {
    case RayKind::bounce:
        return m_bounce_rays;
    case RayKind::shadow:
        return m_shadow_rays;
    default:
        return m_camera_rays;
    }
}

void Workload::make_rays() {
    const Scene& scene = get_scene();
    m_camera_rays = make_camera_rays(scene.bounds, m_ray_count);
    Tracer& tracer = get_tracer();
    tracer.prepare(m_camera_rays, Query::nearest, false);
    tracer.trace();

    support::SeededRandom random(12);
    const float size = get_size(scene.bounds);
    const Point light = scene.bounds.max + (scene.bounds.max - scene.bounds.min) * 0.5f;
    const GeometryRayBatch& batch = tracer.get_batch();
    for (unsigned i = 0; i < batch.get_ray_count(); ++i) {
        const Ray& camera = m_camera_rays[i];
        // Where a camera ray hit nothing its followers start from some item's middle instead.
        const unsigned item =
            batch.is_hit(i) ? batch.get_item(i) : random.below(scene.boxes.get_count());
        const Triangle& triangle = scene.triangles[item];
        Point normal = normalize(cross(triangle.corners[1] - triangle.corners[0],
                                       triangle.corners[2] - triangle.corners[0]));
        if (dot(normal, camera.direction) > 0.0f)
            normal = normal * -1.0f;
        Point origin =
            (triangle.corners[0] + triangle.corners[1] + triangle.corners[2]) * (1.0f / 3.0f);
        if (batch.is_hit(i))
            origin =
                camera.origin + camera.direction * static_cast<float>(batch.get_hit_distance(i));
        origin = origin + normal * (1e-5f * size);

        m_bounce_rays.push_back(
            {origin, make_direction(random, normal), 0.0f, far_away, random.uniform()});
        m_shadow_rays.push_back({origin, light - origin, 0.0f, 1.0f, random.uniform()});
    }
}

} // namespace gas_bench
