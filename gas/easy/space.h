// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include <gas/easy/values.h>
#include <gas/host/host.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

inline GMathVec3<double> to_host(const Vector& vector) { return {vector.x, vector.y, vector.z}; }

inline GMathBbox3<double> to_host(const Box& box) { return {to_host(box.min), to_host(box.max)}; }

inline Vector to_vector(const GMathVec3<float>& vector, double factor) {
    return {static_cast<double>(vector.x) * factor, static_cast<double>(vector.y) * factor,
            static_cast<double>(vector.z) * factor};
}

/// Whether a tree takes the box.
bool is_good(const Box& box);

/// What all boxes of a tree have in common.
struct Extent {
    /// The largest coordinate, without its sign.
    double reach = 0.0;
    Box bounds = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};

    /// Throws Error where the tree does not take the box.
    void add(const Box& box, std::size_t number);
    void add(const Extent& other);
};

/// From a program's space to that of a tree, in which boxes are floats: scaled by a power of two,
/// and padded so far that no ray from within reach loses a hit.
struct Space {
    double scale = 1.0;
    double padding = 0.0;
    /// The largest coordinate of a point that rays start from as they are.
    double reach = 0.0;

    GMathBbox3<float> to_tree(const Box& box) const;
    Box from_tree(const GMathBbox3<float>& box) const {
        return {to_vector(box.min, 1.0 / scale), to_vector(box.max, 1.0 / scale)};
    }
};

/// The space of boxes of that extent. `wanted_reach` as Options::reach; `is_scaled`: for compressed
/// trees and grids.
Space make_space(const Extent& extent, double wanted_reach, bool is_scaled);

/// That of `count` boxes.
Extent get_extent(const Box* boxes, std::size_t count);

/// The boxes of a tree in that space.
std::vector<GMathBbox3<float>> convert(const Box* boxes, std::size_t count, const Space& space);

/// Whether no coordinate is larger than `reach`, without its sign. NaN does not count.
inline bool is_within(const Vector& point, double reach) {
    return !(std::abs(point.x) > reach || std::abs(point.y) > reach || std::abs(point.z) > reach);
}

/// Such a ray hits nothing, whatever a program's function says.
inline bool has_nan(const Ray& ray) {
    return std::isunordered(ray.origin.x, ray.origin.y) ||
           std::isunordered(ray.origin.z, ray.direction.x) ||
           std::isunordered(ray.direction.y, ray.direction.z) ||
           std::isunordered(ray.near, ray.far);
}

/// For a ray from beyond `reach`: how far along its line it is to start so that it starts within.
/// False: it misses the bounds between its distances. `bounds`: around all boxes of the tree.
bool find_start_from_afar(const Ray& ray, const Box& bounds, double reach, double& start);

} // namespace detail
} // namespace gas_abi1
} // namespace gas
