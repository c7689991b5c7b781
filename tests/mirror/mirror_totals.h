// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

namespace support {

/// What mirrors compared.
struct MirrorTotals {
    unsigned rays = 0;
    unsigned nested_rays = 0;
    std::size_t leaf_calls = 0;
    naive::PacketCounts packets;

    void add_rays(const BatchSpec& batch) {
        rays += static_cast<unsigned>(batch.last_ray - batch.first_ray + 1);
    }
    /// Everything but the rays.
    void add(const Mirror& mirror) {
        nested_rays += mirror.get_nested_ray_count();
        leaf_calls += mirror.get_leaf_call_count();
        packets.nodes += mirror.get_packet_counts().nodes;
        packets.culled_by_frustum += mirror.get_packet_counts().culled_by_frustum;
    }
    void print() const {
        std::printf("%u rays and %u nested ones, %zu leaf calls, %u nodes met by packets, %u of "
                    "them dropped by a frustum\n",
                    rays, nested_rays, leaf_calls, packets.nodes, packets.culled_by_frustum);
    }
    /// Whether batches did enough to mean something.
    void expect_enough() const {
        EXPECT_GT(rays, 20000u);
        EXPECT_GT(nested_rays, 1000u);
        EXPECT_GT(packets.culled_by_frustum, 100u);
        EXPECT_GT(leaf_calls, 10000u);
    }
};

/// Calls `compare(kind, split, count)` for scenes of every kind, by every build method and with
/// these counts of items, until one fails.
template <typename Compare>
void for_each_build(const std::vector<unsigned>& counts, const Compare& compare) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : all_splits) {
            for (const unsigned count : counts) {
                compare(kind, split, count);
                if (testing::Test::HasFatalFailure())
                    return;
            }
        }
    }
}

} // namespace support
