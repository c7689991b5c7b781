// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <functional>
#include <limits>
#include <ostream>
#include <vector>

#include <gas/host/host.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/naive/naive_tree.h>

/// Closest items: through trees, and by asking for every item.
namespace support {

using ClosestPoint = GMathVec3<double>;
/// The distance of an item from a point; the last argument is the bound.
using ItemDistance = std::function<double(unsigned, const ClosestPoint&, double)>;

struct ClosestItem {
    bool is_found = false;
    unsigned item = 0;
    double distance = 0.0;

    bool operator==(const ClosestItem& other) const {
        return is_found == other.is_found && item == other.item && distance == other.distance;
    }
};

inline std::ostream& operator<<(std::ostream& out, const ClosestItem& closest) {
    if (!closest.is_found)
        return out << "none";
    return out << "item " << closest.item << " at " << closest.distance;
}

/// What a query's callback is called for; `items` are those that it was asked about.
struct AskedItems {
    const ItemDistance& get_distance;
    std::vector<unsigned> items;

    static double ask(void* user, const unsigned& item, const ClosestPoint& point,
                      const double& bound) {
        AskedItems& asked = *static_cast<AskedItems*>(user);
        asked.items.push_back(item);
        return asked.get_distance(item, point, bound);
    }
};

template <typename Tree>
ClosestItem find_closest(const Tree& tree, GasTreeCtx& ctx, const ClosestPoint& point,
                         double max_distance, AskedItems& asked) {
    ClosestItem closest;
    closest.is_found = tree.get_closest_item(ctx, point, max_distance, AskedItems::ask, &asked,
                                             closest.item, closest.distance);
    return closest;
}

template <typename Tree>
ClosestItem find_closest(const Tree& tree, GasTreeCtx& ctx, const ClosestPoint& point,
                         double max_distance, const ItemDistance& get_distance) {
    AskedItems asked = {get_distance, {}};
    return find_closest(tree, ctx, point, max_distance, asked);
}

/// A loop over all items, in order: the first of those with the least distance.
inline ClosestItem search_closest(unsigned item_count, const ClosestPoint& point,
                                  double max_distance, const ItemDistance& get_distance) {
    ClosestItem closest;
    for (unsigned item = 0; item < item_count; ++item) {
        const double distance = get_distance(item, point, max_distance);
        if (!(distance <= max_distance) || std::isinf(distance))
            continue;
        if (!closest.is_found || distance < closest.distance)
            closest = {true, item, distance};
    }
    return closest;
}

/// From the point to the nearest point of a box.
inline double get_box_distance(const naive::Box& box, const ClosestPoint& point) {
    double sum = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double below = static_cast<double>(box.min[axis]) - point[axis];
        const double above = point[axis] - static_cast<double>(box.max[axis]);
        const double outside = std::fmax(0.0, std::fmax(below, above));
        sum += outside * outside;
    }
    return std::sqrt(sum);
}

} // namespace support
