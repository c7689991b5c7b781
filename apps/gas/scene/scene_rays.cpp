// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/scene.h>

#include <gas/scene/gas_scene_scale.h>

namespace gas_app {

namespace {

GMathFrustum scale_frustum(const GMathFrustum& frustum, double scale) {
    GMathFrustum scaled;
    gas_scale_planes(frustum, scale,
                     [&](const Vec3& normal, double offset) { scaled.add_plane(normal, offset); });
    return scaled;
}

/// The frustum in the local space of `placement`; normals are not of length 1, which box tests do
/// not need.
GMathFrustum to_local(const GMathFrustum& frustum, const Transform& placement) {
    GMathFrustum local;
    for (unsigned index = 0; index < frustum.get_plane_count(); ++index) {
        const GMathFrustum::Plane& plane = frustum.get_plane(index);
        local.add_plane(placement.apply_inverse_to_normal(plane.normal),
                        dot(plane.normal, placement.origin) + plane.offset);
    }
    return local;
}

/// Makes `scaled` a view of the rays of `batch` multiplied by `scale`; distances and hits are those
/// of `batch`.
void scale_batch(const GeometryRaytraceData& batch, double scale, TraceState& state,
                 GeometryRaytraceData& scaled) {
    GeometryRaytraceData::Arrays arrays = batch.get_arrays();
    for (int index = batch.get_first_ray(); index <= batch.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        const GeometryRay& from = arrays.rays[ray];
        state.scaled_rays[ray] = {GMathBasicRay(gas_scale_vector(from.line.get_origin(), scale),
                                                gas_scale_vector(from.line.get_direction(), scale)),
                                  from.time, from.cache_slot};
    }
    arrays.rays = state.scaled_rays.data();
    scaled.set_rays(arrays, batch.get_ray_count(), batch.get_intersection_map());
    scaled.set_range(batch.get_first_ray(), batch.get_last_ray());
    if (batch.get_frustum()) {
        state.scaled_frustum = scale_frustum(*batch.get_frustum(), scale);
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
    if (state.walk == Walk::stream)
        trace_stream(query, eval, shader, ctx);
    else
        trace_tree(query, eval, shader, ctx);
}

/// Traces the scene's batch through the tree over the instances.
void Scene::trace_tree(Query query, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& ctx) const {
    if (m_tree.get_scale() == 1.0) {
        m_tree.trace(query, eval, shader, ctx);
        return;
    }
    GeometryRaytraceData scaled;
    scale_batch(ctx.get_data(), m_tree.get_scale(), TraceState::of(eval), scaled);
    m_tree.trace(query, eval, shader, scaled.get_ctx());
}

/// Transforms the rays that are still active into the instance's space. False: no ray is left.
bool Scene::enter_instance(unsigned instance, Query query, TraceState& state,
                           const GeometryRaytraceCtx& ctx) const {
    unsigned count = 0;
    for (int index = ctx.get_first_ray(); index <= ctx.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        if (query == Query::nearest_hit || !ctx.is_hit(ray))
            enter_ray(instance, ray, query, state, count++, ctx);
    }
    state.local_batch.get_data().set_range(0, static_cast<int>(count) - 1);
    const std::vector<Transform>& placements = m_instances[instance].placements;
    const GMathFrustum* frustum = state.scene_batch->get_frustum();
    if (frustum && count > 1 && placements.size() == 1)
        state.local_batch.set_frustum(
            scale_frustum(to_local(*frustum, placements.front()),
                          m_instances[instance].shape->get_tree().get_scale()));
    else
        state.local_batch.clear_frustum();
    return count > 0;
}

/// Transforms a ray into the instance's space. Directions keep the length that the map gives them,
/// so that distances are the same in both spaces; only the tree sees them multiplied by its scale.
void Scene::enter_ray(unsigned instance, unsigned ray, Query query, TraceState& state,
                      unsigned local_index, const GeometryRaytraceCtx& ctx) const {
    const GeometryRay& scene_ray = state.scene_batch->get_arrays().rays[ray];
    LocalRay& local = state.local_rays[local_index];
    local.moment = get_moment(scene_ray.time);
    Transform moving;
    const Transform& inverse = get_inverse_placement(instance, local.moment, moving);
    local.origin = inverse.apply_to_point(scene_ray.line.get_origin());
    local.direction = inverse.apply_to_vector(scene_ray.line.get_direction());
    local.shear = RayShear(local.direction);
    local.scene_ray = ray;
    const double far_distance = query == Query::any_hit
                                    ? ctx.get_tfar(ray)
                                    : ctx.get_intersection_path(ray).get_hit_distance();
    const double scale = m_instances[instance].shape->get_tree().get_scale();
    state.local_batch.set_ray(local_index, gas_scale_vector(local.origin, scale),
                              gas_scale_vector(local.direction, scale), ctx.get_tnear(ray),
                              far_distance, scene_ray.time, scene_ray.cache_slot);
}

/// Traces the rays that entered the instance through its shape's tree and writes hits to the
/// scene's batch.
void Scene::trace_shape(unsigned instance, Query query, const CtxEval& eval, CtxShader& shader,
                        const GeometryRaytraceCtx& ctx) const {
    TraceState& state = TraceState::of(eval);
    state.instance = instance;
    GeometryRaytraceCtx& local = state.local_batch.get_ctx();
    m_instances[instance].shape->get_tree().trace(query, eval, shader, local);
    for (int index = local.get_first_ray(); index <= local.get_last_ray(); ++index) {
        const unsigned ray = static_cast<unsigned>(index);
        if (!local.is_hit(ray))
            continue;
        const unsigned scene_ray = state.local_rays[ray].scene_ray;
        // The hit itself is in the state's record; a tie there does not change the distance.
        if (query == Query::any_hit)
            ctx.set_hit(scene_ray);
        else
            ctx.record_nearest_hit(scene_ray, local.get_intersection_path(ray).get_hit_distance(),
                                   instance);
    }
}

/// A leaf of the tree over the instances.
void Scene::visit_instance(unsigned instance, Query query, const CtxEval& eval, CtxShader& shader,
                           const GeometryRaytraceCtx& ctx) const {
    TraceState& state = TraceState::of(eval);
    if (state.finds_visits) {
        for (int ray = ctx.get_first_ray(); ray <= ctx.get_last_ray(); ++ray)
            state.visits.add(static_cast<unsigned>(ray), instance);
    } else if (enter_instance(instance, query, state, ctx)) {
        trace_shape(instance, query, eval, shader, ctx);
    }
}

void Scene::find_any_hit(void* user, const unsigned& instance, const CtxEval& eval,
                         CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    scene.visit_instance(instance, Query::any_hit, eval, shader, ctx);
}

void Scene::find_nearest_hit(void* user, const unsigned& instance, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    scene.visit_instance(instance, Query::nearest_hit, eval, shader, ctx);
}

} // namespace gas_app
