// SPDX-License-Identifier: Apache-2.0
/// A program's own threads: they build the tree, and then trace it, all at once.

#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>

#include "easy_sphere.h"

namespace {

constexpr unsigned rows = 60;

/// Stands for a renderer's thread pool.
void run_on_threads(std::size_t count, const std::function<void(std::size_t)>& call) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i)
        threads.emplace_back([&call, i] { call(i); });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

int main() {
    const std::vector<Sphere> spheres = make_spiral(20000);
    std::atomic<unsigned> call_count = 0;
    gas::Options options;
    options.threads = 3;
    options.parallel_for = [&](std::size_t count, const std::function<void(std::size_t)>& call) {
        ++call_count;
        run_on_threads(count, call);
    };
    const gas::Tree tree(get_boxes(spheres), options);
    std::printf("built by %u call of parallel_for\n", call_count.load());
    bool right = call_count == 1;

    const auto make_ray = [](unsigned pixel) {
        return gas::Ray{{300.0, 5.0 * (pixel % rows) - 150.0, 6.0 * (pixel / rows)},
                        {-1.0, 0.0, 0.0}};
    };
    const auto sphere = [&](std::uint32_t item, const gas::Ray& ray) {
        return intersect(spheres[item], ray);
    };
    // Each thread traces pixels of a picture, with a context of its own.
    constexpr unsigned thread_count = 3;
    std::vector<gas::Hit> hits(rows * rows);
    run_on_threads(thread_count, [&](std::size_t thread) {
        gas::Context context;
        for (auto pixel = static_cast<unsigned>(thread); pixel < hits.size(); pixel += thread_count)
            hits[pixel] = tree.closest_hit(context, make_ray(pixel), sphere);
    });

    // The tree is the same on any number of threads.
    options = gas::Options();
    options.threads = 1;
    const gas::Tree other(get_boxes(spheres), options);
    unsigned hit_count = 0;
    for (unsigned pixel = 0; pixel < rows * rows; ++pixel) {
        const gas::Hit hit = other.closest_hit(make_ray(pixel), sphere);
        right = right && hit.item == hits[pixel].item && hit.distance == hits[pixel].distance;
        hit_count += hit ? 1 : 0;
    }
    right = right && tree.depth() == other.depth() && hit_count > 0;
    std::printf("%u of %zu rays hit\n", hit_count, hits.size());
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
