// SPDX-License-Identifier: Apache-2.0
/// Queries without rays: which items lie in a box, and which are nearest to a point? The results
/// are leaf positions; in a tree that was built without an index array these are the items.

#include <algorithm>
#include <cstdio>
#include <vector>

#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

using Box = GMathBbox3<float>;
using Point = GMathVec3<float>;

bool overlap(const Box& a, const Box& b) {
    return a.min.x <= b.max.x && b.min.x <= a.max.x && a.min.y <= b.max.y && b.min.y <= a.max.y &&
           a.min.z <= b.max.z && b.min.z <= a.max.z;
}

float get_distance(const Box& box, const Point& point) {
    const Point offset = (box.min + box.max) * 0.5f - point;
    return std::sqrt(offset.x * offset.x + offset.y * offset.y + offset.z * offset.z);
}

} // namespace

int main() {
    // Spheres along a spiral that climbs.
    CoreVector<Box> boxes;
    for (unsigned i = 0; i < 2000; ++i) {
        const float t = 0.01f * static_cast<float>(i);
        boxes.add(get_box({{t * std::cos(3.0f * t), t * std::sin(3.0f * t), t}, 0.1f}));
    }
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);

    // The queries need no shader: they take a frame, one per thread, that grows when it has to.
    GasTreeCtx ctx;

    // All leaves whose boxes overlap a box, in the order of the tree, not of their numbers.
    const Box wanted = {{-6.0f, -1.0f, 2.0f}, {6.0f, 8.0f, 9.0f}};
    CoreVector<unsigned> leaves;
    tree.get_leaves_in_bbox(ctx, wanted, leaves);
    std::vector<unsigned> found(leaves.begin(), leaves.end());
    std::sort(found.begin(), found.end());
    std::vector<unsigned> expected;
    for (unsigned i = 0; i < boxes.get_count(); ++i) {
        if (overlap(boxes[i], wanted))
            expected.push_back(i);
    }
    std::printf("%u of %u spheres touch the box\n", leaves.get_count(), boxes.get_count());

    // The nearest five, the nearest first; distances are to the middles of the boxes. Leaves count
    // whose boxes reach into the cube of half side `max_distance` around the point.
    const Point point = {2.0f, -1.0f, 7.5f};
    constexpr float max_distance = 10.0f;
    constexpr unsigned wanted_count = 5;
    unsigned nearest[wanted_count];
    float distances[wanted_count];
    const unsigned count =
        tree.get_nearest_leaves(ctx, point, max_distance, wanted_count, nearest, distances);
    for (unsigned i = 0; i < count; ++i)
        std::printf("sphere %u is %g away\n", nearest[i], static_cast<double>(distances[i]));

    std::vector<float> all_distances;
    for (const Box& box : boxes)
        all_distances.push_back(get_distance(box, point));
    std::sort(all_distances.begin(), all_distances.end());
    const bool right = found == expected && !found.empty() && count == wanted_count &&
                       std::equal(distances, distances + count, all_distances.begin());
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
