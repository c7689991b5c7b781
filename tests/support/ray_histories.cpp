// SPDX-License-Identifier: Apache-2.0
#include <tests/support/ray_histories.h>

#include <bit>
#include <iterator>
#include <limits>

#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/support/seeded_random.h>

namespace support {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

constexpr unsigned deepest = 3;

/// Calls after which a ray is ended, so that scenes of coincident boxes come to an end; some of the
/// outermost rays go on without.
unsigned get_call_limit(const RaySpec& ray, std::size_t depth) {
    constexpr unsigned limits[] = {20, 60, 60, 200};
    if (depth == 0 && ray.seed % 16 == 0)
        return std::numeric_limits<unsigned>::max();
    return limits[ray.seed / 16 % 4] >> depth;
}

/// A bound that lies further away than any a callback has set, mostly.
double choose_longer(const RaySpec& ray, SeededRandom& random) {
    const double choices[] = {ray.far_distance,  ray.scale * random.uniform_double(),
                              2.0 * ray.scale,   ray.scale,
                              infinity,          not_a_number,
                              ray.near_distance, 1e300};
    return choices[random.below(std::size(choices))];
}

/// Empties the cached leaves of the frames that the shader's next queries take.
void forget_cached_leaves(CtxShader& shader) {
    for (auto* ctx = static_cast<GasTreeCtx*>(shader.tree_ctx_slot); ctx; ctx = ctx->next) {
        for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
            ctx->all_hits_cache[slot] = {};
            ctx->nearest_cache[slot] = {};
        }
    }
}

} // namespace

void RayHistory::add(std::uint64_t word) {
    hash ^= word;
    hash *= 0x100000001b3u;
    hash ^= hash >> 29;
}

void RayHistory::add(double value) {
    // One NaN is like another.
    add(std::bit_cast<std::uint64_t>(value == value ? value : not_a_number));
}

std::vector<RayHistory> RayHistories::trace(const std::vector<RaySpec>& rays, int first, int last,
                                            RayQuery query, Handing handing, CtxShader& shader) {
    RawRays batch(rays);
    Level level = {rays, query, handing, &shader, std::vector<RayHistory>(rays.size())};
    m_levels.push_back(&level);
    m_deepest = std::max(m_deepest, static_cast<unsigned>(m_levels.size()) - 1);
    const void* const tree_ctx = shader.tree_ctx_slot;
    const void* const ray_frame = shader.ray_frame_slot;
    if (handing == Handing::alone) {
        for (int ray = first; ray <= last; ++ray) {
            batch.get_data().set_range(ray, ray);
            m_query(query, shader, batch.get_ctx());
        }
    } else {
        batch.get_data().set_range(first, last);
        (handing == Handing::stream ? m_stream : m_query)(query, shader, batch.get_ctx());
        if (batch.get_data().get_first_ray() != first || batch.get_data().get_last_ray() != last)
            m_breach = "a query changed the caller's range";
    }
    if (shader.tree_ctx_slot != tree_ctx || shader.ray_frame_slot != ray_frame)
        m_breach = "a query kept its frames";
    m_levels.pop_back();
    for (unsigned ray = 0; ray < rays.size(); ++ray) {
        RayHistory& history = level.histories[ray];
        history.add(batch.get_ctx().get_tfar(ray));
        history.add(batch.get_ctx().get_intersection_path(ray).get_hit_distance());
        history.add(std::uint64_t{batch.get_ctx().is_hit(ray)});
    }
    return level.histories;
}

void RayHistories::visit(RayQuery callback, unsigned item, CtxShader& shader,
                         GeometryRaytraceCtx& rays) {
    Level& level = *m_levels.back();
    if (&shader != level.shader)
        m_breach = "a callback saw another shader";
    if (&rays.get_data().get_ctx() != &rays)
        m_breach = "a context is not that of its data";
    const int first = rays.get_first_ray();
    const int last = rays.get_last_ray();
    if (level.handing == Handing::stream && expects_single_rays && first != last)
        m_breach = "a stream's call is for several rays";
    for (int i = first; i <= last; ++i) {
        const auto ray = static_cast<unsigned>(i);
        RayHistory& history = level.histories[ray];
        if (history.is_stopped)
            m_breach = "a ray was asked about after it was stopped";
        history.add(static_cast<std::uint64_t>(callback) << 32 | item);
        react(item, ray, shader, rays);
        ++history.calls;
        ++m_call_count;
        // A range that goes through a tree together may hold rays that were stopped.
        history.is_stopped =
            !is_nearest(callback) && level.handing != Handing::together && rays.is_hit(ray);
    }
}

void RayHistories::react(unsigned item, unsigned ray, CtxShader& shader,
                         GeometryRaytraceCtx& rays) {
    Level& level = *m_levels.back();
    RayHistory& history = level.histories[ray];
    const RaySpec& spec = level.rays[ray];
    const bool nearest = is_nearest(level.query);
    GeometryIntersectionPath& path = rays.get_intersection_path(ray);
    const auto get_bound = [&] { return nearest ? path.get_hit_distance() : rays.get_tfar(ray); };
    const auto set_bound = [&](double bound) {
        if (nearest)
            path.set_hit_distance(bound);
        else
            rays.set_tfar(ray, bound);
    };
    SeededRandom random((spec.seed * 31 + item) * 61 + history.calls);
    const unsigned dice = random.below(64);
    history.add(get_bound());
    if (history.calls >= get_call_limit(spec, m_levels.size() - 1)) {
        set_bound(-infinity);
        rays.set_hit(ray);
    } else if (dice < 5) {
        if (nearest)
            rays.record_nearest_hit(ray, spec.scale * random.uniform_double(), item);
        else if (dice < 3)
            rays.set_hit(ray);
    } else if (dice < 16) {
        set_bound(spec.scale * random.uniform_double() * (dice < 10 ? 1.0 : 0.25));
    } else if (dice < 24) {
        set_bound(choose_longer(spec, random));
    } else if (dice < 25) {
        rays.set_hit(ray);
    } else if (dice < 28 && m_levels.size() <= deepest && history.nested < 2) {
        ++history.nested;
        trace_nested(spec, random.next(), shader, history);
    }
    history.add(get_bound());
    history.add(std::uint64_t{rays.is_hit(ray)});
}

void RayHistories::trace_nested(const RaySpec& outer, std::uint64_t seed, CtxShader& shader,
                                RayHistory& history) {
    SeededRandom random(seed);
    const std::vector<RaySpec> rays = make_nested_rays(outer, 40, random);
    const RayQuery query = all_ray_queries[random.below(4)];
    const Handing other = starts_streams ? Handing::stream : Handing::together;
    const Handing handing = random.below(2) ? Handing::alone : other;
    if (starts_streams)
        forget_cached_leaves(shader);
    m_nested_count += rays.size();
    const int last = static_cast<int>(rays.size()) - 1;
    for (const RayHistory& nested : trace(rays, 0, last, query, handing, shader)) {
        history.add(nested.hash);
        history.add(std::uint64_t{nested.calls});
    }
}

} // namespace support
