// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verified_rays.h>

#include <bit>
#include <cstdio>

#include <apps/gas/math/sample_hash.h>

namespace gas_app {

namespace {

/// Queries that the callbacks of a ray nest: where it meets all items, so do they.
constexpr unsigned most_nested = 2;

/// A link of a chain of calls; cheaper than hash_pair, for there are very many.
std::uint64_t continue_history(std::uint64_t history, std::uint64_t item, std::uint64_t bound) {
    history ^= history >> 29;
    return (history ^ bound) * 0xD6E8FEB86659FD93u + (item + 1) * 0x9E3779B97F4A7C15u;
}

std::vector<VerifiedScene::Ray> make_rays(const VerifiedScene& scene, std::uint64_t first,
                                          unsigned count) {
    std::vector<VerifiedScene::Ray> rays;
    for (unsigned ray = 0; ray < count; ++ray)
        rays.push_back(scene.make_ray(first + ray));
    return rays;
}

} // namespace

std::string Question::describe() const {
    std::string name = is_nearest ? "nearest hit" : "any hit";
    if (behaviour == Behaviour::collect)
        name = "all hits";
    else if (behaviour == Behaviour::mixed)
        name = is_nearest ? "nearest hit, changing rays" : "all hits, changing rays";
    return name + (is_moving ? ", in motion" : "");
}

VerifiedRays::VerifiedRays(const VerifiedScene& scene, const std::vector<VerifiedScene::Ray>& rays)
    : m_scene(scene), m_rays(rays.begin(), rays.end()), m_batch(get_count()), m_nested_batch(1) {
    for (unsigned ray = 0; ray < get_count(); ++ray) {
        const VerifiedScene::Ray& source = m_rays[ray];
        m_batch.set_ray(ray, source.origin, source.direction, source.near_distance,
                        source.far_distance, source.time, static_cast<int>(ray % 6));
    }
}

VerifiedRays::VerifiedRays(const VerifiedScene& scene, std::uint64_t first, unsigned count)
    : VerifiedRays(scene, make_rays(scene, first, count)) {}

VerifiedRays::VerifiedRays(const VerifiedScene& scene, const VerifiedScene::Tile& tile)
    : VerifiedRays(scene, tile.rays) {
    m_batch.set_frustum(tile.frustum);
}

std::string VerifiedRays::describe(unsigned ray) const {
    const VerifiedScene::Ray& told = m_rays[ray];
    char text[400];
    std::snprintf(text, sizeof text, "from (%a, %a, %a) along (%a, %a, %a), %a to %a, at %a",
                  told.origin.x, told.origin.y, told.origin.z, told.direction.x, told.direction.y,
                  told.direction.z, told.near_distance, told.far_distance,
                  static_cast<double>(told.time));
    return text;
}

void VerifiedRays::reset(const Question& question) {
    m_question = question;
    m_is_nested = false;
    m_batch.reset_hits();
    m_records.assign(get_count(), {});
    m_nested_counts.assign(get_count(), 0);
}

std::vector<RayRecord> VerifiedRays::get_records() {
    for (unsigned ray = 0; ray < get_count(); ++ray) {
        m_records[ray].bound = get_bound(m_batch.get_ctx(), ray);
        m_records[ray].is_hit = m_batch.is_hit(ray);
        if (m_question.is_nearest)
            m_records[ray].item = m_batch.get_item(ray);
    }
    return std::move(m_records);
}

std::vector<RayRecord> VerifiedRays::trace(const Trace& query, Way way, const Question& question) {
    reset(question);
    m_query = query;
    ShaderHolder holder(CtxMotionBlur(0.0f, 1.0f, VerifiedScene::sample_count));
    CtxEval eval;
    eval.user_data = this;
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

std::vector<RayRecord> VerifiedRays::trace_by_brute_force(const Question& question,
                                                          unsigned step) const {
    std::vector<RayRecord> records;
    for (unsigned ray = 0; ray < get_count(); ray += step)
        records.push_back(try_items(ray, question));
    return records;
}

RayRecord VerifiedRays::try_items(unsigned ray, const Question& question) const {
    const VerifiedScene::PreparedRay& traced = m_rays[ray];
    RayRecord record;
    record.bound = traced.far_distance;
    for (unsigned item = 0; item < m_scene.get_item_count(); ++item) {
        const double entry = m_scene.find_entry(item, traced, record.bound, question.is_moving);
        if (entry == VerifiedScene::no_entry)
            continue;
        if (question.behaviour == Behaviour::collect) {
            record.collected += get_collected(item);
            continue;
        }
        record.is_hit = true;
        if (!question.is_nearest)
            break;
        record.bound = entry;
        record.item = item;
    }
    return record;
}

void VerifiedRays::call_item(void*, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                             GeometryRaytraceCtx& ctx) {
    VerifiedRays& rays = *static_cast<VerifiedRays*>(eval.user_data);
    for (int ray = ctx.get_first_ray(); ray <= ctx.get_last_ray(); ++ray)
        rays.visit(item, static_cast<unsigned>(ray), eval, shader, ctx);
}

double VerifiedRays::get_bound(const GeometryRaytraceCtx& ctx, unsigned ray) const {
    return m_question.is_nearest ? ctx.get_intersection_path(ray).get_hit_distance()
                                 : ctx.get_tfar(ray);
}

void VerifiedRays::set_bound(GeometryRaytraceCtx& ctx, unsigned ray, double bound) const {
    if (m_question.is_nearest)
        ctx.get_intersection_path(ray).set_hit_distance(bound);
    else
        ctx.set_tfar(ray, bound);
}

void VerifiedRays::visit(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
                         GeometryRaytraceCtx& ctx) {
    if (m_is_nested) {
        m_nested_history = continue_history(m_nested_history, item, 0);
        return;
    }
    const double bound = get_bound(ctx, ray);
    RayRecord& record = m_records[ray];
    record.history = continue_history(record.history, item, std::bit_cast<std::uint64_t>(bound));
    if (m_question.behaviour == Behaviour::mixed) {
        visit_mixed(item, ray, eval, shader, ctx);
        return;
    }
    const double entry = m_scene.find_entry(item, m_rays[ray], bound, m_question.is_moving);
    if (entry == VerifiedScene::no_entry)
        return;
    if (m_question.behaviour == Behaviour::collect)
        record.collected += get_collected(item);
    else if (m_question.is_nearest)
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
        if (m_nested_counts[ray]++ < most_nested)
            nest(item, ray, eval, shader);
        return;
    case 4:
        ctx.set_hit(ray); // stops an all-hits ray
        return;
    default:
        break;
    }
    // Nearest hits: half of what is met is accepted.
    const double entry = m_scene.find_entry(item, m_rays[ray], bound, m_question.is_moving);
    if (entry != VerifiedScene::no_entry && m_question.is_nearest && hash_pair(ray, item) % 2 == 0)
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
