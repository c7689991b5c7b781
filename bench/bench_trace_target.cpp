// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_trace_target.h>

#include <algorithm>

namespace gas_bench {

template <bool in_motion>
bool TraceTarget::meets(unsigned item, unsigned ray, float& distance) const {
    const Ray& line = rays[ray];
    if constexpr (in_motion) {
        const Triangle triangle = blend(triangles[item], later_triangles[item], line.time);
        return intersect(triangle, line.origin, line.direction, line.near_distance, distance,
                         distance);
    } else {
        return intersect(triangles[item], line.origin, line.direction, line.near_distance, distance,
                         distance);
    }
}

std::vector<RayGroup> make_ray_groups(const std::vector<Ray>& rays) {
    std::vector<RayGroup> groups((rays.size() + 3) / 4);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const auto gather = [&](const auto& get) {
            const auto get_lane = [&](std::size_t lane) {
                return get(rays[std::min(4 * i + lane, rays.size() - 1)]);
            };
            return SimdF(get_lane(0), get_lane(1), get_lane(2), get_lane(3));
        };
        const auto gather_vector = [&](GMathVec3<float> Ray::*vector) {
            return GMathVec3<SimdF>{gather([&](const Ray& ray) { return (ray.*vector).x; }),
                                    gather([&](const Ray& ray) { return (ray.*vector).y; }),
                                    gather([&](const Ray& ray) { return (ray.*vector).z; })};
        };
        groups[i] = {gather_vector(&Ray::origin), gather_vector(&Ray::direction),
                     gather([](const Ray& ray) { return ray.near_distance; })};
    }
    return groups;
}

namespace {

/// For several rays of a query: a test for each four of them.
void hit_nearest_together(const TraceTarget& target, unsigned item, GeometryRaytraceCtx& ctx) {
    const auto first = static_cast<unsigned>(ctx.get_first_ray());
    const auto last = static_cast<unsigned>(ctx.get_last_ray());
    const Triangle& triangle = target.triangles[item];
    for (unsigned start = first & ~3u; start <= last; start += 4) {
        const auto get_far = [&](unsigned lane) {
            const unsigned ray = std::min(start + lane, last);
            return static_cast<float>(ctx.get_intersection_path(ray).get_hit_distance());
        };
        SimdF distances;
        const int hits = intersect(triangle, target.groups[start / 4],
                                   {get_far(0), get_far(1), get_far(2), get_far(3)}, distances);
        for (unsigned lane = 0; hits != 0 && lane < 4; ++lane) {
            const unsigned ray = start + lane;
            if ((hits >> lane & 1) != 0 && first <= ray && ray <= last)
                ctx.record_nearest_hit(ray, static_cast<double>(distances.get(lane)), item);
        }
    }
}

template <bool in_motion>
void hit_nearest(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                 GeometryRaytraceCtx& ctx) {
    TraceTarget& target = *static_cast<TraceTarget*>(user);
    target.test_count += static_cast<unsigned>(ctx.get_last_ray() - ctx.get_first_ray()) + 1;
    if (target.groups && ctx.get_first_ray() != ctx.get_last_ray()) {
        hit_nearest_together(target, item, ctx);
        return;
    }
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        auto distance = static_cast<float>(ctx.get_intersection_path(ray).get_hit_distance());
        if (target.meets<in_motion>(item, ray, distance))
            ctx.record_nearest_hit(ray, static_cast<double>(distance), item);
    }
}

template <bool in_motion>
void hit_any_or_all(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                    GeometryRaytraceCtx& ctx) {
    TraceTarget& target = *static_cast<TraceTarget*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        float distance = target.rays[ray].far_distance;
        if (!target.meets<in_motion>(item, ray, distance))
            continue;
        if (target.stops_at_hit)
            ctx.set_hit(ray);
        else
            ++target.hit_counts[ray];
    }
}

void leave_empty(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

} // namespace

LeafCallbacks get_leaf_callbacks(TraceTarget& target) {
    return {hit_any_or_all<false>, hit_any_or_all<true>, hit_nearest<false>, hit_nearest<true>,
            &target};
}

LeafCallbacks get_empty_callbacks() {
    return {leave_empty, leave_empty, leave_empty, leave_empty, nullptr};
}

} // namespace gas_bench
