// SPDX-License-Identifier: Apache-2.0
#include <gas/host/geometry_ray_batch.h>

#include <algorithm>
#include <cassert>
#include <limits>

inline namespace gas_abi1 {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

} // namespace

GeometryRayBatch::GeometryRayBatch(unsigned ray_count) { resize(ray_count); }

void GeometryRayBatch::resize(unsigned ray_count) {
    m_rays.assign(ray_count, GeometryRay());
    m_near_distances.assign(ray_count, infinity);
    m_set_far_distances.assign(ray_count, -infinity);
    m_far_distances.resize(ray_count);
    m_hit_flags.resize(ray_count);

    GeometryRaytraceData::Arrays arrays;
    arrays.rays = m_rays.data();
    arrays.near_distances = m_near_distances.data();
    arrays.far_distances = m_far_distances.data();
    arrays.hit_flags = m_hit_flags.data();
    m_data.set_rays(arrays, ray_count, &m_map);
    clear_frustum();
    m_data.set_query_data(nullptr);
    reset_hits();
}

void GeometryRayBatch::set_ray(unsigned ray, const GMathVec3<double>& origin,
                               const GMathVec3<double>& direction, double near_distance,
                               double far_distance, float time, int cache_slot) {
    assert(ray < get_ray_count() && "resize the batch before setting its rays");
    assert(cache_slot >= 0 && cache_slot <= 5 && "there are six cached leaves");

    const GeometryDistances distances =
        geometry_get_distances(origin, direction, near_distance, far_distance);
    GeometryRay& set = m_rays[ray];
    set.line = GMathBasicRay(origin, direction);
    set.time = time;
    set.cache_slot = cache_slot;
    m_near_distances[ray] = distances.near_distance;
    m_set_far_distances[ray] = distances.far_distance;
    m_far_distances[ray] = distances.far_distance;
    m_hit_flags[ray] = 0;
    m_map.get_path(ray).reset(distances.far_distance);
    m_data.use_intersection_map(true);
}

void GeometryRayBatch::set_frustum(const GMathFrustum& frustum) {
    m_frustum = frustum;
    m_data.set_frustum(&m_frustum);
}

void GeometryRayBatch::clear_frustum() { m_data.set_frustum(nullptr); }

void GeometryRayBatch::reset_hits() {
    std::fill(m_hit_flags.begin(), m_hit_flags.end(), static_cast<unsigned char>(0));
    m_far_distances = m_set_far_distances;
    m_map.init(get_ray_count(), m_far_distances.data());
    m_data.use_intersection_map(true);
}

} // namespace gas_abi1
