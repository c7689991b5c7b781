// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/scene_data.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <unordered_set>
#include <utility>

#include <gas/easy/errors.h>
#include <gas/easy/tree_data.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

namespace {

/// More samples of the tree over the instances than this are not worth their memory.
constexpr std::size_t most_samples = 256;

/// An instance on a query's way, for a while.
class PathStep {
  public:
    PathStep(Path& path, std::uint32_t instance) : m_path(path) { path.push_back(instance); }
    PathStep(const PathStep&) = delete;
    PathStep& operator=(const PathStep&) = delete;
    ~PathStep() { m_path.pop_back(); }

  private:
    Path& m_path;
};

} // namespace

SceneData::Child SceneData::get_child(const Tree& tree) { return {tree.m_data, nullptr}; }

std::uint32_t SceneData::add(Child child, const std::vector<Transform>& motion) {
    if (child.tree ? child.tree->get_count() == 0 : !child.scene || child.scene->get_size() == 0)
        throw Error("an instance is of a tree or a scene that holds something");
    if (child.scene && (child.scene.get() == this || child.scene->holds(*this)))
        throw Error("a scene does not hold itself");
    Instance instance;
    instance.child = std::move(child);
    prepare(instance, motion);
    m_instances.push_back(std::move(instance));
    m_is_built = false;
    return static_cast<std::uint32_t>(m_instances.size() - 1);
}

void SceneData::set_transform(std::uint32_t instance, const std::vector<Transform>& motion) {
    if (instance >= m_instances.size())
        throw Error("there is no instance " + std::to_string(instance));
    prepare(m_instances[instance], motion);
    m_is_built = false;
}

/// Leaves the instance as it was where it throws.
void SceneData::prepare(Instance& instance, const std::vector<Transform>& motion) {
    if (motion.empty())
        throw Error("an instance has at least one transform");
    Transform inverse;
    for (const Transform& transform : motion)
        inverse = invert(transform);
    instance.motion = motion;
    instance.inverse = inverse;
}

bool SceneData::holds(const SceneData& scene) const {
    // Each once: the number of ways to a scene grows with every level.
    std::unordered_set<const SceneData*> seen = {this};
    std::vector<const SceneData*> pending = {this};
    while (!pending.empty()) {
        const SceneData& around = *pending.back();
        pending.pop_back();
        for (const Instance& instance : around.m_instances) {
            const SceneData* const child = instance.child.scene.get();
            if (child == &scene)
                return true;
            if (child && seen.insert(child).second)
                pending.push_back(child);
        }
    }
    return false;
}

void SceneData::expect_built() const {
    if (!m_is_built)
        throw Error("the scene has changed since it was built");
}

Transform SceneData::get_transform(const Instance& instance, double time) {
    const std::size_t span_count = instance.motion.size() - 1;
    if (span_count == 0)
        return instance.motion[0];
    // A NaN counts as 0.
    const double place = (time > 0.0 ? std::min(time, 1.0) : 0.0) * static_cast<double>(span_count);
    const std::size_t span = std::min(static_cast<std::size_t>(place), span_count - 1);
    return blend(instance.motion[span], instance.motion[span + 1],
                 place - static_cast<double>(span));
}

Ray SceneData::get_local_ray(const Instance& instance, const Ray& ray) {
    Ray local = ray;
    const bool moves = instance.motion.size() > 1;
    const Transform inverse = moves ? invert(get_transform(instance, ray.time)) : instance.inverse;
    local.origin = transform_point(inverse, ray.origin);
    local.direction = transform_direction(inverse, ray.direction);
    return local;
}

/// At the times of these samples all instances have a transform of their own: between two of them
/// every box moves on lines.
std::size_t SceneData::get_sample_count() const {
    std::size_t span_count = 1;
    bool moves = false;
    for (const Instance& instance : m_instances) {
        if (instance.motion.size() < 2)
            continue;
        moves = true;
        span_count = std::lcm(span_count, instance.motion.size() - 1);
        if (span_count >= most_samples)
            throw Error("instances move at times that have too little in common");
    }
    return moves ? span_count + 1 : 1;
}

std::vector<Box> SceneData::get_boxes(double time) const {
    std::vector<Box> boxes;
    boxes.reserve(m_instances.size());
    for (const Instance& instance : m_instances) {
        const Child& child = instance.child;
        const Box box = child.tree ? child.tree->get_seen_bounds() : child.scene->get_seen_bounds();
        boxes.push_back(transform_box(get_transform(instance, time), box));
    }
    return boxes;
}

void SceneData::build(const Options& options) {
    const std::vector<Box> boxes = get_boxes(0.0);
    Tree top(boxes, options);
    Extent extent = get_extent(boxes.data(), boxes.size());
    const std::size_t count = get_sample_count();
    if (count > 1) {
        std::vector<std::vector<Box>> samples;
        for (std::size_t sample = 0; sample < count; ++sample) {
            samples.push_back(
                get_boxes(static_cast<double>(sample) / static_cast<double>(count - 1)));
            extent.add(get_extent(samples.back().data(), samples.back().size()));
        }
        top.set_motion(samples);
    }
    m_top = std::move(top);
    m_seen_bounds = boxes.empty() ? Box() : extent.bounds;
    m_is_built = true;
}

double SceneData::find_closest(SceneQuery<PlaceDistanceCall>& query, std::uint32_t number,
                               const Ray& ray) const {
    const Instance& instance = m_instances[number];
    const PathStep step(query.path, number);
    const Ray local = get_local_ray(instance, ray);
    if (instance.child.scene)
        return instance.child.scene->trace_closest(query, local);
    const auto distance = [&query](std::uint32_t item, const Ray& asked) {
        const Place place = {item, query.path.data(), query.path.size()};
        const PlaceDistanceCall& call = query.call;
        const double found = call.call(call.function, place, asked, query.index);
        if (asked.holds(found)) {
            query.hit->distance = found;
            query.hit->item = item;
            query.hit->instances = query.path;
        }
        return found;
    };
    return instance.child.tree->find_closest(query.context, local, get_distance_call(distance))
        .distance;
}

bool SceneData::find_any(SceneQuery<PlaceStopCall>& query, std::uint32_t number,
                         const Ray& ray) const {
    const Instance& instance = m_instances[number];
    const PathStep step(query.path, number);
    const Ray local = get_local_ray(instance, ray);
    if (instance.child.scene)
        return instance.child.scene->trace_all(query, local);
    const auto is_hit = [&query](std::uint32_t item, const Ray& asked) {
        const Place place = {item, query.path.data(), query.path.size()};
        return query.call.call(query.call.function, place, asked, query.index);
    };
    // Another instance may have stopped the ray before at an item that this one does not reach.
    const bool asks_cache = false;
    return instance.child.tree->find_any(query.context, local, get_stop_call(is_hit), asks_cache);
}

double SceneData::trace_closest(SceneQuery<PlaceDistanceCall>& query, const Ray& ray) const {
    expect_built();
    const auto distance = [&](std::uint32_t instance, const Ray& asked) {
        return find_closest(query, instance, asked);
    };
    const Hit hit = query.context ? m_top.closest_hit(*query.context, ray, distance)
                                  : m_top.closest_hit(ray, distance);
    return hit.distance;
}

bool SceneData::trace_all(SceneQuery<PlaceStopCall>& query, const Ray& ray) const {
    expect_built();
    const auto is_hit = [&](std::uint32_t instance, const Ray& asked) {
        return find_any(query, instance, asked);
    };
    return m_top.trace_all(query.context, ray, get_stop_call(is_hit), false);
}

void SceneData::trace_closest(Context* context, const Ray* rays, std::size_t count, SceneHit* hits,
                              const PlaceDistanceCall& call, Path& path) const {
    expect_built();
    std::vector<Hit> instance_hits(count);
    const auto distance = [&](std::uint32_t instance, const Ray& ray, std::size_t index) {
        SceneQuery<PlaceDistanceCall> query = {call, context, path, index, &hits[index]};
        return find_closest(query, instance, ray);
    };
    m_top.trace_closest(context, rays, count, instance_hits.data(), get_distance_call(distance));
}

void SceneData::trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                          const PlaceStopCall& call, Path& path) const {
    expect_built();
    const auto is_hit = [&](std::uint32_t instance, const Ray& ray, std::size_t index) {
        SceneQuery<PlaceStopCall> query = {call, context, path, index, nullptr};
        return find_any(query, instance, ray);
    };
    m_top.trace_all(context, rays, count, hits, get_stop_call(is_hit));
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
