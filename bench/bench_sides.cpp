// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_sides.h>

#include <algorithm>

#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>

namespace gas_bench {

namespace {

using DoublePoint = GMathVec3<double>;

/// As Options::items_per_cell says unless it is changed.
constexpr unsigned side_items_per_cell = 256;

DoublePoint to_point(const gas::Vector& vector) { return {vector.x, vector.y, vector.z}; }

gas::Vector to_vector(const GMathVec3<float>& vector) {
    const DoublePoint point = widen(vector);
    return {point.x, point.y, point.z};
}

std::vector<gas::Box> to_boxes(const CoreArray<GMathBbox3<float>>& boxes) {
    std::vector<gas::Box> converted;
    for (const GMathBbox3<float>& box : boxes)
        converted.push_back({to_vector(box.min), to_vector(box.max)});
    return converted;
}

template <bool in_motion, bool is_closest>
void hit_item(void* user, const unsigned& item, const CtxEval&, CtxShader&,
              GeometryRaytraceCtx& ctx) {
    const SideItems& items = *static_cast<const SideItems*>(user);
    const auto* const rays = static_cast<const gas::Ray*>(ctx.get_query_data());
    const auto last = static_cast<unsigned>(ctx.get_last_ray());
    for (auto i = static_cast<unsigned>(ctx.get_first_ray()); i <= last; ++i) {
        const gas::Ray& ray = rays[i];
        const double distance = items.get_distance<in_motion>(item, ray);
        if constexpr (is_closest) {
            if (distance >= ray.near)
                ctx.record_nearest_hit(i, distance, item);
        } else if (ray.holds(distance)) {
            ctx.set_hit(i);
        }
    }
}

} // namespace

template <bool in_motion> double SideItems::get_distance(unsigned item, const gas::Ray& ray) const {
    const Triangle& still = triangles[item];
    const Triangle triangle =
        in_motion ? blend(still, later_triangles[item], static_cast<float>(ray.time)) : still;
    const DoublePoint corner = widen(triangle.corners[0]);
    const DoublePoint first_edge = widen(triangle.corners[1]) - corner;
    const DoublePoint second_edge = widen(triangle.corners[2]) - corner;
    const DoublePoint direction = to_point(ray.direction);
    const DoublePoint normal = cross(direction, second_edge);
    const double determinant = dot(first_edge, normal);
    if (determinant == 0.0)
        return gas::miss;
    const double inverse = 1.0 / determinant;
    const DoublePoint offset = to_point(ray.origin) - corner;
    const double u = dot(offset, normal) * inverse;
    if (!(u >= 0.0 && u <= 1.0))
        return gas::miss;
    const DoublePoint turned = cross(offset, first_edge);
    const double v = dot(direction, turned) * inverse;
    if (!(v >= 0.0 && u + v <= 1.0))
        return gas::miss;
    return dot(second_edge, turned) * inverse;
}

SideScene::SideScene(Workload& workload, const SidesQuestion& question) {
    const Scene& scene = workload.get_scene();
    items = {scene.triangles.data(), scene.later_triangles.data()};
    boxes = to_boxes(scene.boxes);
    later_boxes = to_boxes(scene.later_boxes);
    reach = std::max(gas_get_reach(scene.bounds), gas_get_reach(get_bounds(scene.later_boxes)));
    for (const Ray& ray : workload.get_rays(question.rays)) {
        gas::Ray converted = {to_vector(ray.origin), to_vector(ray.direction)};
        converted.near = static_cast<double>(ray.near_distance);
        converted.far = static_cast<double>(ray.far_distance);
        converted.time = static_cast<double>(ray.time);
        rays.push_back(converted);
        reach = std::max(reach, gas_get_reach(to_point(converted.origin)));
    }
}

template <typename Tree>
PlainSide<Tree>::PlainSide(const SideScene& scene, const SidesQuestion& question)
    : m_items(scene.items), m_is_closest(question.is_closest), m_frames(m_shader),
      m_batch(side_batch_size) {
    const double padding = gas_get_box_padding(scene.reach);
    if constexpr (!std::is_same_v<Tree, GasTree>) {
        const double r = scene.reach;
        m_scale =
            gas_get_scene_scale(gas_pad_box(GMathBbox3<double>{{-r, -r, -r}, {r, r, r}}, padding));
    }
    const auto pad = [&](const std::vector<gas::Box>& boxes, HostBoxes& padded) {
        padded.resize(static_cast<unsigned>(boxes.size()));
        for (unsigned i = 0; i < padded.get_count(); ++i)
            padded[i] =
                gas_pad_box(GMathBbox3<double>{to_point(boxes[i].min), to_point(boxes[i].max)},
                            padding, m_scale);
    };
    pad(scene.boxes, m_boxes);
    pad(scene.later_boxes, m_later_boxes);
    build(question.in_motion);
    m_tree.set_leaf_raytrace_callbacks(hit_item<false, false>, hit_item<true, false>,
                                       hit_item<false, true>, hit_item<true, true>, &m_items);
    if (question.in_motion)
        m_shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    const GasRayCall ray_call = gas_app::get_ray_call(m_is_closest, question.in_motion);
    m_query = Calls::get(ray_call, GasRayWay::query);
    m_stream = Calls::get(ray_call, GasRayWay::stream);
}

template <typename Tree>
void PlainSide<Tree>::give_boxes(void* user, const unsigned& count, const unsigned* items,
                                 GMathBbox3<float>* boxes) {
    const PlainSide& side = *static_cast<const PlainSide*>(user);
    for (unsigned i = 0; i < count; ++i)
        boxes[i] = side.m_boxes[items[i]];
}

template <typename Tree>
void PlainSide<Tree>::give_boxes_at(void* user, const double& time, const unsigned& count,
                                    const unsigned* items, GMathBbox3<float>* boxes) {
    const PlainSide& side = *static_cast<const PlainSide*>(user);
    for (unsigned i = 0; i < count; ++i)
        boxes[i] = (time < 0.5 ? side.m_boxes : side.m_later_boxes)[items[i]];
}

template <typename Tree>
void PlainSide<Tree>::give_union_at(void* user, const double& time, const unsigned& count,
                                    const unsigned* items, GMathBbox3<float>& bounds) {
    for (unsigned i = 0; i < count; ++i) {
        GMathBbox3<float> box;
        give_boxes_at(user, time, 1, items + i, &box);
        if (i == 0)
            bounds = box;
        grow(bounds, box.min);
        grow(bounds, box.max);
    }
}

template <typename Tree> void PlainSide<Tree>::build(bool in_motion) {
    prepare_for_tracing(m_tree);
    if constexpr (std::is_same_v<Tree, GasGridTree>) {
        m_tree.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at, this);
        const unsigned cell_count =
            (m_boxes.get_count() + side_items_per_cell - 1) / side_items_per_cell;
        m_tree.create(m_boxes, cell_count, nullptr, nullptr);
        if (in_motion)
            m_tree.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    } else {
        TreeKind<Tree>::create(m_tree, m_boxes, nullptr);
        if (in_motion) {
            m_tree.set_motion_blur_sample_count(2);
            m_tree.refit_motion_blur_sample(m_boxes, 0);
            m_tree.refit_motion_blur_sample(m_later_boxes, 1);
        }
    }
}

template <typename Tree>
void PlainSide<Tree>::trace_single(const gas::Ray* rays, unsigned count, const SideHits& hits) {
    for (unsigned i = 0; i < count; ++i) {
        const gas::Ray& ray = rays[i];
        GeometrySingleRay single(gas_scale_vector(to_point(ray.origin), m_scale),
                                 gas_scale_vector(to_point(ray.direction), m_scale), ray.near,
                                 ray.far, static_cast<float>(ray.time));
        single.get_data().set_query_data(const_cast<gas::Ray*>(&ray)); // only read
        call(m_query, single.get_ctx());
        if (!m_is_closest)
            hits.any[i] = single.is_hit();
        else if (single.is_hit())
            hits.closest[i] = {single.get_hit_distance(), single.get_item()};
        else
            hits.closest[i] = gas::Hit();
    }
}

template <typename Tree>
void PlainSide<Tree>::trace_batch(const gas::Ray* rays, unsigned count, const SideHits& hits) {
    for (unsigned i = 0; i < count; ++i) {
        const gas::Ray& ray = rays[i];
        m_batch.set_ray(i, gas_scale_vector(to_point(ray.origin), m_scale),
                        gas_scale_vector(to_point(ray.direction), m_scale), ray.near, ray.far,
                        static_cast<float>(ray.time));
    }
    m_batch.get_data().set_range(0, static_cast<int>(count) - 1);
    m_batch.get_data().set_query_data(const_cast<gas::Ray*>(rays)); // only read
    call(m_stream, m_batch.get_ctx());
    for (unsigned i = 0; i < count; ++i) {
        if (!m_is_closest)
            hits.any[i] = m_batch.is_hit(i);
        else if (m_batch.is_hit(i))
            hits.closest[i] = {m_batch.get_hit_distance(i), m_batch.get_item(i)};
        else
            hits.closest[i] = gas::Hit();
    }
}

template class PlainSide<GasTree>;
template class PlainSide<GasCompressedTree>;
template class PlainSide<GasGridTree>;

OwningSide::OwningSide(const SideScene& scene, const SidesQuestion& question, gas::Kind kind)
    : m_items(scene.items), m_is_closest(question.is_closest), m_in_motion(question.in_motion) {
    gas::Options options;
    options.kind = kind;
    options.reach = scene.reach;
    m_tree = gas::Tree(scene.boxes, options);
    if (m_in_motion)
        m_tree.set_motion({scene.boxes, scene.later_boxes});
}

template <typename Trace> void OwningSide::with_items(const Trace& trace) const {
    // What a lambda captures is what `user` points to on the other side.
    const SideItems items = m_items;
    if (m_in_motion)
        trace([items](std::uint32_t item, const gas::Ray& ray) {
            return items.get_distance<true>(item, ray);
        });
    else
        trace([items](std::uint32_t item, const gas::Ray& ray) {
            return items.get_distance<false>(item, ray);
        });
}

template <bool has_context>
void OwningSide::trace_single(const gas::Ray* rays, unsigned count, const SideHits& hits) {
    with_items([&](const auto& get_distance) {
        for (unsigned i = 0; i < count; ++i) {
            if constexpr (has_context) {
                if (m_is_closest)
                    hits.closest[i] = m_tree.closest_hit(m_context, rays[i], get_distance);
                else
                    hits.any[i] = m_tree.any_hit(m_context, rays[i], get_distance);
            } else if (m_is_closest) {
                hits.closest[i] = m_tree.closest_hit(rays[i], get_distance);
            } else {
                hits.any[i] = m_tree.any_hit(rays[i], get_distance);
            }
        }
    });
}

template void OwningSide::trace_single<true>(const gas::Ray*, unsigned, const SideHits&);
template void OwningSide::trace_single<false>(const gas::Ray*, unsigned, const SideHits&);

void OwningSide::trace_batch(const gas::Ray* rays, unsigned count, const SideHits& hits) {
    with_items([&](const auto& get_distance) {
        if (m_is_closest)
            m_tree.closest_hits(m_context, rays, count, hits.closest, get_distance);
        else
            m_tree.any_hits(m_context, rays, count, hits.any, get_distance);
    });
}

} // namespace gas_bench
