// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include <apps/gas/mesh/triangle_mesh.h>
#include <apps/gas/trees/tree_items.h>

namespace gas_app {

/// Items for a verification: boxes that move between two motion samples. A ray meets an item where
/// it enters the item's box, in double precision; trees get the boxes padded, so that they reach
/// every item that is met. Scaled to where compressed trees are exact.
class VerifiedScene {
  public:
    static constexpr unsigned sample_count = 2;
    /// Where a ray enters an item that it does not meet.
    static constexpr double no_entry = std::numeric_limits<double>::infinity();

    /// A ray as the callbacks test it: `time` of the shutter, 0 to 1.
    struct Ray {
        Vec3 origin;
        Vec3 direction;
        double near_distance;
        double far_distance;
        float time;
    };

    /// `item_count` boxes of one of several kinds: spread, clustered, in a sheet, nested, or all at
    /// one place. Which, and all numbers, follow from the seed.
    VerifiedScene(unsigned item_count, std::uint64_t seed);
    /// The boxes of a mesh's triangles.
    VerifiedScene(const TriangleMesh& mesh, std::uint64_t seed);

    unsigned get_item_count() const { return static_cast<unsigned>(m_boxes[0].size()); }
    /// What trees are built of.
    TreeItems::Description describe() const;

    /// Ray `number`, of no order: most of them go through an item's box, some past all, and some
    /// along an axis or in a plane of a box.
    Ray make_ray(std::uint64_t number) const;

    /// Where the ray enters the item between its near distance and `far_distance`, or
    /// `no_entry`. At rest items are where the trees are built, at the end of the shutter.
    double find_entry(unsigned item, const Ray& ray, double far_distance, bool is_moving) const;

  private:
    /// Makes the other sample, and scales all.
    void finish();

    std::uint64_t m_seed;
    std::vector<Box> m_boxes[sample_count];
    Box m_bounds = empty_box();
};

} // namespace gas_app
