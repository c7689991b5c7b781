// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/geometry_raytrace.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// One ray with its hit as values of its own, for callers that have no batch:
///
///     GeometrySingleRay ray(origin, direction, near_distance, far_distance);
///     tree.ray_hit_nearest_static(eval, shader, ray.get_ctx(), false);
///
/// Afterwards `is_hit`, `get_hit_distance` and `get_item` give the result. It allocates nothing: a
/// leaf callback makes one on its stack to trace another tree, in queries nested to any depth.
class GAS_HOST_EXPORT GeometrySingleRay {
  public:
    /// The arguments are those of `GeometryRayBatch::set_ray`: distances are in units of the
    /// direction's length, and a ray with a NaN hits nothing.
    GeometrySingleRay(const GMathVec3<double>& origin, const GMathVec3<double>& direction,
                      double near_distance, double far_distance, float time = 0.0f,
                      int cache_slot = 0);
    GeometrySingleRay(const GeometrySingleRay&) = delete;
    GeometrySingleRay& operator=(const GeometrySingleRay&) = delete;

    /// Forgets the hit, to trace the same ray again.
    void reset_hit();

    bool is_hit() const { return m_hit_flag != 0; }
    /// The far distance while there is no nearest hit.
    double get_hit_distance() const { return m_map.get_path(0).get_hit_distance(); }
    /// GeometryIntersectionPath::no_item while there is no nearest hit.
    unsigned get_item() const { return m_map.get_path(0).get_item(); }

    /// The view that queries take, a batch of this ray alone.
    GeometryRaytraceData& get_data() { return m_data; }
    GeometryRaytraceCtx& get_ctx() { return m_data.get_ctx(); }

  private:
    GeometryRay m_ray;
    GeometryDistances m_distances;
    /// That of `m_distances`, unless a callback has moved it.
    double m_far_distance = 0.0;
    unsigned char m_hit_flag = 0;
    GeometryIntersectionMap m_map;
    GeometryRaytraceData m_data;
};

} // namespace gas_abi1
