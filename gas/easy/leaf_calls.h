// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <gas/core/gas_compiler.h>
#include <gas/easy/calls.h>
#include <gas/easy/values.h>
#include <gas/host/host.h>

// The leaf callbacks of all trees. Which function of the program they call is said by the query's
// own pointer, to one of these.

namespace gas {
inline namespace gas_abi1 {
namespace detail {

struct ClosestQuery {
    DistanceCall call;
    /// The number of items: a cached leaf may be of a tree that stood here before.
    std::uint32_t item_count;
    /// The number of the first ray in its batch.
    std::size_t first;
    /// An element of each for each ray. A ray's far distance is that of its closest hit.
    Ray* rays;
    const double* starts;
    Hit* hits;
};

struct StopQuery {
    StopCall call;
    std::uint32_t item_count;
    std::size_t first;
    const Ray* rays;
};

/// For the item closest to a point. Distances in the tree's space are those of the program times
/// the scale, a power of two.
struct PointQuery {
    PointCall call;
    Vector point;
    double scale;
};

inline double measure_item(void* user, const unsigned& item, const GMathVec3<double>&,
                           const double& bound) {
    const PointQuery& query = *static_cast<const PointQuery*>(user);
    return query.scale *
           query.call.call(query.call.function, item, query.point, bound / query.scale);
}

inline void record_closest(const ClosestQuery& query, std::uint32_t item, GeometryRaytraceCtx& rays,
                           unsigned i) {
    Ray& ray = query.rays[i];
    const DistanceCall& call = query.call;
    const double distance = call.call(call.function, item, ray, query.first + i);
    if (!ray.holds(distance))
        return;
    ray.far = distance;
    query.hits[i] = {distance, item};
    rays.get_intersection_path(i).set_hit_distance(distance - query.starts[i]);
    rays.set_hit(i);
}

inline void record_stop(const StopQuery& query, std::uint32_t item, GeometryRaytraceCtx& rays,
                        unsigned i) {
    const StopCall& call = query.call;
    if (!rays.is_hit(i) && call.call(call.function, item, query.rays[i], query.first + i))
        rays.set_hit(i);
}

/// Records the hit of a ray of the batch, if there is one.
template <typename Query>
using Record = void(const Query& query, std::uint32_t item, GeometryRaytraceCtx& rays, unsigned i);

/// Apart, for its loop would have the call for one ray save registers that it does not need.
template <typename Query, Record<Query>& record>
GAS_NO_INLINE void record_several(const Query& query, std::uint32_t item,
                                  GeometryRaytraceCtx& rays) {
    const auto last = static_cast<unsigned>(rays.get_last_ray());
    for (auto i = static_cast<unsigned>(rays.get_first_ray()); i <= last; ++i)
        record(query, item, rays, i);
}

template <typename Query, Record<Query>& record>
void record_each(void*, const unsigned& item, const CtxEval&, CtxShader&,
                 GeometryRaytraceCtx& rays) {
    const Query& query = *static_cast<const Query*>(rays.get_query_data());
    if (item >= query.item_count)
        return;
    if (rays.get_first_ray() == rays.get_last_ray())
        record(query, item, rays, static_cast<unsigned>(rays.get_first_ray()));
    else
        record_several<Query, record>(query, item, rays);
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
