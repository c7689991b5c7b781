// SPDX-License-Identifier: Apache-2.0
/// Long builds: the caller chooses how trees are built, or with a progress bar, which shows how far
/// the build is, its application does.

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

    // Median splits build fastest, full SAH traces fastest.
    constexpr const char* titles[] = {"median  ", "hybrid  ", "fast SAH", "full SAH"};
    constexpr GasBuildMethod methods[] = {GasBuildMethod::median, GasBuildMethod::hybrid,
                                          GasBuildMethod::sah_fast, GasBuildMethod::sah};
    double visits[4];
    for (unsigned i = 0; i < 4; ++i) {
        GasTree tree;
        tree.create(boxes, nullptr, methods[i]);
        visits[i] = get_expected_visits(tree);
        std::printf("%s: %u levels, %.0f boxes met by a random line\n", titles[i], tree.get_depth(),
                    visits[i]);
        right = right && tree.get_leaf_count() == boxes.get_count();
    }
    right = right && visits[3] < visits[0];

    // With a bar the build method is a setting of the bar's application.
    AppBase app;
    app.set_build_method(static_cast<unsigned>(GasBuildMethod::sah));
    AppProgressBar* full = app.create_progress_bar("full SAH", true);
    GasTree tree;
    tree.create(boxes, nullptr, full, 1.0f);
    full->finish();
    right = right && get_expected_visits(tree) == visits[3];

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
