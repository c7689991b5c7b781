// SPDX-License-Identifier: Apache-2.0
/// A grid over a box function: millions of items that are stored nowhere, and trees that are built
/// only where rays go.

#include <atomic>
#include <cstdio>

#include "easy_sphere.h"

namespace {

constexpr std::uint32_t side = 500;
constexpr std::uint32_t count = side * side;

/// Pebbles on a plain that roll during the shutter.
Sphere get_pebble(std::uint32_t item, double time) {
    const double x = item % side + 0.5 * time;
    const double y = item / side + 0.3 * std::sin(item);
    return {{x, y, 0.0}, 0.2 + 0.1 * std::cos(item)};
}

} // namespace

int main() {
    // Asked for by several threads at once.
    std::atomic<unsigned> call_count = 0;
    gas::Options options;
    options.items_per_cell = 64;
    gas::Tree tree(
        count,
        [&](std::uint32_t item, double time) {
            ++call_count;
            return get_box(get_pebble(item, time));
        },
        options);
    bool right = tree.kind() == gas::Kind::grid && tree.size() == count;
    right = right && call_count == 2 * count;
    call_count = 0;

    const auto trace = [&](double x, double y, double time) {
        gas::Ray ray = {{x, y, 10.0}, {0.0, 0.0, -1.0}};
        ray.time = time;
        return tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
            return intersect(get_pebble(item, asked.time), asked);
        });
    };
    // Cells are built where these rays go: the boxes of no others are asked for again.
    for (std::uint32_t i = 0; i < 100; ++i) {
        const std::uint32_t item = 250 * side + 200 + i;
        const Sphere pebble = get_pebble(item, 0.0);
        right = right && trace(pebble.center.x, pebble.center.y, 0.0).item == item;
    }
    std::printf("%u boxes for 100 rays among %u pebbles\n", call_count.load(), count);
    right = right && call_count < count / 20;

    // In motion, over boxes at two times.
    tree.set_motion(2);
    const Sphere rolled = get_pebble(777, 1.0);
    right = right && trace(rolled.center.x, rolled.center.y, 1.0).item == 777;
    right = right && trace(rolled.center.x, rolled.center.y, 0.0).item != 777;
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
