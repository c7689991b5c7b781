// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include <gas/easy/leaf_calls.h>
#include <gas/easy/tree.h>
#include <gas/easy/tree_data.h>

namespace gas {
inline namespace gas_abi1 {

namespace {

using detail::Batch;
using detail::ContextData;
using detail::TreeData;

/// As many rays as stay in the caches together with all that is kept for each.
constexpr std::size_t most_rays = 4096;

/// Makes a batch of the program's rays, with copies of them if it `keeps_rays`. One that misses the
/// tree hits nothing.
template <bool keeps_rays>
void set_rays(const TreeData& tree, const Ray* rays, unsigned count, Batch& batch) {
    batch.resize(count);
    double* const starts = batch.get_starts();
    Ray* const seen_rays = batch.get_seen_rays();
    for (unsigned i = 0; i < count; ++i) {
        const Ray& ray = rays[i];
        double start = 0.0;
        const bool may_hit = !detail::has_nan(ray) && tree.find_start(ray, start);
        const double far = may_hit ? ray.far : -infinity;
        starts[i] = start;
        batch.set_ray(i, tree.get_origin(ray, start), tree.get_direction(ray), ray.near - start,
                      far - start, static_cast<float>(ray.time));
        if constexpr (keeps_rays) {
            seen_rays[i] = ray;
            seen_rays[i].far = far;
        }
    }
}

/// Calls `trace(first, count)` for runs of rays.
template <typename Trace> void for_each_run(std::size_t ray_count, const Trace& trace) {
    for (std::size_t first = 0; first < ray_count; first += most_rays)
        trace(first, static_cast<unsigned>(std::min(most_rays, ray_count - first)));
}

} // namespace

namespace detail {

void TreeData::trace_closest(ContextData& context, GeometryRaytraceCtx& rays,
                             bool as_stream) const {
    const MotionScope motion(context.shader, m_sample_count);
    const CtxEval& eval = context.eval;
    CtxShader& shader = context.shader;
    const auto trace = [&](const auto& tree, const auto&... shortcut) {
        if (m_sample_count == 0)
            as_stream ? tree.ray_stream_nearest_static(eval, shader, rays, shortcut...)
                      : tree.ray_hit_nearest_static(eval, shader, rays, shortcut...);
        else
            as_stream ? tree.ray_stream_nearest_motion(eval, shader, rays, shortcut...)
                      : tree.ray_hit_nearest_motion(eval, shader, rays, shortcut...);
    };
    visit_tree(trace);
}

void TreeData::trace_all(ContextData& context, GeometryRaytraceCtx& rays, bool as_stream) const {
    const MotionScope motion(context.shader, m_sample_count);
    const CtxEval& eval = context.eval;
    CtxShader& shader = context.shader;
    const auto trace = [&](const auto& tree, const auto&... shortcut) {
        if (m_sample_count == 0)
            as_stream ? tree.ray_stream_static(eval, shader, rays, shortcut...)
                      : tree.ray_hit_static(eval, shader, rays, shortcut...);
        else
            as_stream ? tree.ray_stream_motion(eval, shader, rays, shortcut...)
                      : tree.ray_hit_motion(eval, shader, rays, shortcut...);
    };
    visit_tree(trace);
}

Hit TreeData::find_closest(Context* context, const Ray& ray, const DistanceCall& call) const {
    Hit hit;
    double start = 0.0;
    if (has_nan(ray) || !find_start(ray, start))
        return hit;
    Ray seen = ray;
    ClosestQuery query = {call, m_count, 0, &seen, &start, &hit};
    GeometrySingleRay traced(get_origin(ray, start), get_direction(ray), ray.near - start,
                             ray.far - start, static_cast<float>(ray.time));
    traced.get_data().set_query_data(&query);
    trace_closest(ContextData::get(context), traced.get_ctx(), false);
    return hit;
}

bool TreeData::find_any(Context* context, const Ray& ray, const StopCall& call,
                        bool asks_cache) const {
    double start = 0.0;
    if (has_nan(ray) || !find_start(ray, start))
        return false;
    StopQuery query = {call, m_count, 0, &ray};
    GeometrySingleRay traced(get_origin(ray, start), get_direction(ray), ray.near - start,
                             ray.far - start, static_cast<float>(ray.time));
    traced.get_data().set_query_data(&query);
    // Streams are without cached leaves.
    trace_all(ContextData::get(context), traced.get_ctx(), !asks_cache);
    return traced.is_hit();
}

} // namespace detail

Hit Tree::trace_closest(Context* context, const Ray& ray, const detail::DistanceCall& call) const {
    return m_data ? m_data->find_closest(context, ray, call) : Hit();
}

bool Tree::trace_all(Context* context, const Ray& ray, const detail::StopCall& call,
                     bool asks_cache) const {
    return m_data && m_data->find_any(context, ray, call, asks_cache);
}

void Tree::trace_closest(Context* context, const Ray* rays, std::size_t count, Hit* hits,
                         const detail::DistanceCall& call) const {
    std::fill(hits, hits + count, Hit());
    if (!m_data)
        return;
    ContextData& data = ContextData::get(context);
    const detail::Lease<Batch> batch(data.batches, data.used_batch_count);
    for_each_run(count, [&](std::size_t first, unsigned run_count) {
        set_rays<true>(*m_data, rays + first, run_count, *batch);
        detail::ClosestQuery query = {
            call,        m_data->get_count(), first, batch->get_seen_rays(), batch->get_starts(),
            hits + first};
        batch->get_data().set_query_data(&query);
        m_data->trace_closest(data, batch->get_ctx(), true);
    });
}

void Tree::trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                     const detail::StopCall& call) const {
    if (hits)
        std::fill(hits, hits + count, false);
    if (!m_data)
        return;
    ContextData& data = ContextData::get(context);
    const detail::Lease<Batch> batch(data.batches, data.used_batch_count);
    for_each_run(count, [&](std::size_t first, unsigned run_count) {
        set_rays<false>(*m_data, rays + first, run_count, *batch);
        detail::StopQuery query = {call, m_data->get_count(), first, rays + first};
        batch->get_data().set_query_data(&query);
        m_data->trace_all(data, batch->get_ctx(), true);
        for (unsigned i = 0; hits && i < run_count; ++i)
            hits[first + i] = batch->is_hit(i);
    });
}

} // namespace gas_abi1
} // namespace gas
