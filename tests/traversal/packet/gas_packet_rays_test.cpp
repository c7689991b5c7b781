// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <vector>

#include <gas/traversal/packet/gas_packet_rays.h>

#include <tests/support/seeded_random.h>

// The ways to narrow a range of active rays, against each other: planes by the rays' signs,
// measured from each ray's origin or from the origin of all, and blocks left out by their bounds;
// and every packet by itself.

namespace {

using support::SeededRandom;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

/// Where a batch's rays go.
struct Beam {
    GMathVec3<float> eye;
    GMathVec3<float> direction;
};

/// Rays whose directions have the beam's signs.
Beam aim(GeometryRayBatch& batch, SeededRandom& random, unsigned first, unsigned last) {
    const auto choose = [&](float scale) { return random.between(-scale, scale); };
    const float spread = random.below(2) ? 0.02f : 0.5f;
    const bool from_one_eye = random.below(2) != 0;
    const GMathVec3<float> eye = {choose(3.0f), choose(3.0f), choose(3.0f)};
    GMathVec3<float> beam;
    for (unsigned axis = 0; axis < 3; ++axis)
        beam[axis] = random.between(0.51f, 1.0f) * (random.below(2) ? 1.0f : -1.0f);
    const float far = random.below(3) == 0 ? 6.0f : 1e30f;
    for (unsigned ray = first; ray <= last; ++ray) {
        GMathVec3<double> origin;
        GMathVec3<double> direction;
        for (unsigned axis = 0; axis < 3; ++axis) {
            origin[axis] = static_cast<double>(eye[axis] + (from_one_eye ? 0.0f : choose(0.1f)));
            direction[axis] = static_cast<double>(beam[axis] + choose(spread));
        }
        const float near = random.below(8) == 0 ? random.uniform() : 0.0f;
        batch.set_ray(ray, origin, direction, static_cast<double>(near),
                      static_cast<double>(far * random.uniform()));
    }
    return {eye, beam};
}

float spoil(SeededRandom& random, float coordinate) {
    switch (random.below(12)) {
    case 0:
        return not_a_number;
    case 1:
        return infinity;
    case 2:
        return -infinity;
    case 3:
        return -coordinate;
    default:
        return coordinate;
    }
}

struct Corners {
    SimdF min;
    SimdF max;
};

/// A box beside the beam or in it, in every eighth case with coordinates of no order.
Corners make_box(SeededRandom& random, const Beam& beam) {
    const bool is_spoilt = random.below(8) == 0;
    const float distance = random.between(-0.5f, 5.0f);
    const float reach = random.below(2) ? 0.1f : 1.0f;
    const float size = random.below(2) ? 0.1f : 2.0f;
    float min[3];
    float max[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        min[axis] =
            beam.eye[axis] + beam.direction[axis] * distance + random.between(-reach, reach);
        max[axis] = min[axis] + (random.below(10) == 0 ? 0.0f : random.uniform() * size);
        if (is_spoilt) {
            min[axis] = spoil(random, min[axis]);
            max[axis] = spoil(random, max[axis]);
        }
    }
    return {SimdF(min[0], min[1], min[2], 0.0f), SimdF(max[0], max[1], max[2], 0.0f)};
}

struct Range {
    bool is_hit;
    int first;
    int last;
};

template <typename Packets>
Range narrow(Packets& packets, const Corners& box, int first, int last, bool is_outside) {
    const bool is_hit =
        packets.narrow(box.min, box.max, first, last, [is_outside] { return is_outside; });
    return {is_hit, first, last};
}

/// Where no ray hits, the range does not matter.
bool is_same(const Range& a, const Range& b) {
    return a.is_hit == b.is_hit && (!a.is_hit || (a.first == b.first && a.last == b.last));
}

struct Totals {
    unsigned even_batches = 0;
    unsigned batches_of_one_origin = 0;
    unsigned hits = 0;
    unsigned narrowed = 0;
    unsigned misses = 0;
};

/// Narrows ranges within first..last by both ways.
void compare(GasPacketBatch& batch, const Beam& beam, SeededRandom& random, int first, int last,
             Totals& totals) {
    GasOctantPackets<false> octant(batch);
    GasOctantPackets<true> one_origin(batch);
    GasMixedPackets mixed(batch);
    for (unsigned i = 0; i < 40; ++i) {
        const Corners box = make_box(random, beam);
        const auto span = static_cast<unsigned>(last - first) + 1;
        const int from = random.below(2) ? first : first + static_cast<int>(random.below(span));
        const auto rest = static_cast<unsigned>(last - from) + 1;
        const int to = random.below(2) ? last : from + static_cast<int>(random.below(rest));
        const bool is_outside = random.below(4) == 0;
        const Range expected = narrow(mixed, box, from, to, is_outside);
        ASSERT_TRUE(is_same(narrow(octant, box, from, to, is_outside), expected));
        if (batch.has_one_origin()) {
            ASSERT_TRUE(is_same(narrow(one_origin, box, from, to, is_outside), expected));
        }
        if (!expected.is_hit) {
            ++totals.misses;
            continue;
        }
        ++totals.hits;
        totals.narrowed += expected.first > from || expected.last < to;
    }
}

} // namespace

TEST(PacketRays, BatchesInOneOctantNarrowAsAnyBatchDoes) {
    SeededRandom random(71);
    GasRaytraceFrame frame;
    Totals totals;
    for (unsigned i = 0; i < 3000; ++i) {
        const unsigned count = 1 + random.below(random.below(2) ? 70 : 300);
        GeometryRayBatch rays(count);
        const unsigned first = random.below(2) ? 0 : random.below(count);
        const unsigned last = random.below(2) ? count - 1 : first + random.below(count - first);
        const Beam beam = aim(rays, random, first, last);
        frame.data = rays.get_data();
        GasPacketBatch batch(frame, static_cast<int>(first), static_cast<int>(last));
        if (!batch.is_in_octant())
            continue; // lanes of former batches
        ++totals.even_batches;
        totals.batches_of_one_origin += batch.has_one_origin();
        compare(batch, beam, random, static_cast<int>(first), static_cast<int>(last), totals);
        // Distances that callbacks shorten or lengthen.
        const unsigned from = first + random.below(last - first + 1);
        const unsigned to = from + random.below(last - from + 1);
        for (unsigned ray = from; ray <= to; ++ray)
            rays.get_ctx().get_intersection_path(ray).set_hit_distance(
                static_cast<double>(random.below(30) ? 6.0f * random.uniform() : not_a_number));
        batch.read_hit_distances(static_cast<int>(from), static_cast<int>(to));
        compare(batch, beam, random, static_cast<int>(first), static_cast<int>(last), totals);
        if (HasFatalFailure())
            return;
    }
    std::printf(
        "%u batches in one octant: %u boxes hit, %u of them by a part of the range, %u missed\n",
        totals.even_batches, totals.hits, totals.narrowed, totals.misses);
    EXPECT_GT(totals.even_batches, 500u);
    EXPECT_GT(totals.batches_of_one_origin, 200u);
    EXPECT_GT(totals.narrowed, 1000u);
    EXPECT_GT(totals.misses, 1000u);
}

TEST(PacketRays, BatchesOfSeveralSignsAreInNoOctant) {
    GasRaytraceFrame frame;
    const auto is_in_octant = [&frame](const std::vector<GMathVec3<double>>& directions) {
        GeometryRayBatch rays(static_cast<unsigned>(directions.size()));
        for (unsigned ray = 0; ray < rays.get_ray_count(); ++ray)
            rays.set_ray(ray, {0.0, 0.0, 0.0}, directions[ray], 0.0, 1.0);
        frame.data = rays.get_data();
        return GasPacketBatch(frame, 0, static_cast<int>(directions.size()) - 1).is_in_octant();
    };
    std::vector<GMathVec3<double>> directions(8, {1.0, -2.0, 3.0});
    EXPECT_TRUE(is_in_octant(directions));
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const double component : {0.0, -directions[6][axis]}) {
            std::vector<GMathVec3<double>> changed = directions;
            changed[6][axis] = component;
            EXPECT_FALSE(is_in_octant(changed)) << axis << ", " << component;
        }
    }
    EXPECT_TRUE(is_in_octant({{1.0, 1.0, 1.0}, {2.0, 1.0, 1.0}, {3.0, 1.0, 1.0}, {4.0, 1.0, 1.0}}));
    // Lanes that nobody has filled since are those of a former batch.
    EXPECT_TRUE(is_in_octant({{1.0, 1.0, 1.0}, {2.0, 1.0, 1.0}}));
    EXPECT_FALSE(is_in_octant({{-1.0, 1.0, 1.0}, {-2.0, 1.0, 1.0}}));
}

TEST(PacketRays, BatchesHaveOneOriginWhereAllLanesDo) {
    GasRaytraceFrame frame;
    const auto has_one_origin = [&frame](const std::vector<GMathVec3<double>>& origins) {
        GeometryRayBatch rays(static_cast<unsigned>(origins.size()));
        for (unsigned ray = 0; ray < rays.get_ray_count(); ++ray)
            rays.set_ray(ray, origins[ray], {1.0, -2.0, 3.0}, 0.0, 1.0);
        frame.data = rays.get_data();
        return GasPacketBatch(frame, 0, static_cast<int>(origins.size()) - 1).has_one_origin();
    };
    std::vector<GMathVec3<double>> origins(8, {4.0, 0.0, -5.0});
    EXPECT_TRUE(has_one_origin(origins));
    for (unsigned ray = 0; ray < 8; ++ray) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            std::vector<GMathVec3<double>> changed = origins;
            changed[ray][axis] += 0.5;
            EXPECT_FALSE(has_one_origin(changed)) << ray << ", " << axis;
        }
    }
    // Zeros of both signs are one place, and what no float tells apart is, too.
    origins[3].y = -0.0;
    origins[5].x = 4.0 + 1e-12;
    EXPECT_TRUE(has_one_origin(origins));
    // Lanes that nobody has filled since are those of a former batch.
    EXPECT_TRUE(has_one_origin({{4.0, 0.0, -5.0}, {4.0, 0.0, -5.0}}));
    EXPECT_FALSE(has_one_origin({{1.0, 0.0, 0.0}, {1.0, 0.0, 0.0}}));
}

TEST(PacketRays, AnOriginOfAllRaysIsMeasuredFrom) {
    // From (1, 2, 3) towards (1, 1, 1): rays 0 to 3 reach 1, 2, 3 and 4 far.
    GeometryRayBatch rays(4);
    for (unsigned ray = 0; ray < 4; ++ray)
        rays.set_ray(ray, {1.0, 2.0, 3.0}, {1.0, 1.0, 1.0}, 0.0, 1.0 + ray);
    GasRaytraceFrame frame;
    frame.data = rays.get_data();
    GasPacketBatch batch(frame, 0, 3);
    ASSERT_TRUE(batch.is_in_octant() && batch.has_one_origin());
    const auto get_mask = [&](const SimdF& min, const SimdF& max) {
        GasOctantBox<true> box;
        box.init(min, max, batch.get_signs(), batch.get_origin());
        return box.test(*batch.get_packets());
    };
    // Entered at 3, where x is 4, y is 5 and z is 6.
    const SimdF max(9.0f, 9.0f, 9.0f, 0.0f);
    EXPECT_EQ(get_mask(SimdF(4.0f, 2.0f, 3.0f, 0.0f), max), 12);
    EXPECT_EQ(get_mask(SimdF(1.0f, 5.0f, 3.0f, 0.0f), max), 12);
    EXPECT_EQ(get_mask(SimdF(1.0f, 2.0f, 6.0f, 0.0f), max), 12);
    // Behind, and around the origin.
    EXPECT_EQ(get_mask(SimdF(0.0f, 0.0f, 0.0f, 0.0f), SimdF(2.0f, 2.5f, 2.5f, 0.0f)), 0);
    EXPECT_EQ(get_mask(SimdF(0.0f, 0.0f, 0.0f, 0.0f), max), 15);
}

TEST(PacketRays, DistancesReadAgainBoundTheirBlocks) {
    // Forty rays along (1, 1, 1) in three blocks; the box begins 2 far.
    constexpr unsigned count = 40;
    GeometryRayBatch rays(count);
    for (unsigned ray = 0; ray < count; ++ray)
        rays.set_ray(ray, {0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}, 0.0, 9.0);
    GasRaytraceFrame frame;
    frame.data = rays.get_data();
    GasPacketBatch batch(frame, 0, static_cast<int>(count) - 1);
    GasOctantPackets<true> packets(batch);
    const Corners box = {SimdF(2.0f, 2.0f, 2.0f, 0.0f), SimdF(3.0f, 3.0f, 3.0f, 0.0f)};
    const auto set_distances = [&](int first, int last, double distance) {
        for (int ray = first; ray <= last; ++ray)
            rays.get_ctx()
                .get_intersection_path(static_cast<unsigned>(ray))
                .set_hit_distance(distance);
        batch.read_hit_distances(first, last);
    };
    const auto expect = [&](int first, int last) {
        const Range range = narrow(packets, box, 0, static_cast<int>(count) - 1, false);
        EXPECT_TRUE(range.is_hit);
        EXPECT_EQ(range.first, first);
        EXPECT_EQ(range.last, last);
    };
    expect(0, 39);
    set_distances(0, 16, 1.0);
    expect(17, 39);
    set_distances(30, 39, 1.0);
    expect(17, 29);
    set_distances(17, 24, 1.0);
    expect(25, 29);
    // A callback may move a distance away again, also of one ray in a block that nothing reached.
    set_distances(6, 6, 5.0);
    expect(6, 29);
    set_distances(38, 38, 5.0);
    expect(6, 38);
}
