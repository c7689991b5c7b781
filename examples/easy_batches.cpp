// SPDX-License-Identifier: Apache-2.0
/// Batches: many rays in one call, in any order, which keeps many of them in flight.

#include <cstdio>
#include <memory>

#include "easy_sphere.h"

int main() {
    const std::vector<Sphere> spheres = make_spiral(500);
    const gas::Tree tree(get_boxes(spheres));

    // A picture of 64 x 64 rays, from the side.
    std::vector<gas::Ray> rays;
    for (unsigned i = 0; i < 64 * 64; ++i)
        rays.push_back({{20.0, 0.2 * (i % 64) - 6.4, 0.2 * (i / 64)}, {-1.0, 0.0, 0.0}});

    // The function may take the number of the ray in its batch, where a program keeps its own data
    // of each ray: here how often an intersection was computed for it.
    std::vector<unsigned> test_counts(rays.size());
    const auto sphere = [&](std::uint32_t item, const gas::Ray& ray, std::size_t index) {
        ++test_counts[index];
        return intersect(spheres[item], ray);
    };
    const std::vector<gas::Hit> hits = tree.closest_hits(rays, sphere);

    bool right = true;
    unsigned hit_count = 0, test_count = 0;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const gas::Hit expected = find_closest(spheres, rays[i]);
        right = right && hits[i].item == expected.item && hits[i].distance == expected.distance;
        hit_count += hits[i] ? 1 : 0;
        test_count += test_counts[i];
    }
    std::printf("%u of %zu rays hit, after %u intersections\n", hit_count, rays.size(), test_count);
    right = right && test_count < rays.size() * 10;

    // Whether anything is in the way, over arrays of the program's own and with a context that it
    // keeps: nothing is allocated once its memory has grown.
    gas::Context context;
    const std::unique_ptr<bool[]> are_hit(new bool[rays.size()]);
    tree.any_hits(context, rays.data(), rays.size(), are_hit.get(), sphere);
    for (std::size_t i = 0; i < rays.size(); ++i)
        right = right && are_hit[i] == static_cast<bool>(hits[i]);

    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
