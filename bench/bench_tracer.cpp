// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_tracer.h>

#include <algorithm>

#include <gas/object/gas_object.h>

namespace gas_bench {

void set_ray(GeometryRayBatch& batch, unsigned index, const Ray& ray) {
    batch.set_ray(index, widen(ray.origin), widen(ray.direction),
                  static_cast<double>(ray.near_distance), static_cast<double>(ray.far_distance),
                  ray.time);
}

template <typename Tree>
Tracer<Tree>::Tracer(const Scene& scene, bool may_move)
    : m_target{scene.triangles.data(),
               scene.later_triangles.data(),
               nullptr,
               nullptr,
               false,
               nullptr,
               0} {
    if (may_nest && !scene.parts.empty()) {
        m_parts = std::make_unique<PartTrees<Tree>>(scene, may_move);
        create_traced_tree(m_tree, make_outline(scene), may_move);
    } else {
        create_traced_tree(m_tree, scene, may_move);
    }
    set_empty_leaves(false);
    GasObject::create_ctx(m_shader);
    m_shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
}

template <typename Tree> Tracer<Tree>::~Tracer() { GasObject::destroy_ctx(m_shader); }

template <typename Tree> void Tracer<Tree>::set_empty_leaves(bool are_empty) {
    const LeafCallbacks callbacks =
        are_empty ? get_empty_callbacks() : get_leaf_callbacks(m_target);
    if (m_parts)
        m_parts->set_callbacks(callbacks);
    (m_parts ? m_parts->get_callbacks() : callbacks).set(m_tree);
}

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
GasWalkCounts Tracer<Tree>::call_counted(GasRayWay way, GeometryRaytraceCtx& ctx) {
    GasWalkCounts counts;
    if (m_parts)
        m_parts->set_counts(&counts);
    TreeKind<Tree>::ask([&](const auto&... flags) {
        gas_counted_rays(m_tree, m_ray_call, way, m_eval, m_shader, ctx, flags..., counts);
    });
    if (m_parts)
        m_parts->set_counts(nullptr);
    return counts;
}

template <typename Tree>
GasWalkCounts Tracer<Tree>::sum_counts(const std::vector<GasWalkCounts>& counts) {
    GasWalkCounts sum;
    for (const GasWalkCounts& each : counts) {
        sum.visited_nodes += each.visited_nodes;
        sum.leaf_calls += each.leaf_calls;
    }
    return sum;
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

template <typename Tree> std::vector<GasWalkCounts> Tracer<Tree>::trace_counted_by_ray() {
    forget_hits();
    std::vector<GasWalkCounts> counts;
    for_each_ray(
        [&](GeometryRaytraceCtx& ctx) { counts.push_back(call_counted(GasRayWay::query, ctx)); });
    return counts;
}

template <typename Tree> GasWalkCounts Tracer<Tree>::trace_stream_counted() {
    forget_hits();
    GeometryRaytraceData& data = m_batch.get_data();
    data.set_range(0, static_cast<int>(m_batch.get_ray_count()) - 1);
    return call_counted(GasRayWay::stream, data.get_ctx());
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
    std::vector<GasWalkCounts> counts;
    for_each_packet(
        [&](GeometryRaytraceCtx& ctx) { counts.push_back(call_counted(GasRayWay::query, ctx)); });
    return sum_counts(counts);
}

template <typename Tree> std::uint64_t Tracer<Tree>::get_hit_count() const {
    std::uint64_t count = 0;
    for (unsigned ray = 0; ray < m_batch.get_ray_count(); ++ray)
        count += get_ray_hit_count(ray);
    return count;
}

template <typename Tree> std::size_t Tracer<Tree>::get_memory_size() const {
    return get_traced_size(m_tree, m_in_motion) + (m_parts ? m_parts->get_size(m_in_motion) : 0);
}

template class Tracer<GasTree>;
template class Tracer<GasCompressedTree>;
template class Tracer<GasGridTree>;

} // namespace gas_bench
