// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include <gas/gas.h>

#include <tests/support/seeded_random.h>

namespace easy {

inline gas::Vector operator+(const gas::Vector& a, const gas::Vector& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline gas::Vector operator-(const gas::Vector& a, const gas::Vector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline gas::Vector operator*(const gas::Vector& a, double factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}
inline double dot(const gas::Vector& a, const gas::Vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline double length(const gas::Vector& a) { return std::sqrt(dot(a, a)); }

struct Sphere {
    gas::Vector center;
    double radius;
    /// How far it moves from time 0 to 1.
    gas::Vector motion = {};

    Sphere at(double time) const { return {center + motion * time, radius, motion}; }
};

inline gas::Box get_box(const Sphere& sphere) {
    const gas::Vector r = {sphere.radius, sphere.radius, sphere.radius};
    return {sphere.center - r, sphere.center + r};
}

/// Where the ray enters the sphere, or leaves it where it starts inside; from its near distance on.
inline double intersect(const Sphere& sphere, const gas::Ray& ray) {
    // The nearest point of the line first: that loses few bits where the ray comes from afar.
    const double square = dot(ray.direction, ray.direction);
    const double middle = dot(sphere.center - ray.origin, ray.direction) / square;
    const gas::Vector aside = ray.origin + ray.direction * middle - sphere.center;
    const double rest = sphere.radius * sphere.radius - dot(aside, aside);
    if (!(rest >= 0.0))
        return gas::miss;
    const double half = std::sqrt(rest / square);
    if (middle - half >= ray.near)
        return middle - half;
    return middle + half >= ray.near ? middle + half : gas::miss;
}

/// Spheres in a cube of side 2 `size` around `center`.
inline std::vector<Sphere> make_spheres(unsigned count, std::uint64_t seed, double size = 10.0,
                                        const gas::Vector& center = {}) {
    support::SeededRandom random(seed);
    const auto coordinate = [&] { return size * (2.0 * random.uniform_double() - 1.0); };
    std::vector<Sphere> spheres(count);
    for (Sphere& sphere : spheres) {
        const double x = coordinate(), y = coordinate(), z = coordinate();
        sphere.center = center + gas::Vector{x, y, z};
        sphere.radius = size * (0.01 + 0.05 * random.uniform_double());
        const double dx = coordinate(), dy = coordinate(), dz = coordinate();
        sphere.motion = gas::Vector{dx, dy, dz} * 0.1;
    }
    return spheres;
}

inline std::vector<gas::Box> get_boxes(const std::vector<Sphere>& spheres, double time = 0.0) {
    std::vector<gas::Box> boxes;
    for (const Sphere& sphere : spheres)
        boxes.push_back(get_box(sphere.at(time)));
    return boxes;
}

/// Rays towards points of that cube, from `distance` times its size away at most.
inline std::vector<gas::Ray> make_rays(unsigned count, std::uint64_t seed, double size = 10.0,
                                       const gas::Vector& center = {}, double distance = 2.0) {
    support::SeededRandom random(seed);
    const auto point = [&](double reach) {
        const double x = reach * (2.0 * random.uniform_double() - 1.0);
        const double y = reach * (2.0 * random.uniform_double() - 1.0);
        const double z = reach * (2.0 * random.uniform_double() - 1.0);
        return gas::Vector{x, y, z};
    };
    std::vector<gas::Ray> rays(count);
    for (unsigned i = 0; i < count; ++i) {
        gas::Ray& ray = rays[i];
        ray.origin = center + point(size * distance);
        ray.direction = center + point(size) - ray.origin;
        ray.time = random.uniform_double();
        // Some spans end in the scene.
        if (i % 3 == 1)
            ray.far = 0.5 + random.uniform_double();
        if (i % 5 == 1)
            ray.near = 0.5 * random.uniform_double();
    }
    return rays;
}

/// The closest hit of all spheres tried one by one, at the ray's time where `moves`.
inline gas::Hit find_closest(const std::vector<Sphere>& spheres, const gas::Ray& ray,
                             bool moves = false) {
    gas::Hit hit;
    for (std::uint32_t item = 0; item < spheres.size(); ++item) {
        const double distance = intersect(spheres[item].at(moves ? ray.time : 0.0), ray);
        if (ray.holds(distance) && distance < hit.distance)
            hit = {distance, item};
    }
    return hit;
}

} // namespace easy
