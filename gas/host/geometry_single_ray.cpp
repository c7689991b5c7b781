// SPDX-License-Identifier: Apache-2.0
#include <gas/host/geometry_single_ray.h>

inline namespace gas_abi1 {

GeometrySingleRay::GeometrySingleRay(const GMathVec3<double>& origin,
                                     const GMathVec3<double>& direction, double near_distance,
                                     double far_distance, float time, int cache_slot)
    : m_distances(geometry_get_distances(origin, direction, near_distance, far_distance)) {
    assert(cache_slot >= 0 && cache_slot <= 5 && "there are six cached leaves");
    m_ray.line = GMathBasicRay(origin, direction);
    m_ray.time = time;
    m_ray.cache_slot = cache_slot;

    GeometryRaytraceData::Arrays arrays;
    arrays.rays = &m_ray;
    arrays.near_distances = &m_distances.near_distance;
    arrays.far_distances = &m_far_distance;
    arrays.hit_flags = &m_hit_flag;
    m_data.set_rays(arrays, 1, &m_map);
    reset_hit();
}

void GeometrySingleRay::reset_hit() {
    m_hit_flag = 0;
    m_far_distance = m_distances.far_distance;
    m_map.init(1, &m_far_distance);
    m_data.use_intersection_map(true);
}

} // namespace gas_abi1
