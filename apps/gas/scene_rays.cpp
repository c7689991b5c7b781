#include "scene.h"

namespace gas_app {

namespace {

/// The frustum in the space of which `placement` is the place, multiplied by `scale`; normals lose
/// their length, which nobody asks for.
GMathFrustum to_local(const GMathFrustum& frustum, const Transform& placement, double scale) {
    GMathFrustum local;
    for (unsigned index = 0; index < frustum.get_plane_count(); ++index) {
        const GMathFrustum::Plane& plane = frustum.get_plane(index);
        local.add_plane(placement.apply_inverse_to_normal(plane.normal),
                        (dot(plane.normal, placement.origin) + plane.offset) * scale);
    }
    return local;
}

/// Makes `scaled` see the rays of `batch` multiplied by `scale`; distances and hits stay those of
/// `batch`.
void scale_batch(const GeometryRaytraceData& batch, double scale, TraceState& state,
                 GeometryRaytraceData& scaled) {
    GeometryRaytraceData::Arrays arrays = batch.get_arrays();
    for (int index = batch.get_first_ray(); index <= batch.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        const GeometryRay& from = arrays.rays[ray];
        state.scaled_rays[ray] = {
            GMathBasicRay(from.line.get_origin() * scale, from.line.get_direction() * scale),
            from.time, from.cache_slot};
    }
    arrays.rays = state.scaled_rays.data();
    scaled.set_rays(arrays, batch.get_ray_count(), batch.get_intersection_map());
    scaled.set_range(batch.get_first_ray(), batch.get_last_ray());
    if (batch.get_frustum()) {
        state.scaled_frustum = to_local(*batch.get_frustum(), Transform(), scale);
        scaled.set_frustum(&state.scaled_frustum);
    }
}

} // namespace

void Scene::trace_any_hit(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                          GeometryRaytraceCtx& ctx) {
    static_cast<const Scene*>(object)->trace_instances(Query::any_hit, eval, shader, ctx);
}

void Scene::trace_nearest_hit(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                              GeometryRaytraceCtx& ctx) {
    static_cast<const Scene*>(object)->trace_instances(Query::nearest_hit, eval, shader, ctx);
}

void Scene::trace_instances(Query query, const CtxEval& eval, CtxShader& shader,
                            GeometryRaytraceCtx& ctx) const {
    TraceState& state = TraceState::of(eval);
    state.scene_batch = &ctx.get_data();
    if (m_tree.get_scale() == 1.0) {
        m_tree.trace(query, eval, shader, ctx);
        return;
    }
    GeometryRaytraceData scaled;
    scale_batch(*state.scene_batch, m_tree.get_scale(), state, scaled);
    m_tree.trace(query, eval, shader, scaled.get_ctx());
}

/// Takes the rays that are still searching into the instance's space. Directions keep the length
/// that the map gives them, so that distances mean the same on both sides; only the tree sees them
/// multiplied by its scale. False: no ray is left.
bool Scene::enter_instance(unsigned instance, Query query, TraceState& state,
                           const GeometryRaytraceCtx& ctx) const {
    const double scale = m_instances[instance].shape->get_tree().get_scale();
    Transform moving;
    unsigned count = 0;
    for (int index = ctx.get_first_ray(); index <= ctx.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        if (query == Query::any_hit && ctx.is_hit(ray))
            continue;
        const GeometryRay& scene_ray = state.scene_batch->get_arrays().rays[ray];
        LocalRay& local = state.local_rays[count];
        local.moment = get_moment(scene_ray.time);
        const Transform& inverse = get_inverse_placement(instance, local.moment, moving);
        local.origin = inverse.apply_to_point(scene_ray.line.get_origin());
        local.direction = inverse.apply_to_vector(scene_ray.line.get_direction());
        local.shear = RayShear(local.direction);
        local.scene_ray = ray;
        const double far_distance = query == Query::any_hit
                                        ? ctx.get_tfar(ray)
                                        : ctx.get_intersection_path(ray).get_hit_distance();
        state.local_batch.set_ray(count, local.origin * scale, local.direction * scale,
                                  ctx.get_tnear(ray), far_distance, scene_ray.time,
                                  scene_ray.cache_slot);
        ++count;
    }
    state.instance = instance;
    state.local_batch.get_data().set_range(0, static_cast<int>(count) - 1);
    const std::vector<Transform>& placements = m_instances[instance].placements;
    const GMathFrustum* frustum = state.scene_batch->get_frustum();
    if (frustum && count > 1 && placements.size() == 1)
        state.local_batch.set_frustum(to_local(*frustum, placements.front(), scale));
    else
        state.local_batch.clear_frustum();
    return count > 0;
}

void Scene::find_any_hit(void* user, const unsigned& instance, const CtxEval& eval,
                         CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    TraceState& state = TraceState::of(eval);
    if (!scene.enter_instance(instance, Query::any_hit, state, ctx))
        return;
    GeometryRaytraceCtx& local = state.local_batch.get_ctx();
    scene.m_instances[instance].shape->get_tree().trace(Query::any_hit, eval, shader, local);
    for (int ray = local.get_first_ray(); ray <= local.get_last_ray(); ++ray)
        if (local.is_hit(static_cast<unsigned>(ray)))
            ctx.set_hit(state.local_rays[static_cast<unsigned>(ray)].scene_ray);
}

void Scene::find_nearest_hit(void* user, const unsigned& instance, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    TraceState& state = TraceState::of(eval);
    if (!scene.enter_instance(instance, Query::nearest_hit, state, ctx))
        return;
    GeometryRaytraceCtx& local = state.local_batch.get_ctx();
    scene.m_instances[instance].shape->get_tree().trace(Query::nearest_hit, eval, shader, local);
    for (int index = local.get_first_ray(); index <= local.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        // The hit itself went into the state's record; ties there leave the distance alone.
        if (local.is_hit(ray))
            ctx.record_nearest_hit(state.local_rays[ray].scene_ray,
                                   local.get_intersection_path(ray).get_hit_distance(), instance);
    }
}

} // namespace gas_app
