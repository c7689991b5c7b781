// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The largest float that is not above `value`: the value itself where it is a float, an infinity,
/// a denormal or a NaN too.
inline float gas_round_down(double value) {
    constexpr float largest = std::numeric_limits<float>::max();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    // Conversions out of range are undefined.
    if (std::abs(value) > static_cast<double>(largest) && std::isfinite(value))
        return value > 0.0 ? largest : -infinity;
    const float nearest = static_cast<float>(value);
    return static_cast<double>(nearest) > value ? std::nextafter(nearest, -infinity) : nearest;
}

/// The smallest float that is not below `value`.
inline float gas_round_up(double value) { return -gas_round_down(-value); }

/// The smallest box of floats around `box`.
inline GMathBbox3<float> gas_round_outward(const GMathBbox3<double>& box) {
    return {{gas_round_down(box.min.x), gas_round_down(box.min.y), gas_round_down(box.min.z)},
            {gas_round_up(box.max.x), gas_round_up(box.max.y), gas_round_up(box.max.z)}};
}

/// The same box in doubles.
inline GMathBbox3<double> gas_widen(const GMathBbox3<float>& box) {
    return {{static_cast<double>(box.min.x), static_cast<double>(box.min.y),
             static_cast<double>(box.min.z)},
            {static_cast<double>(box.max.x), static_cast<double>(box.max.y),
             static_cast<double>(box.max.z)}};
}

} // namespace gas_abi1
