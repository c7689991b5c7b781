// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_scene_scale.h>

#include <cmath>
#include <limits>

#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_outward.h>

inline namespace gas_abi1 {

namespace {

/// Below 2^6; the codec is exact enough up to 82.
constexpr int exponent_in_range = 6;
/// Both 2^1022 and its inverse are doubles with all their bits.
constexpr int largest_exponent = 1022;

} // namespace

double gas_get_scene_scale(const GMathBbox3<double>& bounds) {
    const double reach = gas_get_reach(bounds); // 0 where a min lies above its max
    if (!(reach > 0.0) || !std::isfinite(reach))
        return 1.0;
    // Half of the measure, for an extent may be beyond all doubles. Below the smallest number with
    // all its bits the scale is the largest anyway.
    constexpr double smallest = std::numeric_limits<double>::min();
    double half = 0.5 * reach > smallest ? 0.5 * reach : smallest;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double half_extent = 0.5 * bounds.max[axis] - 0.5 * bounds.min[axis];
        if (half_extent > half)
            half = half_extent;
    }
    int exponent = 0;
    std::frexp(half, &exponent);
    exponent = exponent_in_range - (exponent + 1);
    return std::ldexp(1.0, exponent < largest_exponent ? exponent : largest_exponent);
}

double gas_get_scene_scale(const GMathBbox3<float>& bounds) {
    return gas_get_scene_scale(gas_widen(bounds));
}

GMathBbox3<double> gas_scale_box(const GMathBbox3<double>& box, double scale) {
    return {gas_scale_vector(box.min, scale), gas_scale_vector(box.max, scale)};
}

GMathBbox3<float> gas_scale_box(const GMathBbox3<float>& box, double scale) {
    return gas_round_outward(gas_scale_box(gas_widen(box), scale));
}

} // namespace gas_abi1
