// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/scene.h>

#include <algorithm>

#include <gas/easy/context_data.h>
#include <gas/easy/scene_data.h>

namespace gas {
inline namespace gas_abi1 {

using detail::ContextData;
using detail::Path;
using detail::SceneData;

Scene::Scene() : m_data(std::make_shared<SceneData>()) {}

Scene::Scene(Scene&& other) noexcept = default;

Scene& Scene::operator=(Scene&& other) noexcept = default;

Scene::~Scene() = default;

std::uint32_t Scene::add(const Tree& tree, const Transform& transform) {
    return m_data->add(SceneData::get_child(tree), {transform});
}

std::uint32_t Scene::add(const Tree& tree, const std::vector<Transform>& motion) {
    return m_data->add(SceneData::get_child(tree), motion);
}

std::uint32_t Scene::add(const Scene& scene, const Transform& transform) {
    return m_data->add({nullptr, scene.m_data}, {transform});
}

std::uint32_t Scene::add(const Scene& scene, const std::vector<Transform>& motion) {
    return m_data->add({nullptr, scene.m_data}, motion);
}

void Scene::set_transform(std::uint32_t instance, const Transform& transform) {
    m_data->set_transform(instance, {transform});
}

void Scene::set_transform(std::uint32_t instance, const std::vector<Transform>& motion) {
    m_data->set_transform(instance, motion);
}

void Scene::build(const Options& options) { m_data->build(options); }

std::size_t Scene::size() const { return m_data->get_size(); }

Box Scene::bounds() const { return m_data->get_seen_bounds(); }

SceneHit Scene::trace_closest(Context* context, const Ray& ray,
                              const detail::PlaceDistanceCall& call) const {
    ContextData& data = ContextData::get(context);
    const detail::Lease<Path> path(data.paths, data.used_path_count);
    SceneHit hit;
    detail::SceneQuery<detail::PlaceDistanceCall> query = {call, context, *path, 0, &hit};
    m_data->trace_closest(query, ray);
    return hit;
}

bool Scene::trace_all(Context* context, const Ray& ray, const detail::PlaceStopCall& call) const {
    ContextData& data = ContextData::get(context);
    const detail::Lease<Path> path(data.paths, data.used_path_count);
    detail::SceneQuery<detail::PlaceStopCall> query = {call, context, *path, 0, nullptr};
    return m_data->trace_all(query, ray);
}

void Scene::trace_closest(Context* context, const Ray* rays, std::size_t count, SceneHit* hits,
                          const detail::PlaceDistanceCall& call) const {
    std::fill(hits, hits + count, SceneHit());
    ContextData& data = ContextData::get(context);
    const detail::Lease<Path> path(data.paths, data.used_path_count);
    m_data->trace_closest(context, rays, count, hits, call, *path);
}

void Scene::trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                      const detail::PlaceStopCall& call) const {
    ContextData& data = ContextData::get(context);
    const detail::Lease<Path> path(data.paths, data.used_path_count);
    m_data->trace_all(context, rays, count, hits, call, *path);
}

} // namespace gas_abi1
} // namespace gas
