#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <vector>

#include <gas/traversal/packet/gas_packet_rays.h>

#include <tests/support/seeded_random.h>

// The two ways to narrow a range of active rays, against each other: planes by the rays' signs and
// blocks left out by their bounds, and every packet by itself.

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

struct Totals {
    unsigned even_batches = 0;
    unsigned hits = 0;
    unsigned narrowed = 0;
    unsigned misses = 0;
};

/// Narrows ranges within first..last by both ways.
void compare(GasPacketBatch& batch, const Beam& beam, SeededRandom& random, int first, int last,
             Totals& totals) {
    GasOctantPackets octant(batch);
    GasMixedPackets mixed(batch);
    for (unsigned i = 0; i < 40; ++i) {
        const Corners box = make_box(random, beam);
        const auto span = static_cast<unsigned>(last - first) + 1;
        const int from = random.below(2) ? first : first + static_cast<int>(random.below(span));
        const auto rest = static_cast<unsigned>(last - from) + 1;
        const int to = random.below(2) ? last : from + static_cast<int>(random.below(rest));
        const bool is_outside = random.below(4) == 0;
        const Range expected = narrow(mixed, box, from, to, is_outside);
        const Range found = narrow(octant, box, from, to, is_outside);
        ASSERT_EQ(found.is_hit, expected.is_hit);
        if (!expected.is_hit) {
            ++totals.misses;
            continue;
        }
        ASSERT_EQ(found.first, expected.first);
        ASSERT_EQ(found.last, expected.last);
        ++totals.hits;
        totals.narrowed += found.first > from || found.last < to;
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
