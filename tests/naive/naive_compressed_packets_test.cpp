#include <gtest/gtest.h>

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_expansion.h>
#include <tests/naive/naive_rays.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Batch;
using naive::Box;
using naive::build_compressed;
using naive::CompressedTree;
using naive::PacketBuffer;
using naive::PacketCounts;
using naive::Split;

struct Call {
    unsigned item;
    int first;
    int last;

    bool operator==(const Call&) const = default;
};
using Calls = std::vector<Call>;

/// Rays along +x, one per given y.
Batch rays_at(const std::vector<double>& heights) {
    Batch batch;
    for (const double y : heights) {
        batch.rays.push_back(naive::make_ray({-1, y, 0.5}, {1, 0, 0}));
    }
    batch.last = static_cast<int>(heights.size()) - 1;
    return batch;
}

Calls trace(const CompressedTree& tree, Batch batch) {
    PacketBuffer buffer;
    Calls calls;
    naive::ray_hit_nearest_batch(tree, buffer, batch, [&](unsigned item, int first, int last) {
        calls.push_back({item, first, last});
    });
    return calls;
}

/// `count` unit boxes from y = 0 upwards, one above the other and 10 apart.
std::vector<Box> tower(unsigned count) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float y = 10.0f * static_cast<float>(i);
        boxes.push_back({{0, y, 0}, {1, y + 1.0f, 1}});
    }
    return boxes;
}

TEST(NaiveCompressedPackets, NoneAndOneItem) {
    const Batch misses = rays_at({50, 60, 70});
    EXPECT_EQ(trace(CompressedTree(), misses), Calls());
    EXPECT_EQ(trace(build_compressed(tower(1), Split::sah), misses), (Calls{{0, 0, 2}}));
    EXPECT_EQ(trace(build_compressed(tower(1), Split::sah, {42}), misses), (Calls{{42, 0, 2}}));
}

TEST(NaiveCompressedPackets, LeavesAreCalledOnceForTheirRange) {
    // Rays 3 to 9 meet the second box, the others pass above everything.
    std::vector<double> heights(12, 90.0);
    for (unsigned i = 3; i <= 9; ++i) {
        heights[i] = 10.5;
    }
    // Two levels go ray by ray, four in packets.
    for (const unsigned count : {2u, 8u}) {
        const CompressedTree tree = build_compressed(tower(count), Split::median);
        ASSERT_EQ(tree.depth, count == 2 ? 2u : 4u);
        EXPECT_EQ(trace(tree, rays_at(heights)), (Calls{{1, 3, 9}}));
    }
}

TEST(NaiveCompressedPackets, ABatchThatMissesTheRootEndsThere) {
    const CompressedTree tree = build_compressed(tower(8), Split::median);
    Batch batch = rays_at({90, 91, 92, 93, 94});
    PacketBuffer buffer;
    const PacketCounts counts = naive::ray_hit_nearest_batch(
        tree, buffer, batch, [](unsigned, int, int) { FAIL() << "a leaf was called"; });
    EXPECT_EQ(counts.nodes, 1u);
}

TEST(NaiveCompressedPackets, ChildrenFollowTheOrderBitsAndTheFirstRay) {
    const CompressedTree tree = build_compressed(tower(2), Split::sah);
    for (const double sign : {1.0, -1.0}) {
        Batch batch;
        for (unsigned i = 0; i < 3; ++i) {
            batch.rays.push_back(naive::make_ray({0.5, 5.0 - 20.0 * sign, 0.5}, {0, sign, 0}));
        }
        batch.last = 2;
        EXPECT_EQ(trace(tree, batch),
                  sign > 0.0 ? (Calls{{0, 0, 2}, {1, 0, 2}}) : (Calls{{1, 0, 2}, {0, 0, 2}}));
    }
}

/// Lets every third item shorten the rays it is asked about.
PacketCounts trace_with_hits(const auto& tree, PacketBuffer& buffer, Batch& batch, Calls& calls) {
    return naive::ray_hit_nearest_batch(
        tree, buffer, batch, [&](unsigned item, int first, int last) {
            calls.push_back({item, first, last});
            for (int i = first; item % 3 == 0 && i <= last; ++i) {
                naive::Ray& ray = batch.rays[static_cast<std::size_t>(i)];
                naive::shorten(ray, ray.hit_distance * 0.5);
            }
        });
}

TEST(NaiveCompressedPackets, WalkAsAPlainTreeOverTheDecodedBoxes) {
    support::SeededRandom random(8);
    std::size_t calls_in_all = 0;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 3u, 5u, 40u, 150u}) {
            const std::vector<Box> boxes = scenes::make(kind, count, count);
            const CompressedTree tree = build_compressed(boxes, Split::sah_fast);
            const naive::Tree plain = naive::expand(tree);
            const naive::Frustum frustum = {{{1, 0, 0}, 5.0}, {{0, 1, 0}, 5.0}};
            PacketBuffer buffers[2];
            for (unsigned round = 0; round < 20; ++round) {
                Batch batch;
                const Box& target = boxes[random.below(count)];
                const unsigned ray_count = 2 + random.below(20);
                for (unsigned i = 0; i < ray_count; ++i) {
                    double origin[3];
                    double direction[3];
                    for (unsigned axis = 0; axis < 3; ++axis) {
                        const double aim = static_cast<double>(target.max[axis]);
                        origin[axis] = static_cast<double>(random.between(-30.0f, 30.0f));
                        direction[axis] = aim - origin[axis];
                    }
                    batch.rays.push_back(naive::make_ray(origin, direction));
                }
                batch.last = static_cast<int>(ray_count) - 1;
                batch.frustum = round % 2 == 0 ? nullptr : &frustum;
                Batch same = batch;
                Calls calls[2];
                const PacketCounts counts[2] = {trace_with_hits(tree, buffers[0], batch, calls[0]),
                                                trace_with_hits(plain, buffers[1], same, calls[1])};
                EXPECT_EQ(calls[0], calls[1]);
                EXPECT_EQ(counts[0].nodes, counts[1].nodes);
                EXPECT_EQ(counts[0].culled_by_frustum, counts[1].culled_by_frustum);
                calls_in_all += calls[0].size();
            }
        }
    }
    EXPECT_GT(calls_in_all, 3000u);
}

} // namespace
