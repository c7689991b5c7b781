// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_scene.h>

/// The spatial queries that are measured.
namespace gas_bench {

inline constexpr unsigned query_count = 1024;
/// Looking at every box or item takes long, so it is done for few queries.
inline constexpr unsigned brute_force_count = 4;

/// Leaves in boxes of that side, in scene sizes.
struct BoxQuestion {
    const char* name;
    float side;
};

inline constexpr BoxQuestion box_questions[] = {{"query/box_small", 0.01f},
                                                {"query/box_large", 0.2f}};

/// The number of nearest leaves, without a limit of distance.
struct NearestQuestion {
    const char* name;
    unsigned room;
};

inline constexpr NearestQuestion nearest_questions[] = {
    {"query/nearest_1", 1}, {"query/nearest_8", 8}, {"query/nearest_64", 64}};

/// Middles of random items, moved a little, because tools mostly query near items.
std::vector<GMathVec3<float>> make_query_points(const Scene& scene, unsigned count);

/// Boxes around such points.
std::vector<GMathBbox3<float>> make_query_boxes(const Scene& scene, const BoxQuestion& question,
                                                unsigned count);

} // namespace gas_bench
