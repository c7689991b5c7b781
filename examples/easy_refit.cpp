// SPDX-License-Identifier: Apache-2.0
/// Animation: a tree follows its items from frame to frame, and is built anew where that pays.

#include <cstdio>

#include "easy_sphere.h"

int main() {
    const std::vector<Sphere> rest = make_spiral(300);
    std::vector<Sphere> spheres = rest;
    gas::Tree tree(get_boxes(spheres));

    bool right = true;
    for (unsigned frame = 1; frame <= 20; ++frame) {
        // The spiral swings to and fro.
        for (unsigned i = 0; i < rest.size(); ++i)
            spheres[i].center =
                rest[i].center + gas::Vector{std::sin(0.3 * frame + 0.01 * i), 0, 0};
        const std::vector<gas::Box> boxes = get_boxes(spheres);
        // A refit keeps the tree's topology, whose boxes grow where neighbours part.
        if (frame % 10 == 0)
            tree = gas::Tree(boxes);
        else
            tree.refit(boxes);

        for (unsigned i = 0; i < 50; ++i) {
            const gas::Ray ray = {{20.0, 0.2 * i - 5.0, 0.1 * i}, {-1.0, 0.0, 0.0}};
            const gas::Hit hit =
                tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
                    return intersect(spheres[item], asked);
                });
            right = right && hit.item == find_closest(spheres, ray).item;
        }
    }

    // The number of items is that of the build.
    try {
        tree.refit(get_boxes(make_spiral(299)));
        right = false;
    } catch (const gas::Error& error) {
        std::printf("refused: %s\n", error.what());
    }
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
