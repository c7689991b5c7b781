// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/scene.h>

#include <stdexcept>

#include <gas/scene/gas_box_padding.h>

namespace gas_app {

Scene::Scene(unsigned sample_count) : m_sample_count(sample_count) {
    set_raytrace_callbacks(trace_any_hit, trace_nearest_hit);
    m_tree.set_callbacks(find_any_hit, find_nearest_hit, this);
}

const Shape& Scene::add_shape(std::unique_ptr<Shape> shape) {
    m_shapes.push_back(std::move(shape));
    return *m_shapes.back();
}

void Scene::add_instance(Instance instance) {
    const std::size_t placement_count = instance.placements.size();
    const unsigned shape_samples = instance.shape->get_sample_count();
    const bool moves = placement_count > 1;
    if ((shape_samples != 1 && shape_samples != m_sample_count) || placement_count == 0 ||
        (moves && (placement_count != m_sample_count || shape_samples > 1)))
        throw std::logic_error("an instance's motion samples do not fit the scene");
    m_inverse_placements.push_back(instance.placements.front().get_inverse());
    m_instances.push_back(std::move(instance));
}

void Scene::set_placements(unsigned instance, std::vector<Transform> placements) {
    m_inverse_placements[instance] = placements.front().get_inverse();
    m_instances[instance].placements = std::move(placements);
}

CtxMotionBlur Scene::get_motion_blur() const {
    return {0.0f, 1.0f, m_sample_count < 2 ? 0 : m_sample_count};
}

namespace {

/// The placement at a sample, of instances that move and of those that do not.
const Transform& get_sample(const Instance& instance, unsigned sample) {
    return instance.placements[instance.placements.size() < 2 ? 0 : sample];
}

unsigned get_sample(const Shape& shape, unsigned sample) {
    return shape.get_sample_count() < 2 ? 0 : sample;
}

/// One tree's share of a progress bar: its share of the items, at least the minimum that trees
/// take.
float get_share(unsigned item_count, std::size_t total) {
    constexpr float least_share = 0.01f;
    const double share = static_cast<double>(item_count) / static_cast<double>(total);
    return std::clamp(static_cast<float>(share), least_share, 1.0f);
}

/// The boxes of instances are already known, so a grid over them gains nothing. Where shapes have
/// grids, instances have a plain tree.
TreeSettings get_instance_settings(TreeSettings settings) {
    if (settings.kind == TreeKind::grid)
        settings.kind = TreeKind::plain;
    return settings;
}

} // namespace

GMathBbox3<double> Scene::get_bbox() const { return m_bbox ? *m_bbox : find_bbox(); }

Box Scene::find_bbox() const {
    Box box = empty_box();
    for (unsigned sample = 0; sample < m_sample_count; ++sample) {
        // Many instances share few shapes.
        std::vector<std::pair<const Shape*, Box>> shape_boxes;
        for (const auto& shape : m_shapes)
            shape_boxes.emplace_back(shape.get(),
                                     shape->find_exact_box(get_sample(*shape, sample)));
        for (const Instance& instance : m_instances)
            for (const auto& [shape, shape_box] : shape_boxes)
                if (shape == instance.shape)
                    grow(box, get_sample(instance, sample).apply_to_box(shape_box));
    }
    return box;
}

void Scene::build(const Vec3& camera, AppProgressBar& progress_bar,
                  const TreeSettings& first_settings) {
    TreeSettings settings = first_settings;
    m_bbox = find_bbox();
    Box origins = *m_bbox;
    grow(origins, camera);
    std::size_t total = m_instances.size();
    for (const auto& shape : m_shapes)
        total += shape->get_item_count();

    for (const auto& shape : m_shapes) {
        shape->build(get_local_reach(*shape, origins), settings, progress_bar,
                     get_share(shape->get_item_count(), total));
        settings.saved_path.clear();
    }

    // The boxes of the shapes' trees are padded and may reach a little farther.
    Box bounds = empty_box();
    const unsigned count = static_cast<unsigned>(m_instances.size());
    m_swept_boxes.assign(count, empty_box());
    for (unsigned instance = 0; instance < count; ++instance) {
        for (unsigned sample = 0; sample < m_sample_count; ++sample)
            grow(m_swept_boxes[instance], get_instance_box(instance, sample));
        grow(bounds, m_swept_boxes[instance]);
    }
    const auto get_box = [this](unsigned instance, unsigned sample) {
        return get_instance_box(instance, sample);
    };
    double reach = std::max(gas_get_reach(origins), gas_get_reach(bounds));
    if (settings.is_animated)
        reach = round_up_to_power(reach);
    const double padding = gas_get_box_padding(reach);
    for (Box& box : m_swept_boxes)
        box = {box.min - Vec3{padding, padding, padding},
               box.max + Vec3{padding, padding, padding}};
    m_tree.build({count, m_sample_count, get_box, padding, bounds}, get_instance_settings(settings),
                 progress_bar, get_share(count, total));
}

Box Scene::get_instance_box(unsigned instance, unsigned sample) const {
    const Instance& placed = m_instances[instance];
    const Box box = placed.shape->get_tree().get_box(get_sample(*placed.shape, sample));
    return get_sample(placed, sample).apply_to_box(box);
}

/// The largest distance from a shape's origin, in its own space, at which rays of its instances
/// start.
double Scene::get_local_reach(const Shape& shape, const Box& origins) const {
    double reach = 0.0;
    const auto look_at = [&](const Transform& placement) {
        reach = std::max(reach, gas_get_reach(placement.get_inverse().apply_to_box(origins)));
    };
    for (const Instance& instance : m_instances) {
        if (instance.shape != &shape)
            continue;
        const std::vector<Transform>& placements = instance.placements;
        for (std::size_t sample = 0; sample < placements.size(); ++sample) {
            look_at(placements[sample]);
            // Half way through a turn the blend of two placements is smallest, and its inverse
            // largest.
            if (sample > 0)
                look_at(blend(placements[sample - 1], placements[sample], 0.5));
        }
    }
    // A margin: turns that also scale are smallest a little off the middle.
    return 1.25 * reach;
}

Transform Scene::get_placement(const Instance& instance, const Moment& moment) const {
    if (instance.placements.size() < 2)
        return instance.placements.front();
    return blend(instance.placements[moment.sample], instance.placements[moment.sample + 1],
                 moment.fraction);
}

const Transform& Scene::get_inverse_placement(unsigned instance, const Moment& moment,
                                              Transform& moving) const {
    const Instance& placed = m_instances[instance];
    if (placed.placements.size() < 2)
        return m_inverse_placements[instance];
    moving = get_placement(placed, moment).get_inverse();
    return moving;
}

Moment Scene::get_moment(float time) const {
    unsigned sample = 0;
    float fraction = 0.0f;
    get_motion_blur().get_time_spanf(time, sample, fraction);
    return {sample, static_cast<double>(fraction)};
}

Surface Scene::get_surface(const SceneHit& hit, const Vec3& origin, const Vec3& direction,
                           double distance, float time) const {
    const Instance& instance = m_instances[hit.instance];
    const Moment moment = get_moment(time);
    Transform moving;
    const Transform& inverse = get_inverse_placement(hit.instance, moment, moving);
    Surface surface;
    surface.point = origin + direction * distance;
    const Vec3 local_point = inverse.apply_to_point(surface.point);
    const ShapeSurface local =
        instance.shape->get_surface(hit, moment, local_point, inverse.apply_to_vector(direction));
    const Vec3 lift = local.light_point - local_point;
    surface.light_point = surface.point + get_placement(instance, moment).apply_to_vector(lift);

    surface.geometric_normal = normalized(inverse.apply_inverse_to_normal(local.geometric_normal));
    surface.shading_normal = normalized(inverse.apply_inverse_to_normal(local.shading_normal));
    surface.color = multiply(instance.material.color, instance.shape->get_item_color(hit.item));
    surface.material = &instance.material;
    return surface;
}

} // namespace gas_app
