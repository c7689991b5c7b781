// SPDX-License-Identifier: Apache-2.0
/// Long builds: a function hears how far a build is, and stops it.

#include <cstdio>

#include "easy_sphere.h"

int main() {
    gas::Tree tree(get_boxes(make_spiral(10)));
    const std::vector<gas::Box> boxes = get_boxes(make_spiral(100000));
    bool right = true;

    // It is called on the thread that builds, often enough for a bar.
    double shown = 0.0;
    gas::Options options;
    options.progress = [&](double fraction) {
        for (; shown + 0.1 <= fraction; shown += 0.1)
            std::printf("#");
        return true;
    };
    const gas::Tree complete(boxes, options);
    std::printf(" %zu items\n", complete.size());
    right = right && shown > 0.8 && complete.size() == 100000;

    // Somebody loses patience halfway. What was there before stays.
    options.progress = [](double fraction) { return fraction < 0.5; };
    try {
        tree = gas::Tree(boxes, options);
        right = false;
    } catch (const gas::Stopped& stopped) {
        std::printf("%s\n", stopped.what());
    }
    right = right && tree.size() == 10;

    // What cannot be built says why.
    try {
        const std::vector<gas::Box> inverted = {{{0.0, 0.0, 0.0}, {1.0, -1.0, 1.0}}};
        tree = gas::Tree(inverted);
        right = false;
    } catch (const gas::Error& error) {
        std::printf("%s\n", error.what());
    }
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
