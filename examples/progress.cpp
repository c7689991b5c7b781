// SPDX-License-Identifier: Apache-2.0
/// Long builds: the application chooses how trees are built, and a progress bar shows how far the
/// build is.

#include <cmath>
#include <cstdio>
#include <vector>

#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

/// Spheres on a spiral that widens, dense in the middle.
CoreArray<GMathBbox3<float>> make_boxes(unsigned count) {
    CoreArray<GMathBbox3<float>> boxes(count);
    for (unsigned i = 0; i < count; ++i) {
        const float turn = 0.01f * static_cast<float>(i);
        const float reach = 1e-9f * static_cast<float>(i) * static_cast<float>(i);
        boxes[i] = get_box({{reach * std::cos(turn), reach * std::sin(turn), reach * 0.3f}, 0.2f});
    }
    return boxes;
}

/// Boxes that a random line through the whole tree meets on average: the less the better.
double get_expected_visits(const GasTree& tree) {
    const auto get_area = [](const GasTree::Node& node) {
        const GMathVec3<float> extent = node.bbox_max - node.bbox_min;
        return static_cast<double>(extent.x * extent.y + extent.y * extent.z + extent.z * extent.x);
    };
    double area = 0.0;
    for (unsigned i = 0; i < tree.get_node_count(); ++i)
        area += get_area(tree.get_nodes()[i]);
    return area / get_area(tree.get_nodes()[0]);
}

} // namespace

int main() {
    const CoreArray<GMathBbox3<float>> boxes = make_boxes(200000);
    bool right = true;

    // The build method is a setting of the application, and a build reads it through its bar.
    // Median splits build fastest, full SAH traces fastest.
    constexpr const char* titles[] = {"median  ", "hybrid  ", "fast SAH", "full SAH"};
    AppBase app;
    double visits[4];
    for (unsigned method = 0; method < 4; ++method) {
        app.set_build_method(method);
        AppProgressBar* bar = app.create_progress_bar(titles[method], true);
        GasTree tree;
        tree.create(boxes, nullptr, bar, 1.0f);
        bar->finish();
        visits[method] = get_expected_visits(tree);
        std::printf("%s: %u levels, %.0f boxes met by a random line\n", titles[method],
                    tree.get_depth(), visits[method]);
        right = right && tree.get_leaf_count() == boxes.get_count();
    }
    right = right && visits[3] < visits[0];

    // Two builds that share one bar: each fills its part.
    AppProgressBar* bar = app.create_progress_bar("two trees", true);
    GasTree first;
    GasTree second;
    first.create(boxes, nullptr, bar, 0.7f);
    const float after_first = bar->get_value();
    second.create(boxes, nullptr, bar, 0.3f);
    const float after_second = bar->get_value();
    bar->finish();
    std::printf("the first tree filled %.2f of the bar, both %.2f\n",
                static_cast<double>(after_first), static_cast<double>(after_second));
    right = right && std::fabs(after_first - 0.7f) < 0.02f && after_second > 0.98f;

    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
