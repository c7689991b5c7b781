// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// The camera's position: angles in degrees around its target.
struct ViewPoint {
    /// 0: in front (towards +z); 90: to the right (towards +x).
    double azimuth = 30.0;
    /// 0: level; 90: above.
    double elevation = 20.0;
    /// 2: objects appear twice as large.
    double zoom = 1.0;
};

/// A pinhole camera; y is up.
class Camera {
  public:
    /// Looks at `target` from `distance` away. `field_of_view`: radians from the bottom to the top
    /// of a picture of `width` by `height` pixels.
    Camera(const ViewPoint& view, const Vec3& target, double distance, double field_of_view,
           unsigned width, unsigned height);

    /// A camera that has all `points` in view, as large as possible, with a margin.
    static Camera frame(const ViewPoint& view, const std::vector<Vec3>& points,
                        double field_of_view, unsigned width, unsigned height);

    /// The same view from top to bottom in a picture of another size.
    Camera resize(unsigned width, unsigned height) const;
    /// With the same field of view from another place: at `target` from `distance` away.
    Camera move(const ViewPoint& view, const Vec3& target, double distance, unsigned width,
                unsigned height) const;
    /// The same view in pixels of `divisor` times the size, whose corners are those of the pixels
    /// that they stand for.
    Camera coarsen(unsigned divisor) const;

    const ViewPoint& get_view() const { return m_view; }
    const Vec3& get_target() const { return m_target; }
    double get_distance() const { return m_distance; }
    double get_field_of_view() const { return m_field_of_view; }
    const Vec3& get_position() const { return m_position; }
    /// Through pixel coordinates (x, y) from the upper left corner; length 1.
    Vec3 get_direction(double x, double y) const;
    /// The size of a pixel at distance 1.
    double get_pixel_size() const { return m_pixel_size; }

  private:
    ViewPoint m_view;
    Vec3 m_target;
    double m_distance;
    double m_field_of_view;
    Vec3 m_position;
    Vec3 m_forward;
    Vec3 m_right;
    Vec3 m_up;
    double m_pixel_size;
    double m_center_x;
    double m_center_y;
};

} // namespace gas_app
