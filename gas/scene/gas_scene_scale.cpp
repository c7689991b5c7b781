// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_scene_scale.h>

#include <cmath>

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
    double measure = gas_get_reach(bounds);
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double extent = bounds.max[axis] - bounds.min[axis];
        if (extent > measure)
            measure = extent;
    }
    if (!(measure > 0.0) || !std::isfinite(measure))
        return 1.0;
    int exponent = 0;
    std::frexp(measure, &exponent);
    exponent = exponent_in_range - exponent;
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
