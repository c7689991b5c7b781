#include <tests/naive/naive_crossing.h>

#include <cmath>
#include <limits>

namespace naive {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

float lane_min(float a, float b) { return a < b ? a : b; }

float lane_max(float a, float b) { return a > b ? a : b; }

} // namespace

FloatRay round_ray(const Ray& ray) {
    FloatRay result;
    for (unsigned axis = 0; axis < 3; ++axis) {
        result.origin[axis] = static_cast<float>(ray.origin[axis]);
        const float inverse = static_cast<float>(ray.inverse[axis]);
        result.inverse[axis] = std::isinf(inverse) ? infinity : inverse;
    }
    result.near_distance = static_cast<float>(ray.near_distance);
    return result;
}

Crossing cross(const Box& box, const FloatRay& ray, float far_distance) {
    float entries[3];
    float exits[3];
    // The ray's own bounds are the second operands, so that they stay where the first is no number.
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float t0 = (box.min[axis] - ray.origin[axis]) * ray.inverse[axis];
        const float t1 = (box.max[axis] - ray.origin[axis]) * ray.inverse[axis];
        entries[axis] = lane_max(lane_min(t1, t0), ray.near_distance);
        exits[axis] = lane_min(lane_max(t0, t1), far_distance);
    }
    const float entry = lane_max(lane_max(entries[0], entries[1]), entries[2]);
    const float exit = lane_min(lane_min(exits[0], exits[1]), exits[2]);
    return {entry <= exit, entry};
}

Box blend(const Box& before, const Box& after, float fraction) {
    const float rest = 1.0f - fraction;
    Box result;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float after_min = after.min[axis] * fraction;
        const float before_min = before.min[axis] * rest;
        result.min[axis] = after_min + before_min;
        const float after_max = after.max[axis] * fraction;
        const float before_max = before.max[axis] * rest;
        result.max[axis] = after_max + before_max;
    }
    return result;
}

} // namespace naive
