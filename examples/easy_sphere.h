// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include <gas/gas.h>

/// The item (primitive) of these examples. The library does not know it: it takes its box, and
/// calls back when a ray reaches that box.
struct Sphere {
    gas::Vector center;
    double radius;
};

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

/// The exact box; trees pad what they are given.
inline gas::Box get_box(const Sphere& sphere) {
    const gas::Vector corner = {sphere.radius, sphere.radius, sphere.radius};
    return {sphere.center - corner, sphere.center + corner};
}

inline std::vector<gas::Box> get_boxes(const std::vector<Sphere>& spheres) {
    std::vector<gas::Box> boxes;
    for (const Sphere& sphere : spheres)
        boxes.push_back(get_box(sphere));
    return boxes;
}

/// Where the ray enters the sphere, or leaves it where it starts inside; gas::miss where neither
/// is at its near distance or beyond.
inline double intersect(const Sphere& sphere, const gas::Ray& ray) {
    const gas::Vector offset = ray.origin - sphere.center;
    const double a = dot(ray.direction, ray.direction);
    const double b = dot(offset, ray.direction);
    const double c = dot(offset, offset) - sphere.radius * sphere.radius;
    if (b * b < a * c)
        return gas::miss;
    const double root = std::sqrt(b * b - a * c);
    const double enters = (-b - root) / a;
    const double leaves = (-b + root) / a;
    return enters >= ray.near ? enters : leaves >= ray.near ? leaves : gas::miss;
}

/// What a tree has to find: the closest of all spheres.
inline gas::Hit find_closest(const std::vector<Sphere>& spheres, const gas::Ray& ray) {
    gas::Hit hit;
    for (std::uint32_t item = 0; item < spheres.size(); ++item) {
        const double distance = intersect(spheres[item], ray);
        if (ray.holds(distance) && distance < hit.distance)
            hit = {distance, item};
    }
    return hit;
}

/// Balls on a spiral around the z axis, which climbs to 0.02 times their count.
inline std::vector<Sphere> make_spiral(unsigned count) {
    std::vector<Sphere> spheres;
    for (unsigned i = 0; i < count; ++i) {
        const double radius = 1.0 + 0.01 * i;
        spheres.push_back({{radius * std::cos(0.7 * i), radius * std::sin(0.7 * i), 0.02 * i},
                           0.1 + 0.1 * (i % 3)});
    }
    return spheres;
}
