// SPDX-License-Identifier: Apache-2.0
/// Shadow rays: is anything between a point and the light? And what is all of it?

#include <cstdio>

#include "easy_sphere.h"

int main() {
    const std::vector<Sphere> spheres = make_spiral(300);
    const gas::Tree tree(get_boxes(spheres));
    const gas::Vector light = {0.5, -0.3, 9.0};
    gas::Context context; // scratch memory, one per thread

    bool right = true;
    unsigned shadowed_count = 0;
    for (unsigned i = 0; i < 400; ++i) {
        // The light is at distance 1, for a ray's direction has any length.
        gas::Ray ray;
        ray.origin = {0.4 * (i % 20) - 4.0, 0.4 * (i / 20) - 4.0, -1.0};
        ray.direction = light - ray.origin;
        ray.near = 1e-6; // not the point itself
        ray.far = 1.0;   // nothing behind the light

        // The function answers a distance or, as here, whether the ray is stopped.
        const bool is_shadowed =
            tree.any_hit(context, ray, [&](std::uint32_t item, const gas::Ray& asked) {
                return asked.holds(intersect(spheres[item], asked));
            });
        // Of a function that answers nothing nothing stops the ray.
        unsigned hit_count = 0;
        tree.all_hits(context, ray, [&](std::uint32_t item, const gas::Ray& asked) {
            hit_count += asked.holds(intersect(spheres[item], asked)) ? 1 : 0;
        });

        unsigned expected_count = 0;
        for (const Sphere& sphere : spheres)
            expected_count += ray.holds(intersect(sphere, ray)) ? 1 : 0;
        right = right && hit_count == expected_count && is_shadowed == (hit_count != 0);
        shadowed_count += is_shadowed ? 1 : 0;
    }
    std::printf("%u of 400 points lie in shadow\n", shadowed_count);
    right = right && shadowed_count > 20 && shadowed_count < 380;
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
