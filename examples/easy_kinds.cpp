// SPDX-License-Identifier: Apache-2.0
/// The kinds of trees: the same hits from plain, compressed and grid trees, for scenes of any size,
/// in different amounts of memory.

#include <cstdio>

#include "easy_sphere.h"

int main() {
    // Hills on a planet, in metres, seen from a moon.
    std::vector<Sphere> spheres = make_spiral(20000);
    for (Sphere& sphere : spheres)
        sphere = {sphere.center * 3e4, sphere.radius * 3e4};
    std::vector<gas::Ray> rays;
    for (unsigned i = 0; i < 200; ++i) {
        const Sphere& target = spheres[97 * i];
        gas::Ray ray;
        ray.origin = {4e8, 1e7 * (i % 10), -1e7};
        ray.direction = target.center + gas::Vector{0.0, 0.5 * target.radius, 0.0} - ray.origin;
        rays.push_back(ray);
    }

    bool right = true;
    constexpr const char* names[] = {"plain", "compressed", "grid"};
    for (const gas::Kind kind : {gas::Kind::plain, gas::Kind::compressed, gas::Kind::grid}) {
        gas::Options options;
        options.kind = kind;
        options.method = gas::Method::sah;
        options.reach = 4e8; // rays start within that
        const gas::Tree tree(get_boxes(spheres), options);
        unsigned hit_count = 0;
        for (const gas::Ray& ray : rays) {
            const gas::Hit hit =
                tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
                    return intersect(spheres[item], asked);
                });
            const gas::Hit expected = find_closest(spheres, ray);
            right = right && hit.item == expected.item && hit.distance == expected.distance;
            hit_count += hit ? 1 : 0;
        }
        std::printf("%-10s %3u of %zu rays hit, %5.1f bytes an item, %zu levels\n",
                    names[static_cast<int>(kind)], hit_count, rays.size(),
                    static_cast<double>(tree.memory_size()) / static_cast<double>(tree.size()),
                    tree.depth());
        right = right && hit_count > 0;
    }
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
