// SPDX-License-Identifier: Apache-2.0
/// Motion blur: boxes at several times, and rays that each have a time.

#include <cstdio>

#include "easy_sphere.h"

namespace {

/// On an arc: fast at first, then it falls. The time is 0 to 1.
Sphere at(const Sphere& sphere, double time) {
    return {sphere.center + gas::Vector{2.0 * time, 0.0, 1.5 * time - 2.0 * time * time},
            sphere.radius};
}

} // namespace

int main() {
    const std::vector<Sphere> spheres = make_spiral(200);
    std::vector<gas::Box> boxes = get_boxes(spheres);
    gas::Tree tree(boxes);

    // Boxes are blended between samples, so each pair of samples has to hold what is between them.
    // The arc bends by at most 2.0 times the square of half a step from the line.
    constexpr unsigned sample_count = 5;
    constexpr double step = 1.0 / (sample_count - 1);
    constexpr double bend = 2.0 * (step / 2.0) * (step / 2.0);
    std::vector<std::vector<gas::Box>> samples;
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        for (std::size_t item = 0; item < spheres.size(); ++item) {
            boxes[item] = get_box(at(spheres[item], sample * step));
            boxes[item].max.z += bend;
        }
        samples.push_back(boxes);
    }
    tree.set_motion(samples);

    // A pixel of a picture is blurred by rays at several times.
    bool right = true;
    unsigned partly_count = 0;
    for (unsigned pixel = 0; pixel < 100; ++pixel) {
        unsigned hit_count = 0;
        for (unsigned i = 0; i < 8; ++i) {
            gas::Ray ray = {{0.1 * pixel - 5.0, -20.0, 2.0}, {0.0, 1.0, 0.0}};
            ray.time = (i + 0.5) / 8.0;
            const gas::Hit hit =
                tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
                    return intersect(at(spheres[item], asked.time), asked);
                });
            hit_count += hit ? 1 : 0;

            std::vector<Sphere> moved;
            for (const Sphere& sphere : spheres)
                moved.push_back(at(sphere, ray.time));
            right = right && hit.item == find_closest(moved, ray).item;
        }
        partly_count += hit_count > 0 && hit_count < 8 ? 1 : 0;
    }
    std::printf("%u of 100 pixels are blurred\n", partly_count);
    right = right && tree.motion_sample_count() == sample_count && partly_count > 5;
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
