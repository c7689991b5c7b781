// SPDX-License-Identifier: Apache-2.0
/// Closest points: which hair is closest to a point, and where on it?

#include <algorithm>
#include <cstdio>

#include "easy_sphere.h"

namespace {

/// From a root to a tip.
struct Hair {
    gas::Vector root;
    gas::Vector tip;
};

gas::Vector find_closest_point(const Hair& hair, const gas::Vector& point) {
    const gas::Vector line = hair.tip - hair.root;
    const double share = dot(point - hair.root, line) / dot(line, line);
    return hair.root + line * std::clamp(share, 0.0, 1.0);
}

double get_distance(const Hair& hair, const gas::Vector& point) {
    const gas::Vector offset = find_closest_point(hair, point) - point;
    return std::sqrt(dot(offset, offset));
}

} // namespace

int main() {
    std::vector<Hair> hairs;
    std::vector<gas::Box> boxes;
    for (unsigned i = 0; i < 5000; ++i) {
        const gas::Vector root = {0.1 * (i % 100), 0.1 * (i / 100), 0.0};
        const gas::Vector tip =
            root + gas::Vector{std::sin(0.3 * i), std::cos(0.7 * i), 1.5 + std::sin(0.1 * i)};
        hairs.push_back({root, tip});
        boxes.push_back({{std::min(root.x, tip.x), std::min(root.y, tip.y), 0.0},
                         {std::max(root.x, tip.x), std::max(root.y, tip.y), tip.z}});
    }
    const gas::Tree tree(boxes);

    bool right = true;
    for (const gas::Vector& point :
         {gas::Vector{5.0, 2.5, 4.0}, gas::Vector{1.0, 1.0, 1.0}, gas::Vector{-3.0, 9.0, 0.5}}) {
        unsigned call_count = 0;
        const auto measure = [&](std::uint32_t item, const gas::Vector& from) {
            ++call_count;
            return get_distance(hairs[item], from);
        };
        const gas::NearItem near = tree.closest_point(point, measure);
        const gas::Vector where = find_closest_point(hairs[near.item], point);
        std::printf("hair %u at (%g, %g, %g) is %g away; %u of %zu were asked for\n", near.item,
                    where.x, where.y, where.z, near.distance, call_count, tree.size());
        right = right && call_count < 500;

        double least = gas::infinity;
        for (const Hair& hair : hairs)
            least = std::min(least, get_distance(hair, point));
        right = right && near && near.distance == least;
        // With a limit, nothing that is farther is found.
        right = right && !tree.closest_point(point, measure, 0.9 * least);
    }
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
