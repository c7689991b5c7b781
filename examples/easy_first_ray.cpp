// SPDX-License-Identifier: Apache-2.0
// The owning interface: from nothing to a hit. Here the items are unit spheres.
#include <cmath>
#include <cstdio>
#include <vector>

#include <gas/gas.h>

// Where the ray enters the sphere around `center`, or gas::miss.
static double intersect(const gas::Vector& center, const gas::Ray& ray) {
    const gas::Vector o = {ray.origin.x - center.x, ray.origin.y - center.y,
                           ray.origin.z - center.z};
    const gas::Vector& d = ray.direction;
    const double a = d.x * d.x + d.y * d.y + d.z * d.z;
    const double b = o.x * d.x + o.y * d.y + o.z * d.z;
    const double c = o.x * o.x + o.y * o.y + o.z * o.z - 1.0;
    return b * b >= a * c ? (-b - std::sqrt(b * b - a * c)) / a : gas::miss;
}

int main() {
    std::vector<gas::Vector> centers;
    std::vector<gas::Box> boxes;
    for (int i = 0; i < 25; ++i) {
        const gas::Vector c = {4.0 * i, 0.0, 0.0};
        centers.push_back(c);
        boxes.push_back({{c.x - 1, c.y - 1, c.z - 1}, {c.x + 1, c.y + 1, c.z + 1}});
    }
    const gas::Tree tree(boxes);

    const gas::Ray ray = {{42.0, 0.0, 0.0}, {1.0, 0.0, 0.0}};
    const auto sphere = [&](std::uint32_t item, const gas::Ray& asked) {
        return intersect(centers[item], asked);
    };
    const gas::Hit hit = tree.closest_hit(ray, sphere);
    std::printf("sphere %u at distance %g\n", hit.item, hit.distance);
    const bool is_shadowed = tree.any_hit(ray, sphere);
    return hit.item == 11 && hit.distance == 1.0 && is_shadowed ? 0 : 1;
}
