// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/camera.h>

namespace gas_app {

namespace {

struct Axes {
    Vec3 forward;
    Vec3 right;
    Vec3 up;
};

Axes get_axes(const ViewPoint& view) {
    const double azimuth = view.azimuth * pi / 180.0;
    const double elevation = view.elevation * pi / 180.0;
    const Vec3 right{std::cos(azimuth), 0.0, -std::sin(azimuth)};
    const Vec3 backward{std::sin(azimuth) * std::cos(elevation), std::sin(elevation),
                        std::cos(azimuth) * std::cos(elevation)};
    // From the angles, not from a cross product with the upward axis, which is 0 straight above.
    return {backward * -1.0, right, cross(backward, right)};
}

} // namespace

Camera::Camera(const ViewPoint& view, const Vec3& target, double distance, double field_of_view,
               unsigned width, unsigned height)
    : m_view(view), m_target(target), m_distance(distance), m_field_of_view(field_of_view),
      m_pixel_size(2.0 * std::tan(0.5 * field_of_view) / height), m_center_x(0.5 * width),
      m_center_y(0.5 * height) {
    const Axes axes = get_axes(view);
    m_forward = axes.forward;
    m_right = axes.right;
    m_up = axes.up;
    m_position = target - m_forward * distance;
    m_pixel_size /= view.zoom;
}

Camera Camera::frame(const ViewPoint& view, const std::vector<Vec3>& points, double field_of_view,
                     unsigned width, unsigned height) {
    constexpr double margin = 1.12;
    const Axes axes = get_axes(view);
    const double slope_y = std::tan(0.5 * field_of_view);
    const double slope_x = slope_y * width / height;

    Box box = empty_box();
    for (const Vec3& point : points)
        grow(box, Vec3{dot(point, axes.right), dot(point, axes.up), dot(point, axes.forward)});
    const Vec3 center = get_center(box);
    double distance = 0.0;
    for (const Vec3& point : points) {
        const double x = std::abs(dot(point, axes.right) - center.x) * margin;
        const double y = std::abs(dot(point, axes.up) - center.y) * margin;
        const double depth = dot(point, axes.forward) - center.z;
        distance = std::max({distance, x / slope_x - depth, y / slope_y - depth});
    }
    const Vec3 target = axes.right * center.x + axes.up * center.y + axes.forward * center.z;
    return {view, target, distance > 0.0 ? distance : 1.0, field_of_view, width, height};
}

Camera Camera::resize(unsigned width, unsigned height) const {
    Camera camera = *this;
    camera.m_pixel_size *= 2.0 * m_center_y / height;
    camera.m_center_x = 0.5 * width;
    camera.m_center_y = 0.5 * height;
    return camera;
}

Camera Camera::move(const ViewPoint& view, const Vec3& target, double distance, unsigned width,
                    unsigned height) const {
    return {view, target, distance, m_field_of_view, width, height};
}

Camera Camera::coarsen(unsigned divisor) const {
    Camera coarse = *this;
    coarse.m_pixel_size *= divisor;
    coarse.m_center_x /= divisor;
    coarse.m_center_y /= divisor;
    return coarse;
}

Vec3 Camera::get_direction(double x, double y) const {
    return normalized(m_forward + m_right * ((x - m_center_x) * m_pixel_size) +
                      m_up * ((m_center_y - y) * m_pixel_size));
}

} // namespace gas_app
