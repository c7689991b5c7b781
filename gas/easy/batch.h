// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include <gas/easy/values.h>
#include <gas/host/host.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

/// Rays of a batch, as the library and as the program see them. A GeometryRayBatch would set every
/// ray twice, and in calls.
class Batch {
  public:
    Batch() = default;
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    /// Makes it `count` rays, at least 1, of which each is then set. Allocates only when the batch
    /// was never as large before.
    void resize(unsigned count) {
        if (m_rays.size() < count) {
            m_near_distances.resize(count);
            m_far_distances.resize(count);
            m_hit_flags.resize(count);
            m_starts.resize(count);
            m_seen_rays.resize(count);
            m_map.init(count, m_far_distances.data());
            m_rays.resize(count);
        }
        m_data.set_rays(
            {m_rays.data(), m_near_distances.data(), m_far_distances.data(), m_hit_flags.data()},
            count, &m_map);
    }

    /// Sets a ray as GeometryRayBatch::set_ray does: one with a NaN hits nothing.
    void set_ray(unsigned i, const GMathVec3<double>& origin, const GMathVec3<double>& direction,
                 double near_distance, double far_distance, float time) {
        const bool has_nan = std::isunordered(origin.x, origin.y) ||
                             std::isunordered(origin.z, direction.x) ||
                             std::isunordered(direction.y, direction.z) ||
                             std::isunordered(near_distance, far_distance);
        GeometryRay& ray = m_rays[i];
        ray.line = GMathBasicRay(origin, direction);
        ray.time = time;
        m_near_distances[i] = has_nan ? infinity : near_distance;
        m_far_distances[i] = has_nan ? -infinity : far_distance;
        m_hit_flags[i] = 0;
        m_map.get_path(i).reset(m_far_distances[i]);
    }

    bool is_hit(unsigned i) const { return m_hit_flags[i] != 0; }
    GeometryRaytraceData& get_data() { return m_data; }
    GeometryRaytraceCtx& get_ctx() { return m_data.get_ctx(); }

    /// How far along its line each traced ray starts.
    double* get_starts() { return m_starts.data(); }
    /// The rays that the program's function sees.
    Ray* get_seen_rays() { return m_seen_rays.data(); }

  private:
    std::vector<GeometryRay> m_rays;
    std::vector<double> m_near_distances;
    std::vector<double> m_far_distances;
    std::vector<unsigned char> m_hit_flags;
    std::vector<double> m_starts;
    std::vector<Ray> m_seen_rays;
    GeometryIntersectionMap m_map;
    GeometryRaytraceData m_data;
};

} // namespace detail
} // namespace gas_abi1
} // namespace gas
