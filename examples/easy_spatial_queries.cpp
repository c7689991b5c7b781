// SPDX-License-Identifier: Apache-2.0
/// Questions without rays: which boxes overlap a box, and which are nearest to a point?

#include <algorithm>
#include <cstdio>

#include "easy_sphere.h"

namespace {

bool overlap(const gas::Box& a, const gas::Box& b) {
    return a.min.x <= b.max.x && b.min.x <= a.max.x && a.min.y <= b.max.y && b.min.y <= a.max.y &&
           a.min.z <= b.max.z && b.min.z <= a.max.z;
}

} // namespace

int main() {
    const std::vector<Sphere> spheres = make_spiral(1000);
    const std::vector<gas::Box> boxes = get_boxes(spheres);
    const gas::Tree tree(boxes);

    // What a brush touches: items in no order. Boxes are padded a little, so those next to it
    // count.
    const gas::Box brush = {{-3.0, -3.0, 2.0}, {4.0, 4.0, 5.05}};
    std::vector<std::uint32_t> touched = tree.items_in(brush);
    std::sort(touched.begin(), touched.end());
    std::vector<std::uint32_t> expected;
    for (std::uint32_t item = 0; item < boxes.size(); ++item) {
        if (overlap(boxes[item], brush))
            expected.push_back(item);
    }
    std::printf("%zu of %zu boxes overlap the brush\n", touched.size(), tree.size());
    bool right = touched == expected && !touched.empty();

    // The nearest boxes, by their centres, nearest first. closest_point measures the items instead.
    const gas::Vector point = {1.0, -2.0, 4.0};
    std::vector<double> distances;
    for (const Sphere& sphere : spheres) {
        const gas::Vector offset = sphere.center - point;
        distances.push_back(std::sqrt(dot(offset, offset)));
    }
    std::sort(distances.begin(), distances.end());
    const std::vector<gas::NearItem> near = tree.nearest_boxes(point, 5);
    right = right && near.size() == 5;
    for (std::size_t i = 0; i < near.size(); ++i) {
        std::printf("sphere %u is %g away\n", near[i].item, near[i].distance);
        right = right && std::fabs(near[i].distance - distances[i]) < 1e-5;
    }
    right = right && tree.nearest_boxes({900.0, 0.0, 0.0}, 5, 10.0).empty();
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
