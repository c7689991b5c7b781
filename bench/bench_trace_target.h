// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <bench/bench_part_trees.h>
#include <bench/bench_ray_group.h>

namespace gas_bench {

/// The user data of the leaf callbacks.
struct TraceTarget {
    const Triangle* triangles;
    const Triangle* later_triangles;
    const Ray* rays;
    /// The same rays in fours; for static queries of several rays at once.
    const RayGroup* groups;
    /// Whether a hit of an all-hits query sets the hit flag; otherwise it is counted for its ray.
    bool stops_at_hit;
    std::uint32_t* hit_counts;
    /// Intersections tried by the nearest-hit callback.
    std::uint64_t test_count;

    template <bool in_motion> bool meets(unsigned item, unsigned ray, float& distance) const;
};

/// The rays in fours; the last ray fills the rest of the last four.
std::vector<RayGroup> make_ray_groups(const std::vector<Ray>& rays);

/// Callbacks that intersect the target's triangles. The target outlives their use.
LeafCallbacks get_leaf_callbacks(TraceTarget& target);
/// Callbacks that do nothing, so that nothing is hit.
LeafCallbacks get_empty_callbacks();

} // namespace gas_bench
