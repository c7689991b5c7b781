// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/host/geometry_raytrace.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// A ray batch that owns its rays, ready to trace in three lines:
///
///     GeometryRayBatch batch(1);
///     batch.set_ray(0, origin, direction, near_distance, far_distance);
///     tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);
///
/// Afterwards `is_hit`, `get_hit_distance` and `get_item` give each ray's result. Setting a ray
/// resets its hit; `reset_hits` resets all of them, to trace the same rays again.
class GAS_HOST_EXPORT GeometryRayBatch {
  public:
    explicit GeometryRayBatch(unsigned ray_count = 0);
    GeometryRayBatch(const GeometryRayBatch&) = delete;
    GeometryRayBatch& operator=(const GeometryRayBatch&) = delete;

    /// Changes the number of rays, makes the range all of them and drops the frustum and the
    /// query's pointer. Every ray is reset to one that hits nothing. Allocates only when the batch
    /// was never as large before.
    void resize(unsigned ray_count);

    /// Sets ray `ray` (below the count). Distances are in units of the direction's length. A NaN in
    /// any of `origin`, `direction` and the distances gives a ray that hits nothing: its near
    /// distance is +infinity, its far distance -infinity, so it enters no box; a callback that is
    /// called for it all the same (a lone leaf, a cached one) finds no distance between the two.
    /// `time` is the ray's moment in the shutter, `cache_slot` (0..5) the cached leaf that it
    /// shares with other rays.
    void set_ray(unsigned ray, const GMathVec3<double>& origin, const GMathVec3<double>& direction,
                 double near_distance, double far_distance, float time = 0.0f, int cache_slot = 0);

    /// A region that holds every ray of the batch between its near and far distance; it lets
    /// queries drop boxes for the whole batch at once.
    void set_frustum(const GMathFrustum& frustum);
    void clear_frustum();

    /// Clears the hit flags, resets every ray's far distance to the one last set, and gives the
    /// batch its intersection map, which an all-hits query of a GasObject removes.
    void reset_hits();

    unsigned get_ray_count() const { return static_cast<unsigned>(m_rays.size()); }
    bool is_hit(unsigned ray) const { return m_hit_flags[ray] != 0; }
    double get_hit_distance(unsigned ray) const { return m_map.get_path(ray).get_hit_distance(); }
    unsigned get_item(unsigned ray) const { return m_map.get_path(ray).get_item(); }

    /// The view that queries take; its range is all rays until the caller narrows it.
    GeometryRaytraceData& get_data() { return m_data; }
    GeometryRaytraceCtx& get_ctx() { return m_data.get_ctx(); }

  private:
    std::vector<GeometryRay> m_rays;
    std::vector<double> m_near_distances;
    std::vector<double> m_set_far_distances;
    std::vector<double> m_far_distances;
    std::vector<unsigned char> m_hit_flags;
    GeometryIntersectionMap m_map;
    GMathFrustum m_frustum;
    GeometryRaytraceData m_data;
};

} // namespace gas_abi1
