// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/scene/shape.h>

namespace gas_app {

struct Sphere {
    Vec3 center;
    double radius;
    Vec3 color;

    bool intersect(const LocalRay& ray, double near_distance, ItemHit& hit) const;
    Box get_box() const;
};

/// A swarm of exact spheres.
class SphereShape : public Shape {
  public:
    /// `samples` holds the spheres at each motion sample; their colours are those of the first.
    SphereShape(std::string name, std::vector<std::vector<Sphere>> samples);

    /// Moves the spheres; there are as many samples as before. Not while its tree is used.
    void set_samples(std::vector<std::vector<Sphere>> samples) {
        forget_boxes();
        m_samples = std::move(samples);
    }

    unsigned get_item_count() const override;
    unsigned get_sample_count() const override;
    Box get_item_box(unsigned item, unsigned sample) const override;
    ShapeSurface get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                             const Vec3& direction) const override;
    Vec3 get_item_color(unsigned item) const override;
    void add_content(ContentHash& hash) const override;

    Sphere get_item_at(unsigned item, const Moment& moment) const;

  private:
    std::vector<std::vector<Sphere>> m_samples;
};

} // namespace gas_app
