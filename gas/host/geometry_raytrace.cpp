// SPDX-License-Identifier: Apache-2.0
#include <gas/host/geometry_raytrace.h>

#include <cmath>
#include <limits>
#include <utility>

inline namespace gas_abi1 {

namespace {

bool has_nan(const GMathVec3<double>& vector) {
    return std::isnan(vector.x) || std::isnan(vector.y) || std::isnan(vector.z);
}

} // namespace

GeometryDistances geometry_get_distances(const GMathVec3<double>& origin,
                                         const GMathVec3<double>& direction, double near_distance,
                                         double far_distance) {
    if (has_nan(origin) || has_nan(direction) || std::isnan(near_distance) ||
        std::isnan(far_distance)) {
        constexpr double farthest = std::numeric_limits<double>::infinity();
        return {farthest, -farthest};
    }
    return {near_distance, far_distance};
}

GeometryIntersectionMap::GeometryIntersectionMap(const GeometryIntersectionMap& other) {
    *this = other;
}

GeometryIntersectionMap& GeometryIntersectionMap::operator=(const GeometryIntersectionMap& other) {
    intersection_flags = other.intersection_flags;
    intersection_bias = other.intersection_bias;
    m_single_path = other.m_single_path;
    m_path_array = other.m_path_array;
    m_count = other.m_count;
    m_paths = m_count > 1 ? m_path_array.data() : &m_single_path;
    return *this;
}

GeometryIntersectionMap::GeometryIntersectionMap(GeometryIntersectionMap&& other) noexcept {
    *this = std::move(other);
}

GeometryIntersectionMap&
GeometryIntersectionMap::operator=(GeometryIntersectionMap&& other) noexcept {
    if (this == &other)
        return *this;
    intersection_flags = other.intersection_flags;
    intersection_bias = other.intersection_bias;
    m_single_path = other.m_single_path;
    m_path_array = std::move(other.m_path_array);
    m_count = std::exchange(other.m_count, 0u);
    m_paths = m_count > 1 ? m_path_array.data() : &m_single_path;
    other.m_path_array.clear();
    other.m_paths = &other.m_single_path;
    return *this;
}

void GeometryIntersectionMap::init(const unsigned& count, const double* distances) {
    if (count > 1)
        m_path_array.resize(count);
    m_paths = count > 1 ? m_path_array.data() : &m_single_path;
    m_count = count;
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
    m_query_data = other.m_query_data;
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
