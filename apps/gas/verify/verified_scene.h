// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
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

    /// `time` of the shutter, 0 to 1.
    struct Ray {
        Vec3 origin;
        Vec3 direction;
        double near_distance;
        double far_distance;
        float time;
    };

    /// A ray as the callbacks test it.
    struct PreparedRay : Ray {
        PreparedRay() = default;
        PreparedRay(const Ray& ray)
            : Ray(ray), inverse{1.0 / ray.direction.x, 1.0 / ray.direction.y,
                                1.0 / ray.direction.z} {}

        Vec3 inverse;
    };

    /// Rays from one point through a tile of a picture, row by row.
    struct Tile {
        std::vector<Ray> rays;
        GMathFrustum frustum;
    };

    /// `item_count` boxes of one of several kinds: spread, clustered, in a sheet, nested, or all at
    /// one place. Which, and all numbers, follow from the seed.
    VerifiedScene(unsigned item_count, std::uint64_t seed);
    /// The boxes of a mesh's triangles, or with `item_count` of so many that follow one another,
    /// from a place that follows from the seed.
    VerifiedScene(const TriangleMesh& mesh, std::uint64_t seed, unsigned item_count = 0);

    unsigned get_item_count() const { return static_cast<unsigned>(m_boxes[0].size()); }
    const std::vector<Box>& get_boxes(unsigned sample) const { return m_boxes[sample]; }
    /// Around the items of both samples.
    const Box& get_bounds() const { return m_bounds; }
    /// What trees are built of.
    TreeItems::Description describe() const;

    /// Ray `number`, of no order: most of them go through an item's box, some past all, and some
    /// along an axis or in a plane of a box.
    Ray make_ray(std::uint64_t number) const;
    /// Tile `number`, around an item, of `count` rays.
    Tile make_tile(std::uint64_t number, unsigned count) const;

    /// Where the ray enters the item between its near distance and `far_distance`, or
    /// `no_entry`. At rest items are where the trees are built, at the end of the shutter.
    double find_entry(unsigned item, const PreparedRay& ray, double far_distance,
                      bool is_moving) const {
        return is_moving ? find_moving_entry(item, ray, far_distance)
                         : find_entry(m_boxes[1][item], ray, far_distance);
    }
    static double find_entry(const Box& box, const PreparedRay& ray, double far_distance);

  private:
    /// Makes the other sample, and scales all.
    void finish();
    double find_moving_entry(unsigned item, const PreparedRay& ray, double far_distance) const;

    std::uint64_t m_seed;
    std::vector<Box> m_boxes[sample_count];
    Box m_bounds = empty_box();
};

inline double VerifiedScene::find_entry(const Box& box, const PreparedRay& ray,
                                        double far_distance) {
    double entry = ray.near_distance;
    double exit = far_distance;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double origin = ray.origin[axis];
        if (ray.direction[axis] == 0.0) {
            if (!(origin >= box.min[axis] && origin <= box.max[axis]))
                return no_entry;
            continue;
        }
        const double first = (box.min[axis] - origin) * ray.inverse[axis];
        const double second = (box.max[axis] - origin) * ray.inverse[axis];
        entry = std::max(entry, std::min(first, second));
        exit = std::min(exit, std::max(first, second));
    }
    return entry <= exit && entry < far_distance ? entry : no_entry;
}

} // namespace gas_app
