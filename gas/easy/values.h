// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

// <windows.h> defines both.
#pragma push_macro("near")
#pragma push_macro("far")
#undef near
#undef far

namespace gas {
inline namespace gas_abi1 {

constexpr double infinity = std::numeric_limits<double>::infinity();
/// What an intersection function answers for a ray that misses the item.
constexpr double miss = infinity;
/// In place of an item: none.
constexpr std::uint32_t no_item = 0xFFFFFFFFu;

/// A point or a direction.
struct Vector {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

/// An axis-aligned box (AABB). Trees take finite ones whose min is not above their max.
struct Box {
    Vector min;
    Vector max;
};

/// Distances along a ray are in units of its direction's length, which is not 0.
struct Ray {
    Vector origin;
    Vector direction;
    /// Hits count from here, included.
    double near = 0.0;
    /// Hits count up to here, excluded. In a function that a query for the closest hit calls, the
    /// distance of the closest hit so far.
    double far = infinity;
    /// Between the first motion sample (0) and the last (1); others are clamped. A tree without
    /// motion ignores it.
    double time = 0.0;

    /// Whether a hit at this distance counts. False for a NaN.
    bool holds(double distance) const { return distance >= near && distance < far; }
};

/// The closest hit of a ray; false where there is none.
struct Hit {
    double distance = miss;
    std::uint32_t item = no_item;

    explicit operator bool() const { return item != no_item; }
};

/// An item of a tree of which a scene holds instances.
struct Place {
    std::uint32_t item;
    /// The way to the item, `depth` numbers, valid during the call: the instance's number in the
    /// scene that was asked, then the one in the scene that this is an instance of, and so on.
    const std::uint32_t* instances;
    std::size_t depth;
};

/// An item near a point; false where there is none.
struct NearItem {
    double distance = infinity;
    std::uint32_t item = no_item;

    explicit operator bool() const { return item != no_item; }
};

} // namespace gas_abi1
} // namespace gas

#pragma pop_macro("far")
#pragma pop_macro("near")
