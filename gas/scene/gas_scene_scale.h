// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A scene of any size in the working range of GasCompressedTree and GasGridTree: a power of two by
/// which boxes and rays are multiplied, and nothing is moved. "The working range" in
/// docs/numerics.md has the reason.
///
///     const double scale = gas_get_scene_scale(gas_pad_box(scene_bounds, padding));
///     boxes[item] = gas_pad_box(bounds_of(item), padding, scale);
///     batch.set_ray(0, gas_scale_vector(origin, scale), gas_scale_vector(direction, scale), 0, 9);
///
/// With origin and direction multiplied, distances along a ray are the same numbers with and
/// without the scale: near and far distances and hits are passed through as they are. A callback
/// gets the multiplied ray; times 1 / scale it is the ray as it was, to the bit, as long as no
/// length leaves the exponents of its type.
///
/// All of these are functions of their arguments alone; any thread may call them at any time.

/// The power of two that brings the largest of all coordinates and extents of `bounds` to at least
/// 32 and below 64. `bounds`: around the padded boxes, of all motion samples. 1 where there is no
/// size to go by: bounds that hold nothing, the one point 0, an infinity. A NaN does not count.
GAS_EXPORT double gas_get_scene_scale(const GMathBbox3<double>& bounds);
GAS_EXPORT double gas_get_scene_scale(const GMathBbox3<float>& bounds);

/// A ray's origin or direction, or a point, multiplied by `scale`, or by 1 / scale on the way back.
inline GMathVec3<double> gas_scale_vector(const GMathVec3<double>& vector, double scale) {
    return {vector.x * scale, vector.y * scale, vector.z * scale};
}

/// A box multiplied by `scale`, such as one that a tree gives back by 1 / scale. Floats that lose
/// bits because they become denormal or too large are rounded outward.
GAS_EXPORT GMathBbox3<double> gas_scale_box(const GMathBbox3<double>& box, double scale);
GAS_EXPORT GMathBbox3<float> gas_scale_box(const GMathBbox3<float>& box, double scale);

/// The planes of `frustum` for rays that are multiplied by `scale`: calls `add_plane(normal,
/// offset)` for each, in order, with the normal as it was and the offset multiplied. How a plane
/// comes into a frustum is the host's:
///
///     gas_scale_planes(frustum, scale, [&](const GMathVec3<double>& normal, double offset) {
///         scaled.add_plane(normal, offset);
///     });
template <typename AddPlane>
void gas_scale_planes(const GMathFrustum& frustum, double scale, const AddPlane& add_plane) {
    const unsigned count = gas_host::get_plane_count(frustum);
    for (unsigned plane = 0; plane < count; ++plane) {
        const double offset = gas_host::get_plane_offset(frustum, plane);
        add_plane(gas_host::get_plane_normal(frustum, plane), offset * scale);
    }
}

} // namespace gas_abi1
