// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verified_rays.h>

#include <bit>

#include <apps/gas/math/sample_hash.h>

namespace gas_app {

VerifiedRays::VerifiedRays(const VerifiedScene& scene, std::uint64_t first, unsigned count)
    : m_scene(scene), m_batch(count), m_nested_batch(1) {
    for (unsigned ray = 0; ray < count; ++ray)
        m_rays.push_back(scene.make_ray(first + ray));
}

void VerifiedRays::reset(Behaviour behaviour, bool is_nearest, bool is_moving) {
    m_behaviour = behaviour;
    m_is_nearest = is_nearest;
    m_is_moving = is_moving;
    m_is_nested = false;
    for (unsigned ray = 0; ray < get_count(); ++ray) {
        const VerifiedScene::Ray& source = m_rays[ray];
        m_batch.set_ray(ray, source.origin, source.direction, source.near_distance,
                        source.far_distance, source.time, static_cast<int>(ray % 6));
    }
    m_batch.reset_hits();
    m_records.assign(get_count(), {});
}

std::vector<RayRecord> VerifiedRays::get_records() {
    for (unsigned ray = 0; ray < get_count(); ++ray) {
        m_records[ray].bound = get_bound(m_batch.get_ctx(), ray);
        m_records[ray].is_hit = m_batch.is_hit(ray);
    }
    return m_records;
}

std::vector<RayRecord> VerifiedRays::trace(const Trace& query, Way way, Behaviour behaviour,
                                           bool is_nearest, bool is_moving) {
    reset(behaviour, is_nearest, is_moving);
    m_query = query;
    ShaderHolder holder(CtxMotionBlur(0.0f, 1.0f, VerifiedScene::sample_count));
    const CtxEval eval;
    GeometryRaytraceData& data = m_batch.get_data();
    const int last = static_cast<int>(get_count()) - 1;
    data.set_range(0, last);
    if (way == Way::together) {
        query(eval, holder.shader, m_batch.get_ctx());
        return get_records();
    }
    for (int ray = 0; ray <= last; ++ray) {
        if (way == Way::each_alone)
            holder.forget_leaves();
        data.set_range(ray, ray);
        query(eval, holder.shader, m_batch.get_ctx());
    }
    return get_records();
}

std::vector<RayRecord> VerifiedRays::trace_by_brute_force(Behaviour behaviour, bool is_nearest,
                                                          bool is_moving) {
    reset(behaviour, is_nearest, is_moving);
    const CtxEval eval;
    CtxShader shader;
    m_batch.get_data().set_range(0, static_cast<int>(get_count()) - 1);
    for (unsigned item = 0; item < m_scene.get_item_count(); ++item)
        call_item(this, item, eval, shader, m_batch.get_ctx());
    return get_records();
}

void VerifiedRays::call_item(void* user, const unsigned& item, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
    for (int ray = ctx.get_first_ray(); ray <= ctx.get_last_ray(); ++ray)
        static_cast<VerifiedRays*>(user)->visit(item, static_cast<unsigned>(ray), eval, shader,
                                                ctx);
}

double VerifiedRays::get_bound(const GeometryRaytraceCtx& ctx, unsigned ray) const {
    return m_is_nearest ? ctx.get_intersection_path(ray).get_hit_distance() : ctx.get_tfar(ray);
}

void VerifiedRays::set_bound(GeometryRaytraceCtx& ctx, unsigned ray, double bound) const {
    if (m_is_nearest)
        ctx.get_intersection_path(ray).set_hit_distance(bound);
    else
        ctx.set_tfar(ray, bound);
}

void VerifiedRays::visit(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
                         GeometryRaytraceCtx& ctx) {
    if (m_is_nested) {
        m_nested_history = hash_pair(m_nested_history, item);
        return;
    }
    const double bound = get_bound(ctx, ray);
    RayRecord& record = m_records[ray];
    record.history =
        hash_pair(hash_pair(record.history, item), std::bit_cast<std::uint64_t>(bound));
    if (m_behaviour == Behaviour::mixed) {
        visit_mixed(item, ray, eval, shader, ctx);
        return;
    }
    const double entry = m_scene.find_entry(item, m_rays[ray], bound, m_is_moving);
    if (entry == VerifiedScene::no_entry)
        return;
    if (m_behaviour == Behaviour::collect)
        record.collected += hash_bits(item + 1);
    else if (m_is_nearest)
        ctx.record_nearest_hit(ray, entry, item);
    else
        ctx.set_hit(ray);
}

void VerifiedRays::visit_mixed(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
                               GeometryRaytraceCtx& ctx) {
    const double bound = get_bound(ctx, ray);
    switch (hash_pair(item, ray) % 24) {
    case 0:
        set_bound(ctx, ray, bound * 0.75);
        return;
    case 1:
        set_bound(ctx, ray, bound * 1.5);
        return;
    case 2:
    case 3:
        nest(item, ray, eval, shader);
        return;
    case 4:
        ctx.set_hit(ray); // stops an all-hits ray
        return;
    default:
        break;
    }
    // Nearest hits: half of what is met is accepted.
    const double entry = m_scene.find_entry(item, m_rays[ray], bound, m_is_moving);
    if (entry != VerifiedScene::no_entry && m_is_nearest && hash_pair(ray, item) % 2 == 0)
        ctx.record_nearest_hit(ray, entry, item);
}

void VerifiedRays::nest(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader) {
    const VerifiedScene::Ray source = m_scene.make_ray(hash_pair(item, ray));
    m_nested_batch.set_ray(0, source.origin, source.direction, source.near_distance,
                           source.far_distance, source.time);
    m_nested_batch.reset_hits();
    m_is_nested = true;
    m_nested_history = 0;
    m_query(eval, shader, m_nested_batch.get_ctx());
    m_is_nested = false;
    m_records[ray].history = hash_pair(m_records[ray].history, m_nested_history);
}

} // namespace gas_app
