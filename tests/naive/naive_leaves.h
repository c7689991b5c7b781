#pragma once

#include <vector>

#include <tests/naive/naive_tree.h>

namespace naive {

/// Leaves near a point, the nearest first.
struct NearestLeaves {
    std::vector<unsigned> leaves;
    std::vector<float> distances;
    bool operator==(const NearestLeaves&) const = default;
};

/// Walks depth first, the nearer child first and of two as near the second one, wherever a box
/// overlaps the cube of that half-width, both when its parent is visited and in its turn; and takes
/// leaves until there are `max_count` of them. From then on the cube's half-width is the largest
/// distance to a leaf's centre, and only nearer leaves are taken, for which the last drops out.
NearestLeaves nearest_leaves(const Tree& tree, const float (&point)[3], float half_width,
                             unsigned max_count);

} // namespace naive
