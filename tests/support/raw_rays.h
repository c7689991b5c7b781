// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/host/host.h>

#include <tests/mirror/mirrored_rays.h>

namespace support {

/// A batch that takes rays as they are, NaN included, where GeometryRayBatch would make them miss.
class RawRays {
  public:
    explicit RawRays(const std::vector<RaySpec>& specs) : m_rays(specs.size()) {
        for (std::size_t i = 0; i < specs.size(); ++i) {
            const RaySpec& spec = specs[i];
            m_rays[i].line =
                GMathBasicRay({spec.origin[0], spec.origin[1], spec.origin[2]},
                              {spec.direction[0], spec.direction[1], spec.direction[2]});
            m_rays[i].time = spec.time;
            m_rays[i].cache_slot = spec.cache_slot;
            m_near_distances.push_back(spec.near_distance);
            m_far_distances.push_back(spec.far_distance);
            m_hit_flags.push_back(spec.is_hit_before ? 1 : 0);
        }
        m_map.init(get_count(), m_far_distances.data());
        GeometryRaytraceData::Arrays arrays;
        arrays.rays = m_rays.data();
        arrays.near_distances = m_near_distances.data();
        arrays.far_distances = m_far_distances.data();
        arrays.hit_flags = m_hit_flags.data();
        m_data.set_rays(arrays, get_count(), &m_map);
        m_data.use_intersection_map(true);
    }
    RawRays(const RawRays&) = delete;
    RawRays& operator=(const RawRays&) = delete;

    unsigned get_count() const { return static_cast<unsigned>(m_rays.size()); }
    GeometryRaytraceData& get_data() { return m_data; }
    GeometryRaytraceCtx& get_ctx() { return m_data.get_ctx(); }

  private:
    std::vector<GeometryRay> m_rays;
    std::vector<double> m_near_distances;
    std::vector<double> m_far_distances;
    std::vector<unsigned char> m_hit_flags;
    GeometryIntersectionMap m_map;
    GeometryRaytraceData m_data;
};

} // namespace support
