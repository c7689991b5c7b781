// SPDX-License-Identifier: Apache-2.0
#include <tests/mirror/mirrored_rays.h>

#include <algorithm>
#include <bit>

namespace support {

namespace {

enum class Action { nothing, hit, shorten, set_flag, nested_query, lengthen };

/// What a callback does with an item.
struct Reaction {
    Action action;
    double share; // of the ray's scale: the new distance
    std::uint64_t seed;
};

Reaction choose_reaction(const RaySpec& ray, unsigned item) {
    SeededRandom random(ray.seed * 31 + item);
    const unsigned dice = random.below(64);
    Reaction reaction = {Action::nothing, random.uniform_double(), random.next()};
    if (dice < 8)
        reaction.action = Action::hit;
    else if (dice < 11)
        reaction.action = Action::shorten;
    else if (dice < 13)
        reaction.action = Action::set_flag;
    else if (dice < 15)
        reaction.action = Action::nested_query;
    else if (dice < 17)
        reaction.action = Action::lengthen;
    return reaction;
}

/// One ray or several from the ray's origin in directions of their own.
struct NestedQuery {
    BatchSpec batch;
    RayQuery query;
    unsigned tree;
};

NestedQuery make_nested(const RaySpec& outer, std::uint64_t seed, unsigned tree_count) {
    SeededRandom random(seed);
    NestedQuery nested;
    nested.query = all_ray_queries[random.below(4)];
    nested.tree = random.below(tree_count);
    nested.batch = make_batch(make_nested_rays(outer, 9, random));
    return nested;
}

} // namespace

std::vector<RaySpec> make_nested_rays(const RaySpec& outer, unsigned most, SeededRandom& random) {
    const unsigned most_rays = random.below(4) == 0 ? most : 3;
    std::vector<RaySpec> rays(1 + random.below(most_rays), outer);
    for (RaySpec& ray : rays) {
        for (double& component : ray.direction) {
            if (random.below(4) != 0)
                component *= random.uniform_double() * 2.0 - 1.0;
        }
        ray.far_distance = outer.scale;
        ray.is_hit_before = false;
        ray.cache_slot = static_cast<int>(random.below(6));
        ray.seed = random.next();
    }
    return rays;
}

Mirror::Mirror(std::vector<MirroredTree*> trees, const CtxMotionBlur& shutter)
    : m_trees(std::move(trees)), m_shutter(shutter) {
    for (MirroredTree* tree : m_trees) {
        tree->set_callbacks(receive<RayQuery::hit_static>, receive<RayQuery::hit_motion>,
                            receive<RayQuery::nearest_static>, receive<RayQuery::nearest_motion>,
                            this);
    }
}

template <RayQuery callback>
void Mirror::receive(void* user, const unsigned& item, const CtxEval&, CtxShader& shader,
                     GeometryRaytraceCtx& rays) {
    Mirror& self = *static_cast<Mirror*>(user);
    const int first = rays.get_first_ray();
    const int last = rays.get_last_ray();
    self.m_library_events.push_back(
        {static_cast<unsigned>(self.m_levels.size()) - 1, callback, item, first, last});
    if (&shader != &self.m_shader)
        self.m_contract_breach = "a callback saw another shader";
    for (int ray = first; ray <= last; ++ray)
        self.react_in_library(item, static_cast<unsigned>(ray), rays);
}

CtxMotionBlur Mirror::get_motion(unsigned tree) const {
    return {m_shutter.get_shutter_open(), m_shutter.get_shutter_close(),
            m_trees[tree]->get_sample_count()};
}

std::vector<RayResult> Mirror::trace_library(const BatchSpec& spec, RayQuery query, unsigned tree) {
    GeometryRayBatch batch(static_cast<unsigned>(spec.rays.size()));
    for (unsigned i = 0; i < spec.rays.size(); ++i) {
        const RaySpec& ray = spec.rays[i];
        batch.set_ray(i, {ray.origin[0], ray.origin[1], ray.origin[2]},
                      {ray.direction[0], ray.direction[1], ray.direction[2]}, ray.near_distance,
                      ray.far_distance, ray.time, ray.cache_slot);
        if (ray.is_hit_before)
            batch.get_ctx().set_hit(i);
    }
    batch.get_data().set_range(spec.first_ray, spec.last_ray);
    GMathFrustum frustum;
    for (const naive::Plane& plane : spec.planes)
        frustum.add_plane({plane.normal[0], plane.normal[1], plane.normal[2]}, plane.offset);
    if (!spec.planes.empty())
        batch.set_frustum(frustum);
    const void* const tree_ctx = m_shader.tree_ctx_slot;
    const void* const ray_frame = m_shader.ray_frame_slot;
    m_levels.push_back({&spec, query});
    // The outer walk has resolved its time when a nested one sets the samples of its own tree.
    const CtxMotionBlur outer_samples = m_shader.get_motion_blur();
    m_shader.set_motion_blur(get_motion(tree));
    m_trees[tree]->trace(query, m_shader, batch.get_ctx());
    m_shader.set_motion_blur(outer_samples);
    m_levels.pop_back();
    if (m_shader.tree_ctx_slot != tree_ctx || m_shader.ray_frame_slot != ray_frame)
        m_contract_breach = "a query kept its frames";

    std::vector<RayResult> results;
    for (unsigned i = 0; i < spec.rays.size(); ++i)
        results.push_back(
            {batch.get_ctx().get_tfar(i), batch.get_hit_distance(i), batch.is_hit(i)});
    return results;
}

void Mirror::react_in_library(unsigned item, unsigned ray, GeometryRaytraceCtx& rays) {
    const Level level = m_levels.back();
    const RaySpec& spec = level.batch->rays[ray];
    const Reaction reaction = choose_reaction(spec, item);
    const double distance = spec.scale * reaction.share;
    GeometryIntersectionPath& path = rays.get_intersection_path(ray);
    switch (reaction.action) {
    case Action::nothing:
        break;
    case Action::hit:
        if (is_nearest(level.query))
            rays.record_nearest_hit(ray, distance, item);
        else
            rays.set_hit(ray);
        break;
    case Action::shorten:
        if (is_nearest(level.query) && distance < path.get_hit_distance())
            path.set_hit_distance(distance);
        if (!is_nearest(level.query) && distance < rays.get_tfar(ray))
            rays.set_tfar(ray, distance);
        break;
    case Action::lengthen:
        // Packets drop boxes by the bounds that they started with.
        if (level.batch->has_several_rays() && is_nearest(level.query))
            break;
        if (is_nearest(level.query))
            path.set_hit_distance(2.0 * distance);
        else
            rays.set_tfar(ray, 2.0 * distance);
        break;
    case Action::set_flag:
        rays.set_hit(ray);
        break;
    case Action::nested_query:
        if (m_levels.size() <= deepest && m_library_nested < most_nested) {
            ++m_library_nested;
            const NestedQuery nested =
                make_nested(spec, reaction.seed, static_cast<unsigned>(m_trees.size()));
            m_nested_ray_count += static_cast<unsigned>(nested.batch.rays.size());
            trace_library(nested.batch, nested.query, nested.tree);
        }
        break;
    }
}

std::vector<RayResult> Mirror::trace_reference(const BatchSpec& batch, RayQuery query,
                                               unsigned tree, unsigned depth) {
    std::vector<naive::Ray> rays(batch.rays.size());
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const RaySpec& spec = batch.rays[i];
        naive::Ray& ray = rays[i];
        for (unsigned axis = 0; axis < 3; ++axis) {
            ray.origin[axis] = spec.origin[axis];
            ray.direction[axis] = spec.direction[axis];
            ray.inverse[axis] = naive::inverse_component(spec.direction[axis]);
        }
        ray.near_distance = spec.near_distance;
        ray.far_distance = ray.hit_distance = spec.far_distance;
        ray.hit_flag = spec.is_hit_before;
        ray.time = spec.time;
        ray.cache_slot = spec.cache_slot;
    }

    naive::Batch traced = {std::move(rays), batch.first_ray, batch.last_ray, nullptr};
    if (!batch.planes.empty())
        traced.frustum = &batch.planes;
    const auto callback = [&](naive::Query received, unsigned item, int first, int last) {
        m_reference_events.push_back({depth, static_cast<RayQuery>(received), item, first, last});
        for (int i = first; i <= last; ++i) {
            const std::size_t ray = static_cast<std::size_t>(i);
            react_in_reference({batch.rays[ray], query, depth, batch.has_several_rays()}, item,
                               traced.rays[ray]);
        }
    };
    const naive::PacketCounts counts = m_trees[tree]->trace_reference(
        query, m_frames, traced, to_naive(get_motion(tree)), callback);
    m_packet_counts.nodes += counts.nodes;
    m_packet_counts.culled_by_frustum += counts.culled_by_frustum;

    std::vector<RayResult> results;
    for (const naive::Ray& ray : traced.rays)
        results.push_back({ray.far_distance, ray.hit_distance, ray.hit_flag});
    return results;
}

void Mirror::react_in_reference(const Traced& traced, unsigned item, naive::Ray& ray) {
    const RayQuery query = traced.query;
    const Reaction reaction = choose_reaction(traced.spec, item);
    const double distance = traced.spec.scale * reaction.share;
    double& bound = is_nearest(query) ? ray.hit_distance : ray.far_distance;
    switch (reaction.action) {
    case Action::nothing:
        break;
    case Action::hit:
        if (is_nearest(query)) {
            if (distance < bound) {
                bound = distance;
                ray.hit_flag = true;
            }
        } else {
            ray.hit_flag = true;
        }
        break;
    case Action::shorten:
        if (distance < bound)
            bound = distance;
        break;
    case Action::lengthen:
        if (!traced.is_of_several || !is_nearest(query))
            bound = 2.0 * distance;
        break;
    case Action::set_flag:
        ray.hit_flag = true;
        break;
    case Action::nested_query:
        if (traced.depth < deepest && m_reference_nested < most_nested) {
            ++m_reference_nested;
            const NestedQuery nested =
                make_nested(traced.spec, reaction.seed, static_cast<unsigned>(m_trees.size()));
            trace_reference(nested.batch, nested.query, nested.tree, traced.depth + 1);
        }
        break;
    }
}

std::string Mirror::compare(const BatchSpec& batch, RayQuery query, unsigned tree) {
    m_library_events.clear();
    m_reference_events.clear();
    m_library_nested = 0;
    m_reference_nested = 0;
    const std::vector<RayResult> library = trace_library(batch, query, tree);
    const std::vector<RayResult> reference = trace_reference(batch, query, tree, 0);
    m_leaf_call_count += m_library_events.size();
    return find_difference(library, reference);
}

std::string Mirror::find_difference(const std::vector<RayResult>& library,
                                    const std::vector<RayResult>& reference) const {
    if (!m_contract_breach.empty())
        return m_contract_breach;
    const auto [ours, theirs] = std::mismatch(m_library_events.begin(), m_library_events.end(),
                                              m_reference_events.begin(), m_reference_events.end());
    if (ours != m_library_events.end() || theirs != m_reference_events.end())
        return "leaf callbacks differ from number " +
               std::to_string(ours - m_library_events.begin()) + " of " +
               std::to_string(m_library_events.size()) + " and " +
               std::to_string(m_reference_events.size());
    for (std::size_t i = 0; i < library.size(); ++i) {
        const auto is_same = [](double a, double b) {
            return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
        };
        if (!is_same(library[i].far_distance, reference[i].far_distance) ||
            !is_same(library[i].hit_distance, reference[i].hit_distance) ||
            library[i].hit_flag != reference[i].hit_flag)
            return "results of ray " + std::to_string(i) + " differ";
    }
    for (const MirroredTree* tree : m_trees) {
        const std::string difference = tree->find_difference();
        if (!difference.empty())
            return difference;
    }
    return find_cache_difference();
}

bool Mirror::is_same_cache(const GasCachedLeaf& library, const naive::CacheEntry& reference) const {
    if (!library.tree || !reference.tree)
        return library.tree == reference.tree;
    for (const MirroredTree* tree : m_trees) {
        if (tree->is_same_tree(library.tree, reference.tree))
            return library.leaf == reference.leaf;
    }
    return false;
}

std::string Mirror::find_cache_difference() const {
    const naive::Cache unused;
    const GasTreeCtx* ctx = &m_shader.get_tree_ctx();
    for (unsigned depth = 0; ctx; ++depth, ctx = ctx->next) {
        const naive::Cache& cache =
            depth < m_frames.caches.size() ? m_frames.caches[depth] : unused;
        for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
            if (!is_same_cache(ctx->all_hits_cache[slot], cache.all_hits[slot]))
                return "all-hits cache differs, depth " + std::to_string(depth) + ", slot " +
                       std::to_string(slot);
            if (!is_same_cache(ctx->nearest_cache[slot], cache.nearest[slot]))
                return "nearest cache differs, depth " + std::to_string(depth) + ", slot " +
                       std::to_string(slot);
        }
    }
    return {};
}

} // namespace support
