// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/space.h>

#include <algorithm>
#include <cmath>
#include <string>

#include <gas/easy/errors.h>
#include <gas/easy/tree.h>
#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

namespace {

/// Farther out, lengths leave the exponents of floats.
constexpr double most_reach = 1e30;

bool is_good(double min, double max) {
    // False for a NaN.
    return min >= -most_reach && min <= max && max <= most_reach;
}

/// Narrows the span `first` to `last` to where the line is between two planes.
void clip(double origin, double direction, double min, double max, double& first, double& last) {
    if (direction == 0.0) {
        if (!(origin >= min && origin <= max))
            last = -infinity;
        return;
    }
    const double to_min = (min - origin) / direction;
    const double to_max = (max - origin) / direction;
    first = std::max(first, std::min(to_min, to_max));
    last = std::min(last, std::max(to_min, to_max));
}

} // namespace

bool is_good(const Box& box) {
    return is_good(box.min.x, box.max.x) && is_good(box.min.y, box.max.y) &&
           is_good(box.min.z, box.max.z);
}

void Extent::add(const Box& box, std::size_t number) {
    if (!is_good(box))
        throw Error("the box of item " + std::to_string(number) +
                    " holds a NaN, has a min above its max, or reaches beyond 1e30");
    reach = std::max(reach, gas_get_reach(to_host(box)));
    bounds.min = {std::min(bounds.min.x, box.min.x), std::min(bounds.min.y, box.min.y),
                  std::min(bounds.min.z, box.min.z)};
    bounds.max = {std::max(bounds.max.x, box.max.x), std::max(bounds.max.y, box.max.y),
                  std::max(bounds.max.z, box.max.z)};
}

void Extent::add(const Extent& other) {
    reach = std::max(reach, other.reach);
    bounds.min = {std::min(bounds.min.x, other.bounds.min.x),
                  std::min(bounds.min.y, other.bounds.min.y),
                  std::min(bounds.min.z, other.bounds.min.z)};
    bounds.max = {std::max(bounds.max.x, other.bounds.max.x),
                  std::max(bounds.max.y, other.bounds.max.y),
                  std::max(bounds.max.z, other.bounds.max.z)};
}

GMathBbox3<float> Space::to_tree(const Box& box) const {
    return gas_pad_box(to_host(box), padding, scale);
}

Space make_space(const Extent& extent, double wanted_reach, bool is_scaled) {
    if (!(wanted_reach >= 0.0 && wanted_reach <= most_reach))
        throw Error("Options::reach is a length from 0 to 1e30");
    Space space;
    space.reach = wanted_reach == 0.0 ? 2.0 * extent.reach : std::max(wanted_reach, extent.reach);
    space.padding = gas_get_box_padding(space.reach);
    if (is_scaled) {
        // Room for all that is to come, where it is said how far that reaches.
        Extent room = extent;
        const double r = wanted_reach;
        if (r > 0.0)
            room.add({{-r, -r, -r}, {r, r, r}}, 0);
        space.scale = gas_get_scene_scale(gas_pad_box(to_host(room.bounds), space.padding));
    }
    return space;
}

Extent get_extent(const Box* boxes, std::size_t count) {
    Extent extent;
    for (std::size_t i = 0; i < count; ++i)
        extent.add(boxes[i], i);
    return extent;
}

std::vector<GMathBbox3<float>> convert(const Box* boxes, std::size_t count, const Space& space) {
    std::vector<GMathBbox3<float>> converted(count);
    for (std::size_t i = 0; i < count; ++i)
        converted[i] = space.to_tree(boxes[i]);
    return converted;
}

bool find_start_from_afar(const Ray& ray, const Box& bounds, double reach, double& start) {
    const Vector& origin = ray.origin;
    // Wider than the boxes by far more than is lost to rounding here.
    const double slack = reach / 1024.0;
    double first = ray.near;
    double last = ray.far;
    clip(origin.x, ray.direction.x, bounds.min.x - slack, bounds.max.x + slack, first, last);
    clip(origin.y, ray.direction.y, bounds.min.y - slack, bounds.max.y + slack, first, last);
    clip(origin.z, ray.direction.z, bounds.min.z - slack, bounds.max.z + slack, first, last);
    if (!(first <= last))
        return false;
    start = first;
    return true;
}

} // namespace detail

std::vector<std::size_t> find_bad_boxes(const std::vector<Box>& boxes) {
    std::vector<std::size_t> numbers;
    for (std::size_t number = 0; number < boxes.size(); ++number) {
        if (!detail::is_good(boxes[number]))
            numbers.push_back(number);
    }
    return numbers;
}

} // namespace gas_abi1
} // namespace gas
