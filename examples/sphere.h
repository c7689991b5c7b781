// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <vector>

#include <gas/host/host.h>
#include <gas/scene/gas_box_padding.h>

/// The item (primitive) of these examples. The library does not know it: it takes its box, and
/// calls back when a ray reaches that box.
struct Sphere {
    GMathVec3<float> center;
    float radius;
};

inline GMathVec3<double> to_double(const GMathVec3<float>& vector) {
    return {static_cast<double>(vector.x), static_cast<double>(vector.y),
            static_cast<double>(vector.z)};
}

/// No coordinate of a sphere, nor of a point that a ray starts from, is larger than this.
inline constexpr double scene_reach = 1000.0;

inline GMathBbox3<double> get_bounds(const Sphere& sphere) {
    const auto radius = static_cast<double>(sphere.radius);
    const GMathVec3<double> center = to_double(sphere.center);
    const GMathVec3<double> corner = {radius, radius, radius};
    return {center - corner, center + corner};
}

/// The sphere's box, padded: it is made of floats, and rays are tested against it in floats, so
/// both may round the wrong way. A box that is too large costs a callback now and then; one that is
/// too small loses hits.
inline GMathBbox3<float> get_box(const Sphere& sphere) {
    return gas_pad_box(get_bounds(sphere), gas_get_box_padding(scene_reach));
}

inline double dot(const GMathVec3<double>& a, const GMathVec3<double>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Whether the line meets the sphere between the two distances, and at which `distance` first.
inline bool meets(const Sphere& sphere, const GMathBasicRay& line, double near_distance,
                  double far_distance, double& distance) {
    const GMathVec3<double> center = to_double(sphere.center);
    const auto radius = static_cast<double>(sphere.radius);
    const GMathVec3<double> offset = line.get_origin() - center;
    const GMathVec3<double>& direction = line.get_direction();
    const double a = dot(direction, direction);
    const double b = dot(offset, direction);
    const double c = dot(offset, offset) - radius * radius;
    const double discriminant = b * b - a * c;
    if (!(discriminant >= 0.0))
        return false;
    const double root = std::sqrt(discriminant);
    for (const double candidate : {(-b - root) / a, (-b + root) / a}) {
        if (candidate > near_distance && candidate < far_distance) {
            distance = candidate;
            return true;
        }
    }
    return false;
}

/// What the callbacks of an example are told of as `user`.
struct SphereScene {
    std::vector<Sphere> spheres;
    /// Counted by the callbacks.
    unsigned call_count = 0;

    /// What a tree is built over, in the order of the spheres.
    CoreArray<GMathBbox3<float>> get_boxes() const {
        CoreArray<GMathBbox3<float>> boxes(static_cast<unsigned>(spheres.size()));
        for (unsigned i = 0; i < boxes.get_count(); ++i)
            boxes[i] = get_box(spheres[i]);
        return boxes;
    }
};

/// A leaf callback for nearest hits, as nearest_hit.cpp explains it. Counts a call per ray.
inline void hit_nearest_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                               GeometryRaytraceCtx& ctx) {
    SphereScene& scene = *static_cast<SphereScene*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        ++scene.call_count;
        if (meets(scene.spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), bound, distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}
