// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

#include <gas/host/host.h>

#include <tests/support/seeded_random.h>

namespace support {

/// A tile of the picture of a pinhole camera.
struct PinholeTile {
    GMathVec3<double> eye;
    GMathVec3<double> corners[4];

    /// The ray's direction at `across`, `down` in 0..1, between the corners.
    GMathVec3<double> get_direction(double across, double down) const {
        const GMathVec3<double> top = corners[0] * (1.0 - across) + corners[1] * across;
        const GMathVec3<double> bottom = corners[3] * (1.0 - across) + corners[2] * across;
        return top * (1.0 - down) + bottom * down;
    }

    GMathFrustum make_frustum() const { return gmath_make_pinhole_frustum(eye, corners); }
};

/// A camera at `eye` that looks at `target`, rolled and mirrored at random, and a tile of `size`
/// times the distance around the target.
inline PinholeTile make_tile(SeededRandom& random, const GMathVec3<double>& eye,
                             const GMathVec3<double>& target, double size) {
    const auto dot = [](const GMathVec3<double>& a, const GMathVec3<double>& b) {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    };
    const auto coordinate = [&] { return random.uniform_double() * 2.0 - 1.0; };
    const GMathVec3<double> forward = target - eye;
    const double length = std::sqrt(dot(forward, forward));
    GMathVec3<double> right = {coordinate(), coordinate(), coordinate()};
    right = right - forward * (dot(right, forward) / (length * length));
    right = right * (size * length / std::sqrt(dot(right, right)));
    GMathVec3<double> up = {right.y * forward.z - right.z * forward.y,
                            right.z * forward.x - right.x * forward.z,
                            right.x * forward.y - right.y * forward.x};
    up = up * ((random.below(2) ? 1.0 : -1.0) / length);
    up = up + right * (0.5 * coordinate()); // not quite at right angles
    PinholeTile tile = {eye, {}};
    tile.corners[0] = forward - right - up;
    tile.corners[1] = forward + right - up;
    tile.corners[2] = forward + right + up;
    tile.corners[3] = forward - right + up;
    return tile;
}

} // namespace support
