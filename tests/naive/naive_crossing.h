#pragma once

#include <tests/naive/naive_tree.h>

namespace naive {

/// What the box tests read of a ray, rounded to floats once per walk. An infinite inverse of either
/// sign is positive.
struct FloatRay {
    float origin[3];
    float inverse[3];
    float near_distance;
};

FloatRay round_ray(const Ray& ray);

/// Whether a ray is inside a box between its near and far distances, and where it enters.
struct Crossing {
    bool hit;
    float entry;
};

/// The ray's distances at the box's three pairs of planes. An axis without a number leaves the
/// ray's own bounds standing.
Crossing cross(const Box& box, const FloatRay& ray, float far_distance);

/// The box `fraction` of the way from the one to the other.
Box blend(const Box& before, const Box& after, float fraction);

} // namespace naive
