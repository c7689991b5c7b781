#include "bench_tracer.h"

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

template <bool in_motion>
void hit_nearest(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                 GeometryRaytraceCtx& ctx) {
    TraceTarget& target = *static_cast<TraceTarget*>(user);
    target.test_count += static_cast<unsigned>(ctx.get_last_ray() - ctx.get_first_ray()) + 1;
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
            ++target.hit_count;
    }
}

} // namespace

template <typename Tree>
Tracer<Tree>::Tracer(const Scene& scene)
    : m_target{scene.triangles.data(), scene.later_triangles.data(), nullptr, false, 0, 0} {
    create_moving_tree(m_tree, scene);
    // Once for all questions: a grid's cells keep what they were built with.
    m_tree.set_leaf_raytrace_callbacks(hit_any_or_all<false>, hit_any_or_all<true>,
                                       hit_nearest<false>, hit_nearest<true>, &m_target);
    GasObject::create_ctx(m_shader);
    m_shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
}

template <typename Tree> Tracer<Tree>::~Tracer() { GasObject::destroy_ctx(m_shader); }

template <typename Tree>
void Tracer<Tree>::prepare(const std::vector<Ray>& rays, Query query, bool in_motion) {
    m_query = query;
    m_in_motion = in_motion;
    m_target.rays = rays.data();
    m_batch.resize(static_cast<unsigned>(rays.size()));
    for (unsigned i = 0; i < m_batch.get_ray_count(); ++i)
        set_ray(m_batch, i, rays[i]);
    m_target.stops_at_hit = query == Query::any;
    if (query == Query::nearest)
        in_motion ? choose_query<true, true>() : choose_query<true, false>();
    else
        in_motion ? choose_query<false, true>() : choose_query<false, false>();
}

template <typename Tree>
template <bool is_nearest, bool in_motion>
void Tracer<Tree>::choose_query() {
    m_tree_query = ask_tree<Tree, is_nearest, in_motion>;
    m_counted_query = ask_tree_counted<Tree, is_nearest, in_motion>;
}

template <typename Tree> void Tracer<Tree>::trace() {
    m_target.hit_count = 0;
    m_batch.reset_hits();
    GeometryRaytraceData& data = m_batch.get_data();
    const auto count = static_cast<int>(m_batch.get_ray_count());
    for (int ray = 0; ray < count; ++ray) {
        data.set_range(ray, ray);
        m_tree_query(m_tree, m_eval, m_shader, data.get_ctx());
    }
}

template <typename Tree> GasWalkCounts Tracer<Tree>::trace_counted() {
    m_target.hit_count = 0;
    m_batch.reset_hits();
    GasWalkCounts counts;
    GeometryRaytraceData& data = m_batch.get_data();
    const auto count = static_cast<int>(m_batch.get_ray_count());
    for (int ray = 0; ray < count; ++ray) {
        data.set_range(ray, ray);
        m_counted_query(m_tree, m_eval, m_shader, data.get_ctx(), counts);
    }
    return counts;
}

template <typename Tree>
void Tracer<Tree>::prepare_packets(const std::vector<Ray>& rays, unsigned packet_size,
                                   const std::vector<GMathFrustum>& frusta) {
    prepare({}, Query::nearest, false);
    m_target.rays = rays.data();
    m_packets.clear();
    for (std::size_t first = 0; first < rays.size(); first += packet_size) {
        const std::size_t count = std::min<std::size_t>(packet_size, rays.size() - first);
        auto packet = std::make_unique<GeometryRayBatch>(static_cast<unsigned>(count));
        for (unsigned i = 0; i < count; ++i)
            set_ray(*packet, i, rays[first + i]);
        if (!frusta.empty())
            packet->set_frustum(frusta[m_packets.size()]);
        m_packets.push_back(std::move(packet));
    }
}

/// Calls `trace_range` with each packet's context; its range is the whole packet, or one ray.
template <typename Tree>
template <typename Trace>
void Tracer<Tree>::run_packets(bool together, const Trace& trace_range) {
    m_target.test_count = 0;
    const Ray* const first_ray = m_target.rays;
    for (const std::unique_ptr<GeometryRayBatch>& packet : m_packets) {
        packet->reset_hits();
        GeometryRaytraceData& data = packet->get_data();
        const int last = static_cast<int>(packet->get_ray_count()) - 1;
        if (together) {
            data.set_range(0, last);
            trace_range(data.get_ctx());
        } else {
            for (int ray = 0; ray <= last; ++ray) {
                data.set_range(ray, ray);
                trace_range(data.get_ctx());
            }
        }
        m_target.rays += packet->get_ray_count();
    }
    m_target.rays = first_ray;
}

template <typename Tree> void Tracer<Tree>::trace_packets(bool together) {
    run_packets(together,
                [this](GeometryRaytraceCtx& ctx) { m_tree_query(m_tree, m_eval, m_shader, ctx); });
}

template <typename Tree> GasWalkCounts Tracer<Tree>::trace_packets_counted(bool together) {
    GasWalkCounts counts;
    run_packets(together, [this, &counts](GeometryRaytraceCtx& ctx) {
        m_counted_query(m_tree, m_eval, m_shader, ctx, counts);
    });
    return counts;
}

template <typename Tree> std::uint64_t Tracer<Tree>::get_packet_hit_count() const {
    std::uint64_t count = 0;
    for (const std::unique_ptr<GeometryRayBatch>& packet : m_packets)
        for (unsigned ray = 0; ray < packet->get_ray_count(); ++ray)
            count += packet->is_hit(ray) ? 1 : 0;
    return count;
}

template <typename Tree> std::uint64_t Tracer<Tree>::get_hit_count() const {
    if (m_query == Query::all)
        return m_target.hit_count;
    std::uint64_t count = 0;
    for (unsigned ray = 0; ray < m_batch.get_ray_count(); ++ray)
        count += m_batch.is_hit(ray) ? 1 : 0;
    return count;
}

template <typename Tree> std::size_t Tracer<Tree>::get_memory_size() const {
    return m_tree.get_memory_size() + (m_in_motion ? TreeKind<Tree>::get_samples_size(m_tree) : 0);
}

template class Tracer<GasTree>;
template class Tracer<GasCompressedTree>;
template class Tracer<GasGridTree>;

} // namespace gas_bench
