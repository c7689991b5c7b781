// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

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

inline void record_closest(void*, const unsigned& item, const CtxEval&, CtxShader&,
                           GeometryRaytraceCtx& rays) {
    const ClosestQuery& query = *static_cast<const ClosestQuery*>(rays.get_query_data());
    if (item >= query.item_count)
        return;
    const auto last = static_cast<unsigned>(rays.get_last_ray());
    for (auto i = static_cast<unsigned>(rays.get_first_ray()); i <= last; ++i) {
        Ray& ray = query.rays[i];
        const DistanceCall& call = query.call;
        const double distance = call.call(call.function, item, ray, query.first + i);
        if (!ray.holds(distance))
            continue;
        ray.far = distance;
        query.hits[i] = {distance, item};
        rays.get_intersection_path(i).set_hit_distance(distance - query.starts[i]);
        rays.set_hit(i);
    }
}

inline void record_stop(void*, const unsigned& item, const CtxEval&, CtxShader&,
                        GeometryRaytraceCtx& rays) {
    const StopQuery& query = *static_cast<const StopQuery*>(rays.get_query_data());
    if (item >= query.item_count)
        return;
    const auto last = static_cast<unsigned>(rays.get_last_ray());
    for (auto i = static_cast<unsigned>(rays.get_first_ray()); i <= last; ++i) {
        const StopCall& call = query.call;
        if (!rays.is_hit(i) && call.call(call.function, item, query.rays[i], query.first + i))
            rays.set_hit(i);
    }
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
