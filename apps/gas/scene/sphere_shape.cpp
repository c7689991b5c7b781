// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/sphere_shape.h>

#include <apps/gas/scene/shape_callbacks.h>

namespace gas_app {

Box Sphere::get_box() const {
    const Vec3 reach{radius, radius, radius};
    return {center - reach, center + reach};
}

bool Sphere::intersect(const LocalRay& ray, double near_distance, ItemHit& hit) const {
    // From the point of the ray nearest to the centre: no large numbers cancel, even for a ray that
    // starts far away (Haines, Guenther and Akenine-Moeller, Ray Tracing Gems, chapter 7, 2019).
    const Vec3 offset = ray.origin - center;
    const double direction_squared = dot(ray.direction, ray.direction);
    const double middle = -dot(offset, ray.direction) / direction_squared;
    const Vec3 nearest = offset + ray.direction * middle;
    const double discriminant = radius * radius - dot(nearest, nearest);
    if (!(discriminant >= 0.0))
        return false;
    const double half_chord = std::sqrt(discriminant / direction_squared);
    const double entry = middle - half_chord;
    hit.distance = entry > near_distance ? entry : middle + half_chord;
    return true;
}

SphereShape::SphereShape(std::string name, std::vector<std::vector<Sphere>> samples)
    : Shape(std::move(name)), m_samples(std::move(samples)) {
    using Callbacks = ShapeCallbacks<SphereShape>;
    m_tree.set_callbacks(Callbacks::find_any_hit, Callbacks::find_nearest_hit, this);
}

unsigned SphereShape::get_item_count() const {
    return static_cast<unsigned>(m_samples.front().size());
}

unsigned SphereShape::get_sample_count() const { return static_cast<unsigned>(m_samples.size()); }

Box SphereShape::get_item_box(unsigned item, unsigned sample) const {
    return m_samples[sample][item].get_box();
}

Sphere SphereShape::get_item_at(unsigned item, const Moment& moment) const {
    const Sphere& before = m_samples[m_samples.size() < 2 ? 0 : moment.sample][item];
    if (m_samples.size() < 2)
        return before;
    const Sphere& after = m_samples[moment.sample + 1][item];
    return {mix(before.center, after.center, moment.fraction),
            before.radius + (after.radius - before.radius) * moment.fraction, before.color};
}

ShapeSurface SphereShape::get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                                      const Vec3& direction) const {
    const Vec3 outward = normalized(point - get_item_at(hit.item, moment).center);
    const Vec3 normal = outward * (dot(outward, direction) > 0.0 ? -1.0 : 1.0);
    return {normal, normal, point};
}

Vec3 SphereShape::get_item_color(unsigned item) const { return m_samples.front()[item].color; }

void SphereShape::add_content(ContentHash& hash) const {
    for (const std::vector<Sphere>& spheres : m_samples)
        hash.add(spheres);
}

} // namespace gas_app
