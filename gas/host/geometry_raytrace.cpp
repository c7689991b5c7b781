// SPDX-License-Identifier: Apache-2.0
#include <gas/host/geometry_raytrace.h>

inline namespace gas_abi1 {

void GeometryIntersectionMap::init(const unsigned& count, const double* distances) {
    m_paths.resize(count);
    for (unsigned ray = 0; ray < count; ++ray)
        m_paths[ray].reset(distances[ray]);
}

GeometryRaytraceData::GeometryRaytraceData() : m_ctx(*this) {}

GeometryRaytraceData::GeometryRaytraceData(const GeometryRaytraceData& other) : m_ctx(*this) {
    *this = other;
}

GeometryRaytraceData& GeometryRaytraceData::operator=(const GeometryRaytraceData& other) {
    // m_ctx stays: it refers to this batch.
    m_first_ray = other.m_first_ray;
    m_last_ray = other.m_last_ray;
    m_ray_count = other.m_ray_count;
    m_arrays = other.m_arrays;
    m_nearest_map = other.m_nearest_map;
    m_intersection_map = other.m_intersection_map;
    m_frustum = other.m_frustum;
    return *this;
}

void GeometryRaytraceData::set_rays(const Arrays& arrays, unsigned count,
                                    GeometryIntersectionMap* map) {
    m_arrays = arrays;
    m_ray_count = count;
    m_nearest_map = map;
    m_intersection_map = map;
    m_first_ray = 0;
    m_last_ray = static_cast<int>(count) - 1;
}

} // namespace gas_abi1
