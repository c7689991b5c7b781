#include <bench/bench_tracer.h>

#include <algorithm>

#include <gas/object/gas_object.h>

namespace gas_bench {

void set_ray(GeometryRayBatch& batch, unsigned index, const Ray& ray) {
    batch.set_ray(index, widen(ray.origin), widen(ray.direction),
                  static_cast<double>(ray.near_distance), static_cast<double>(ray.far_distance),
                  ray.time);
}

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

namespace {

/// The rays in fours; the last ray fills the rest of the last four.
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

} // namespace

template <typename Tree>
Tracer<Tree>::Tracer(const Scene& scene, bool may_move)
    : m_target{scene.triangles.data(),
               scene.later_triangles.data(),
               nullptr,
               nullptr,
               false,
               nullptr,
               0} {
    create_traced_tree(m_tree, scene, may_move);
    // Once for all questions: a grid's cells keep the callbacks that they were built with.
    m_tree.set_leaf_raytrace_callbacks(hit_any_or_all<false>, hit_any_or_all<true>,
                                       hit_nearest<false>, hit_nearest<true>, &m_target);
    GasObject::create_ctx(m_shader);
    m_shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
}

template <typename Tree> Tracer<Tree>::~Tracer() { GasObject::destroy_ctx(m_shader); }

template <typename Tree>
void Tracer<Tree>::prepare(const std::vector<Ray>& rays, Query query, bool in_motion) {
    GasObject::destroy_ctx(m_shader);
    GasObject::create_ctx(m_shader);
    m_query = query;
    m_in_motion = in_motion;
    m_packet_size = 1;
    m_frusta = nullptr;
    m_target.rays = rays.data();
    m_target.groups = nullptr;
    m_batch.resize(static_cast<unsigned>(rays.size()));
    for (unsigned i = 0; i < m_batch.get_ray_count(); ++i)
        set_ray(m_batch, i, rays[i]);
    m_hit_counts.assign(query == Query::all ? rays.size() : 0, 0);
    m_target.hit_counts = m_hit_counts.data();
    m_target.stops_at_hit = query == Query::any;
    m_ray_call = gas_app::get_ray_call(query == Query::nearest, in_motion);
    m_tree_query = Calls::get(m_ray_call, GasRayWay::query);
    m_stream_query = Calls::get(m_ray_call, GasRayWay::stream);
}

template <typename Tree>
void Tracer<Tree>::call(typename Calls::Call query, GeometryRaytraceCtx& ctx) {
    TreeKind<Tree>::ask(
        [&](const auto&... flags) { (m_tree.*query)(m_eval, m_shader, ctx, flags...); });
}

template <typename Tree>
void Tracer<Tree>::call_counted(GeometryRaytraceCtx& ctx, GasWalkCounts& counts) {
    TreeKind<Tree>::ask([&](const auto&... flags) {
        gas_counted_rays(m_tree, m_ray_call, GasRayWay::query, m_eval, m_shader, ctx, flags...,
                         counts);
    });
}

template <typename Tree> void Tracer<Tree>::forget_hits() {
    m_batch.reset_hits();
    std::fill(m_hit_counts.begin(), m_hit_counts.end(), 0u);
    m_target.test_count = 0;
}

/// Calls `trace_range` with each ray as the batch's range.
template <typename Tree>
template <typename Trace>
void Tracer<Tree>::for_each_ray(const Trace& trace_range) {
    GeometryRaytraceData& data = m_batch.get_data();
    const auto count = static_cast<int>(m_batch.get_ray_count());
    for (int ray = 0; ray < count; ++ray) {
        data.set_range(ray, ray);
        trace_range(data.get_ctx());
    }
}

template <typename Tree> void Tracer<Tree>::trace_rays() {
    for_each_ray([this](GeometryRaytraceCtx& ctx) { call(m_tree_query, ctx); });
}

template <typename Tree> void Tracer<Tree>::trace_stream() {
    GeometryRaytraceData& data = m_batch.get_data();
    data.set_range(0, static_cast<int>(m_batch.get_ray_count()) - 1);
    call(m_stream_query, data.get_ctx());
}

template <typename Tree> void Tracer<Tree>::trace() {
    forget_hits();
    trace_rays();
}

template <typename Tree> GasWalkCounts Tracer<Tree>::trace_counted() {
    forget_hits();
    GasWalkCounts counts;
    for_each_ray([this, &counts](GeometryRaytraceCtx& ctx) { call_counted(ctx, counts); });
    return counts;
}

template <typename Tree>
void Tracer<Tree>::prepare_packets(const std::vector<Ray>& rays, unsigned packet_size,
                                   const std::vector<GMathFrustum>& frusta) {
    prepare(rays, Query::nearest, false);
    m_groups = make_ray_groups(rays);
    m_target.groups = m_groups.data();
    m_packet_size = packet_size;
    m_frusta = frusta.empty() ? nullptr : &frusta;
}

/// Calls `trace_range` with each packet as the batch's range.
template <typename Tree>
template <typename Trace>
void Tracer<Tree>::for_each_packet(const Trace& trace_range) {
    GeometryRaytraceData& data = m_batch.get_data();
    const unsigned count = m_batch.get_ray_count();
    for (unsigned packet = 0; packet * m_packet_size < count; ++packet) {
        const unsigned first = packet * m_packet_size;
        const unsigned end = std::min(first + m_packet_size, count);
        data.set_range(static_cast<int>(first), static_cast<int>(end) - 1);
        data.set_frustum(m_frusta ? &(*m_frusta)[packet] : nullptr);
        trace_range(data.get_ctx());
    }
    data.set_frustum(nullptr);
}

template <typename Tree> void Tracer<Tree>::trace_packet_rays() {
    for_each_packet([this](GeometryRaytraceCtx& ctx) { call(m_tree_query, ctx); });
}

template <typename Tree> void Tracer<Tree>::trace_packets(bool together) {
    forget_hits();
    together ? trace_packet_rays() : trace_rays();
}

template <typename Tree> GasWalkCounts Tracer<Tree>::trace_packets_counted(bool together) {
    if (!together)
        return trace_counted();
    forget_hits();
    GasWalkCounts counts;
    for_each_packet([this, &counts](GeometryRaytraceCtx& ctx) { call_counted(ctx, counts); });
    return counts;
}

template <typename Tree> std::uint64_t Tracer<Tree>::get_hit_count() const {
    std::uint64_t count = 0;
    for (unsigned ray = 0; ray < m_batch.get_ray_count(); ++ray)
        count += get_ray_hit_count(ray);
    return count;
}

template <typename Tree> std::size_t Tracer<Tree>::get_memory_size() const {
    return get_traced_size(m_tree, m_in_motion);
}

template class Tracer<GasTree>;
template class Tracer<GasCompressedTree>;
template class Tracer<GasGridTree>;

} // namespace gas_bench
