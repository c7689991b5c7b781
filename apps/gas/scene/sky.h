// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// The light from far away: a clear sky with a low, warm sun.
struct Sky {
    Vec3 sun_direction = normalized({-0.70, 0.52, 0.46});
    Vec3 sun_light{3.5, 2.75, 1.85};
    /// Sine of the angle between the middle and the edge of the sun: how soft shadows are.
    double sun_radius = 0.035;

    Vec3 zenith{0.20, 0.35, 0.66};
    Vec3 horizon{0.86, 0.76, 0.64};
    Vec3 ground{0.26, 0.22, 0.18};

    /// Light that comes from `direction` (length 1), the disc of the sun left out.
    Vec3 get_light(const Vec3& direction) const {
        // The horizon extends a little downwards, because the floor is of finite size.
        constexpr double horizon_depth = 0.12;
        const double height = std::clamp(direction.y, 0.0, 1.0);
        const double fade = std::pow(1.0 - height, 9.0);
        const double glow = std::pow(std::max(dot(direction, sun_direction), 0.0), 10.0);
        const Vec3 light = mix(zenith, horizon, fade) + Vec3{0.50, 0.32, 0.12} * glow;
        const double below = -direction.y - horizon_depth;
        return below > 0.0 ? mix(light, ground, std::min(1.0, 6.0 * below)) : light;
    }
};

} // namespace gas_app
