// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/scene.h>

namespace gas_app {

namespace {

/// The distance at which the ray passes the last of the box's near planes.
double get_entry_distance(const Box& box, const GMathBasicRay& ray) {
    double entry = -std::numeric_limits<double>::infinity();
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double plane = ray.get_sign(axis) ? box.max[axis] : box.min[axis];
        const double distance =
            (plane - ray.get_origin()[axis]) * ray.get_inverse_direction()[axis];
        if (distance > entry) // false for a NaN, on a face along the ray
            entry = distance;
    }
    return entry;
}

} // namespace

/// A stream of the scene's batch. If each instance were traced as soon as a ray reaches it, its
/// shape's tree would see one ray at a time. So the tree over the instances only lists the
/// instances that each ray reaches, nearest first, and then every shape's tree gets the rays that
/// are at one of its instances together.
void Scene::trace_stream(Query query, const CtxEval& eval, CtxShader& shader,
                         GeometryRaytraceCtx& ctx) const {
    find_visits(query, eval, shader, ctx);
    TraceState& state = TraceState::of(eval);
    state.local_batch.clear_frustum();
    const auto may_reach = [&](unsigned ray, unsigned instance) {
        return this->may_reach(ray, instance, query, ctx);
    };
    const auto trace = [&](unsigned instance, const std::vector<unsigned>& rays) {
        trace_group(instance, rays, query, eval, shader, ctx);
    };
    while (state.visits.trace_round(may_reach, trace)) {
    }
}

/// Finds the instances that each ray reaches. One ray after the other: this tree is small and its
/// callback cheap, so a stream has no memory latency to hide.
void Scene::find_visits(Query query, const CtxEval& eval, CtxShader& shader,
                        GeometryRaytraceCtx& ctx) const {
    TraceState& state = TraceState::of(eval);
    const int first = ctx.get_first_ray();
    const int last = ctx.get_last_ray();
    state.visits.start(static_cast<unsigned>(last + 1), static_cast<unsigned>(m_instances.size()));
    state.finds_visits = true;
    state.walk = Walk::engine;
    for (int ray = first; ray <= last; ++ray) {
        ctx.get_data().set_range(ray, ray);
        trace_tree(query, eval, shader, ctx);
    }
    ctx.get_data().set_range(first, last);
    state.walk = Walk::stream;
    state.finds_visits = false;
}

/// Traces rays that are at the same instance: as a stream or, few of them, one by one.
void Scene::trace_group(unsigned instance, const std::vector<unsigned>& rays, Query query,
                        const CtxEval& eval, CtxShader& shader,
                        const GeometryRaytraceCtx& ctx) const {
    constexpr unsigned least_stream = 8;
    TraceState& state = TraceState::of(eval);
    int count = 0;
    for (const unsigned ray : rays)
        enter_ray(instance, ray, query, state, static_cast<unsigned>(count++), ctx);
    GeometryRaytraceData& batch = state.local_batch.get_data();
    if (rays.size() >= least_stream) {
        batch.set_range(0, count - 1);
        trace_shape(instance, query, eval, shader, ctx);
        return;
    }
    state.walk = Walk::engine;
    for (int ray = 0; ray < count; ++ray) {
        batch.set_range(ray, ray);
        trace_shape(instance, query, eval, shader, ctx);
    }
    state.walk = Walk::stream;
}

/// Whether a ray that reaches the instance may find a nearer hit there than its hit so far.
bool Scene::may_reach(unsigned ray, unsigned instance, Query query,
                      const GeometryRaytraceCtx& ctx) const {
    if (!ctx.is_hit(ray))
        return true;
    if (query == Query::any_hit)
        return false;
    const GMathBasicRay& line = ctx.get_ray(ray).line;
    return get_entry_distance(m_swept_boxes[instance], line) <=
           ctx.get_intersection_path(ray).get_hit_distance();
}

} // namespace gas_app
