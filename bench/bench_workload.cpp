// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_workload.h>

#include <algorithm>
#include <cmath>

#include <apps/gas/math/z_order.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

constexpr float far_away = 1e30f;

float get_size(const GMathBbox3<float>& box) {
    const Point extent = box.max - box.min;
    return std::sqrt(dot(extent, extent));
}

std::vector<Ray> make_camera_rays(const PictureCamera& camera) {
    support::SeededRandom random(11);
    std::vector<Ray> rays;
    for (unsigned row = 0; row < camera.side; ++row) {
        for (unsigned column = 0; column < camera.side; ++column) {
            const float x = static_cast<float>(column) + random.uniform();
            const float y = static_cast<float>(row) + random.uniform();
            const Point direction = normalize(camera.get_direction(x, y));
            rays.push_back({camera.eye, direction, 0.0f, far_away, random.uniform()});
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

/// The frustum of the pixels from (column, row) on.
GMathFrustum make_tile_frustum(const PictureCamera& camera, unsigned column, unsigned row,
                               unsigned side) {
    const auto left = static_cast<float>(column);
    const auto top = static_cast<float>(row);
    const auto right = static_cast<float>(column + side);
    const auto bottom = static_cast<float>(row + side);
    const GMathVec3<double> corners[4] = {
        widen(camera.get_direction(left, top)), widen(camera.get_direction(right, top)),
        widen(camera.get_direction(right, bottom)), widen(camera.get_direction(left, bottom))};
    return gmath_make_pinhole_frustum(widen(camera.eye), corners);
}

} // namespace

PictureCamera::PictureCamera(const Scene& scene, unsigned pixel_count)
    : forward(normalize({-0.7f, -0.6f, scene.is_interior ? -0.1f : -0.4f})),
      right(normalize(cross(forward, {0.0f, 0.0f, 1.0f}))), up(cross(right, forward)),
      side(static_cast<unsigned>(std::sqrt(static_cast<float>(pixel_count)))),
      width(scene.is_interior ? 1.4f : 0.6f) {
    const GMathBbox3<float>& bounds = scene.bounds;
    const Point extent = bounds.max - bounds.min;
    if (scene.is_interior) // in a corner, below the beams
        eye = bounds.max - Point{0.06f * extent.x, 0.07f * extent.y, 0.45f * extent.z};
    else
        eye = (bounds.min + bounds.max) * 0.5f - forward * (1.1f * get_size(bounds));
}

/// A light beyond a scene's highest corner, or below the middle of a room's ceiling.
Point get_light(const Scene& scene) {
    const GMathBbox3<float>& bounds = scene.bounds;
    const Point extent = bounds.max - bounds.min;
    if (scene.is_interior)
        return (bounds.min + bounds.max) * 0.5f + Point{0.0f, 0.0f, 0.4f * extent.z};
    return bounds.max + extent * 0.5f;
}

GMathVec3<float> PictureCamera::get_direction(float x, float y) const {
    const float u = x / static_cast<float>(side) - 0.5f;
    const float v = y / static_cast<float>(side) - 0.5f;
    return forward + right * (width * u) + up * (width * v);
}

Packets make_tiles(const PictureCamera& camera, const std::vector<Ray>& camera_rays,
                   unsigned tile_side, bool with_frusta) {
    Packets packets{tile_side * tile_side, {}, {}};
    for (unsigned row = 0; row + tile_side <= camera.side; row += tile_side) {
        for (unsigned column = 0; column + tile_side <= camera.side; column += tile_side) {
            for (unsigned step = 0; step < packets.size; ++step) {
                const unsigned x = column + gas_app::take_even_bits(step);
                const unsigned y = row + gas_app::take_even_bits(step >> 1);
                packets.rays.push_back(camera_rays[y * camera.side + x]);
            }
            if (with_frusta)
                packets.frusta.push_back(make_tile_frustum(camera, column, row, tile_side));
        }
    }
    return packets;
}

Packets make_packets(Workload& workload, const PacketQuestion& question) {
    const std::vector<Ray>& rays = workload.get_rays(question.rays);
    if (question.rays == RayKind::camera)
        return make_tiles(workload.get_camera(), rays, question.tile_side, question.with_frusta);
    return {question.tile_side * question.tile_side, rays, {}};
}

const Scene& Workload::get_scene() {
    if (!m_scene)
        m_scene = std::make_unique<Scene>(m_make_scene());
    return *m_scene;
}

const std::vector<Ray>& Workload::get_rays(RayKind kind) {
    if (kind == RayKind::miss) {
        if (m_miss_rays.empty())
            make_miss_rays();
        return m_miss_rays;
    }
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

void Workload::make_miss_rays() {
    const GMathBbox3<float>& bounds = get_scene().bounds;
    const Point middle = (bounds.min + bounds.max) * 0.5f;
    const float size = get_size(bounds);
    support::SeededRandom random(13);
    const Point everywhere = {};
    while (m_miss_rays.size() < m_ray_count) {
        // The line stays more than half the box's diagonal away from the middle.
        const Point direction = make_direction(random, everywhere);
        const Point aside = cross(direction, make_direction(random, everywhere));
        if (dot(aside, aside) < 0.01f)
            continue;
        const Point nearest = middle + normalize(aside) * (size * random.between(0.7f, 1.5f));
        const Point origin = nearest - direction * (size * random.between(-1.0f, 2.0f));
        m_miss_rays.push_back({origin, direction, 0.0f, far_away, random.uniform()});
    }
}

void Workload::make_rays() {
    const Scene& scene = get_scene();
    m_camera_rays = make_camera_rays(get_camera());
    Tracer<GasTree>& tracer = get_tracer<GasTree>();
    tracer.prepare(m_camera_rays, Query::nearest, false);
    tracer.trace();

    support::SeededRandom random(12);
    const float size = get_size(scene.bounds);
    const Point light = get_light(scene);
    const GeometryRayBatch& batch = tracer.get_batch();
    for (unsigned i = 0; i < batch.get_ray_count(); ++i) {
        const Ray& camera = m_camera_rays[i];
        // Where a camera ray hit nothing, the next rays start from the middle of some item.
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
