// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include <gas/host/host.h>

#include <tests/support/grid_items.h>
#include <tests/support/recording_callbacks.h>

namespace support {

/// Items that are boxes, and a little smaller than the boxes that trees get of them: by more than
/// box tests round. Their leaf callbacks know nothing but the ray, so any number of threads may use
/// them at once. Of equally near hits the item with the lower number wins.
class SolidItems {
  public:
    static constexpr double miss = std::numeric_limits<double>::infinity();

    /// The items are `bounds` less a margin at each side.
    SolidItems(const GridItems& bounds, double margin) : m_bounds(bounds), m_margin(margin) {}

    /// Where the ray enters the item; `miss` where it does not before `far`.
    double enter(const GeometryRay& ray, double near, double far, unsigned position,
                 bool is_motion) const {
        const naive::Box& box = m_bounds.get_boxes()[position];
        const GMathVec3<double>& origin = ray.line.get_origin();
        const GMathVec3<double>& direction = ray.line.get_direction();
        double entry = near;
        double exit = far;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double way =
                axis == 0 && is_motion
                    ? static_cast<double>(ray.time) * static_cast<double>(m_bounds.speeds[position])
                    : 0.0;
            const double low = static_cast<double>(box.min[axis]) + m_margin + way;
            const double high = static_cast<double>(box.max[axis]) - m_margin + way;
            if (direction[axis] == 0.0) {
                if (origin[axis] < low || origin[axis] > high)
                    return miss;
                continue;
            }
            const double first = (low - origin[axis]) / direction[axis];
            const double second = (high - origin[axis]) / direction[axis];
            entry = std::max(entry, std::min(first, second));
            exit = std::min(exit, std::max(first, second));
        }
        return entry <= exit ? entry : miss;
    }

    /// Sets the leaf callbacks of a tree over the bounds.
    template <typename Tree> void attach(Tree& tree) {
        tree.set_leaf_raytrace_callbacks(hit_any<false>, hit_any<true>, hit_nearest<false>,
                                         hit_nearest<true>, this);
    }

    /// Stops a ray that enters the item.
    template <bool is_motion>
    static void hit_any(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                        GeometryRaytraceCtx& rays) {
        const SolidItems& self = *static_cast<const SolidItems*>(user);
        const unsigned position = self.m_bounds.find_position(item);
        for_each_ray(rays, [&](unsigned ray) {
            if (self.enter(rays.get_ray(ray), rays.get_tnear(ray), rays.get_tfar(ray), position,
                           is_motion) != miss)
                rays.set_hit(ray);
        });
    }

    template <bool is_motion>
    static void hit_nearest(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                            GeometryRaytraceCtx& rays) {
        const SolidItems& self = *static_cast<const SolidItems*>(user);
        const unsigned position = self.m_bounds.find_position(item);
        for_each_ray(rays, [&](unsigned ray) {
            GeometryIntersectionPath& path = rays.get_intersection_path(ray);
            const double distance = self.enter(rays.get_ray(ray), rays.get_tnear(ray),
                                               path.get_hit_distance(), position, is_motion);
            if (distance == miss)
                return;
            if (!rays.record_nearest_hit(ray, distance, item) && item < path.get_item())
                path.set_item(item);
        });
    }

  private:
    const GridItems& m_bounds;
    double m_margin;
};

/// What a batch's rays found.
struct Fate {
    bool is_hit;
    double distance;
    unsigned item;

    bool operator==(const Fate&) const = default;
};

inline std::vector<Fate> get_fates(const GeometryRayBatch& batch) {
    std::vector<Fate> fates;
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
        fates.push_back({batch.is_hit(ray), batch.get_hit_distance(ray), batch.get_item(ray)});
    return fates;
}

/// The first ray whose fate differs; empty when none does.
inline std::string find_difference(const std::vector<Fate>& fates,
                                   const std::vector<Fate>& expected) {
    const auto describe = [](const Fate& fate) {
        return (fate.is_hit ? "hits item " : "misses item ") + std::to_string(fate.item) + " at " +
               std::to_string(fate.distance);
    };
    for (std::size_t ray = 0; ray < expected.size(); ++ray) {
        if (fates[ray] != expected[ray])
            return "ray " + std::to_string(ray) + " " + describe(fates[ray]) + ", but " +
                   describe(expected[ray]);
    }
    return {};
}

/// What they find when every item is tried.
inline std::vector<Fate> find_fates(const SolidItems& solids, const GridItems& items,
                                    GeometryRayBatch& batch, RayQuery query) {
    std::vector<Fate> fates;
    GeometryRaytraceCtx& rays = batch.get_ctx();
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const double far = rays.get_tfar(ray);
        Fate fate = {false, far, GeometryIntersectionPath::no_item};
        for (unsigned position = 0; position < items.get_count(); ++position) {
            const double distance = solids.enter(rays.get_ray(ray), rays.get_tnear(ray), far,
                                                 position, is_motion(query));
            if (distance == SolidItems::miss)
                continue;
            fate.is_hit = true;
            const unsigned item = items.get_value(position);
            if (is_nearest(query) &&
                (distance < fate.distance || (distance == fate.distance && item < fate.item))) {
                fate.distance = distance;
                fate.item = item;
            }
        }
        fates.push_back(fate);
    }
    return fates;
}

} // namespace support
