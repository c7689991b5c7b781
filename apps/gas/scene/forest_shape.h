// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include <apps/gas/scene/shape.h>
#include <apps/gas/scene/shutter_time.h>
#include <apps/gas/scene/triangle.h>

namespace gas_app {

/// The height of the land around the forest at a place: rolling hills in a wide bowl.
double get_land_height(double x, double z);
/// All heights lie between these two.
inline constexpr double lowest_land = 0.0;
inline constexpr double highest_land = 42.0;

/// A forest around a clearing. Its leaves are triangles that are computed from their numbers on
/// demand and not stored. Trees stand along a spiral, the first at the clearing's edge; in motion
/// they sway.
class ForestShape : public Shape {
  public:
    /// `item_count` of at least 1. `sample_count`: motion samples, 1 when the air is still.
    ForestShape(std::string name, unsigned item_count, unsigned sample_count);

    /// Trees sway to and fro from now on, and are where they are at that time. Not while its tree
    /// is used.
    void set_shutter(const ShutterTime& shutter) {
        forget_boxes();
        m_shutter = shutter;
    }

    static constexpr double clearing_radius = 9.0;
    /// The radius of a forest of `item_count` items.
    static double get_radius(unsigned item_count);

    unsigned get_item_count() const override { return m_item_count; }
    unsigned get_sample_count() const override { return m_sample_count; }
    Box get_item_box(unsigned item, unsigned sample) const override;
    ShapeSurface get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                             const Vec3& direction) const override;
    Vec3 get_item_color(unsigned item) const override;
    void add_content(ContentHash& hash) const override;
    /// A little larger than exact: the land under the forest is included.
    Box get_exact_box(unsigned sample) const override;

    Triangle get_item_at(unsigned item, const Moment& moment) const {
        return get_triangle(item, get_sway(moment));
    }

  private:
    static Triangle get_triangle(unsigned item, double sway);
    double get_sway(unsigned sample) const;
    double get_sway(const Moment& moment) const;

    unsigned m_item_count;
    unsigned m_sample_count;
    /// Of an animation.
    std::optional<ShutterTime> m_shutter;
};

} // namespace gas_app
