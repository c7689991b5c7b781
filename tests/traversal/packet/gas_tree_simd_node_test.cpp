// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include <gas/traversal/packet/gas_tree_simd_node.h>

#include <tests/naive/naive_packets.h>
#include <tests/support/seeded_random.h>

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
const float not_a_number = std::numeric_limits<float>::quiet_NaN();

static_assert(sizeof(GasSimdRays) == 128 && alignof(GasSimdRays) == 16);
static_assert(sizeof(GasTreeSimdNode) == 96 && alignof(GasTreeSimdNode) == 16);
static_assert(std::is_trivially_copyable_v<GasTreeSimdNode>);

int moved_first(int first, int mask) {
    GasTreeSimdNode::update_first_index(first, mask);
    return first;
}
int moved_last(int last, int mask) {
    GasTreeSimdNode::update_last_index(last, mask);
    return last;
}

GasTreeSimdNode make_node(const naive::Box& box) {
    GasTreeSimdNode node;
    node.init(SimdF(box.min[0], box.min[1], box.min[2], 7.0f),
              SimdF(box.max[0], box.max[1], box.max[2], -7.0f));
    return node;
}

SimdF to_lanes(const float (&values)[4]) {
    return SimdF(values[0], values[1], values[2], values[3]);
}

GasSimdRays to_simd(const naive::Packet& packet) {
    return {to_lanes(packet.origin[0]),     to_lanes(packet.origin[1]),
            to_lanes(packet.origin[2]),     to_lanes(packet.inverse[0]),
            to_lanes(packet.inverse[1]),    to_lanes(packet.inverse[2]),
            to_lanes(packet.near_distance), to_lanes(packet.far_distance)};
}

/// Packets of rays along +x at y = z = 0.5 from x = 0, from distance 0 on; bit i of `hits`: ray i
/// goes as far as 10, else nowhere.
std::vector<GasSimdRays> make_row(unsigned packet_count, std::uint64_t hits) {
    std::vector<GasSimdRays> packets;
    for (unsigned k = 0; k < packet_count; ++k) {
        naive::Packet packet;
        for (unsigned lane = 0; lane < 4; ++lane) {
            packet.origin[1][lane] = packet.origin[2][lane] = 0.5f;
            packet.inverse[0][lane] = 1.0f;
            packet.inverse[1][lane] = packet.inverse[2][lane] = infinity;
            packet.far_distance[lane] = (hits >> (4 * k + lane) & 1) ? 10.0f : -1.0f;
        }
        packets.push_back(to_simd(packet));
    }
    return packets;
}

const naive::Box ahead = {{5.0f, 0.0f, 0.0f}, {6.0f, 1.0f, 1.0f}};

struct Ends {
    int first;
    int last;
    bool operator==(const Ends&) const = default;
};

Ends move_ends(std::uint64_t hits, int first, int last) {
    const std::vector<GasSimdRays> packets = make_row(5, hits);
    const GasTreeSimdNode node = make_node(ahead);
    SimdF tmin;
    SimdF tmax;
    Ends ends = {first, last};
    node.update_first_ray(packets.data(), ends.first, last, tmin, tmax);
    node.update_last_ray(packets.data(), first, ends.last, tmin, tmax);
    return ends;
}

} // namespace

TEST(GasTreeSimdNode, TablesTurnMasksIntoLanesAndBack) {
    const int to_first[16] = {4, 0, 1, 0, 2, 0, 1, 0, 3, 0, 1, 0, 2, 0, 1, 0};
    const int to_last[16] = {-1, 0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3};
    for (unsigned mask = 0; mask < 16; ++mask) {
        EXPECT_EQ(GasTreeSimdNode::s_mask_to_first_index[mask], to_first[mask]) << mask;
        EXPECT_EQ(GasTreeSimdNode::s_mask_to_last_index[mask], to_last[mask]) << mask;
    }
    const int from_first[4] = {15, 14, 12, 8};
    const int from_last[4] = {1, 3, 7, 15};
    for (unsigned lane = 0; lane < 4; ++lane) {
        EXPECT_EQ(GasTreeSimdNode::s_first_index_to_mask[lane], from_first[lane]);
        EXPECT_EQ(GasTreeSimdNode::s_last_index_to_mask[lane], from_last[lane]);
    }
}

TEST(GasTreeSimdNode, AFirstIndexMovesToTheNextHitLaneOrPacket) {
    EXPECT_EQ(moved_first(5, 0b0010), 5);
    EXPECT_EQ(moved_first(5, 0b0001), 8);
    EXPECT_EQ(moved_first(5, 0b1001), 7);
    EXPECT_EQ(moved_first(4, 0b0001), 4);
    EXPECT_EQ(moved_first(0, 0), 4);
    for (int first = 0; first < 12; ++first) {
        for (unsigned mask = 0; mask < 16; ++mask)
            EXPECT_EQ(moved_first(first, static_cast<int>(mask)), naive::move_first(first, mask));
    }
}

TEST(GasTreeSimdNode, ALastIndexMovesToThePreviousHitLaneOrPacket) {
    EXPECT_EQ(moved_last(6, 0), 3);
    EXPECT_EQ(moved_last(6, 0b1000), 3);
    EXPECT_EQ(moved_last(6, 0b0101), 6);
    EXPECT_EQ(moved_last(6, 0b0011), 5);
    EXPECT_EQ(moved_last(2, 0b1000), -1);
    for (int last = 0; last < 12; ++last) {
        for (unsigned mask = 0; mask < 16; ++mask)
            EXPECT_EQ(moved_last(last, static_cast<int>(mask)), naive::move_last(last, mask));
    }
}

TEST(GasTreeSimdNode, InitSpreadsTheCornersAndCopiesKeepThem) {
    const GasTreeSimdNode made = make_node({{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}});
    const GasTreeSimdNode copied(made);
    GasTreeSimdNode assigned;
    assigned = copied;
    const SimdF corners[] = {assigned.min_x, assigned.min_y, assigned.min_z,
                             assigned.max_x, assigned.max_y, assigned.max_z};
    for (unsigned i = 0; i < 6; ++i) {
        for (unsigned lane = 0; lane < 4; ++lane)
            EXPECT_EQ(corners[i].get(lane), static_cast<float>(i + 1));
    }
}

TEST(GasTreeSimdNode, ABoxIsTestedAgainstThePacketOfTheRay) {
    const std::vector<GasSimdRays> packets = make_row(2, 0b10110000);
    const GasTreeSimdNode node = make_node(ahead);
    SimdF tmin;
    SimdF tmax;
    for (unsigned ray = 0; ray < 4; ++ray)
        EXPECT_EQ(node.intersect_rays(packets.data(), ray, tmin, tmax), 0);
    for (unsigned ray = 4; ray < 8; ++ray)
        EXPECT_EQ(node.intersect_rays(packets.data(), ray, tmin, tmax), 0b1011);
    for (const unsigned lane : {0u, 1u, 3u}) {
        EXPECT_EQ(tmin.get(lane), 5.0f);
        EXPECT_EQ(tmax.get(lane), 6.0f);
    }
    EXPECT_EQ(tmin.get(2), 5.0f);
    EXPECT_EQ(tmax.get(2), -1.0f);
}

TEST(GasTreeSimdNode, TheFirstRayStopsBehindAPacketWhoseHitsLieBelowIt) {
    EXPECT_EQ(move_ends(0b0100'0000'0000, 1, 18).first, 10);
    // The only hit of packet 1 is ray 4: ray 6 moves to packet 2 and stops there, hit or not.
    EXPECT_EQ(move_ends(0b0001'0000, 6, 18).first, 8);
    EXPECT_EQ(move_ends(0b1000'0000'0000'0001'0000, 6, 18).first, 8);
    // A packet without any hit is passed over.
    EXPECT_EQ(move_ends(0b1000'0000'0000'0001'0000, 8, 19).first, 19);
    // Nothing up to the last ray; hits beyond it do not count once it is passed.
    EXPECT_EQ(move_ends(0, 3, 9).first, 12);
    EXPECT_EQ(move_ends(0b1000'0000'0000'0000'0000, 3, 9).first, 12);
    // In the last ray's own packet they do.
    EXPECT_EQ(move_ends(0b1000'0000'0000, 3, 9).first, 11);
    // A range that is empty already stays.
    EXPECT_EQ(move_ends(0b1111, 3, 2), (Ends{3, 2}));
}

TEST(GasTreeSimdNode, TheLastRayStopsBelowAPacketWhoseHitsLieAboveIt) {
    EXPECT_EQ(move_ends(0b0100'0000, 1, 18).last, 6);
    EXPECT_EQ(move_ends(0b1000'0000'0000, 0, 9).last, 7);
    EXPECT_EQ(move_ends(0b1000'0000'0001, 0, 9).last, 7);
    EXPECT_EQ(move_ends(0b0001, 0, 9).last, 0);
    EXPECT_EQ(move_ends(0, 3, 9).last, -1);
    EXPECT_EQ(move_ends(0, 5, 9).last, 3);
    EXPECT_EQ(move_ends(0b0001'0000, 5, 9).last, 4);
}

TEST(GasTreeSimdNode, LanesWithoutNumbersFollowTheRuleOfTheSlabTest) {
    const GasTreeSimdNode node = make_node(ahead);
    naive::Packet packet;
    for (unsigned lane = 0; lane < 4; ++lane) {
        packet.inverse[0][lane] = 1.0f;
        packet.inverse[1][lane] = packet.inverse[2][lane] = infinity;
        packet.far_distance[lane] = 10.0f;
    }
    packet.origin[1][1] = 1.0f; // in the other face
    packet.origin[1][2] = 1.5f; // beside the box
    packet.near_distance[3] = not_a_number;
    const GasSimdRays rays = to_simd(packet);
    SimdF tmin;
    SimdF tmax;
    // Rays 0 and 1 run in faces: their infinite inverse gives 0 x infinity, which culls nothing.
    EXPECT_EQ(node.intersect_rays(&rays, 0, tmin, tmax), 0b0011);

    // A far distance without a number hits nothing, a box without numbers everything.
    packet.far_distance[0] = not_a_number;
    const GasSimdRays endless = to_simd(packet);
    EXPECT_EQ(node.intersect_rays(&endless, 0, tmin, tmax), 0b0010);
    const GasTreeSimdNode nowhere = make_node(
        {{not_a_number, not_a_number, not_a_number}, {not_a_number, not_a_number, not_a_number}});
    EXPECT_EQ(nowhere.intersect_rays(&endless, 0, tmin, tmax), 0b0110);
    // Packets of zeros, as a buffer starts, hit everything.
    const GasSimdRays zeros = to_simd(naive::Packet());
    EXPECT_EQ(node.intersect_rays(&zeros, 0, tmin, tmax), 0b1111);
}

TEST(GasTreeSimdNode, MasksAreThoseOfFourScalarTests) {
    support::SeededRandom random(11);
    const auto number = [&]() -> float {
        constexpr float special[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, infinity, 1e38f, 1e-40f};
        switch (random.below(8)) {
        case 0:
            return special[random.below(8)];
        case 1:
            return random.below(8) == 0 ? not_a_number : -infinity;
        default:
            return random.between(-4.0f, 4.0f);
        }
    };
    unsigned hit_counts[16] = {};
    for (unsigned i = 0; i < 200000; ++i) {
        naive::Box box;
        naive::Packet packet;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = number();
            box.max[axis] = random.below(2) ? number() : box.min[axis] + random.uniform();
        }
        for (unsigned lane = 0; lane < 4; ++lane) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                packet.origin[axis][lane] = random.below(4) == 0 ? box.min[axis] : number();
                packet.inverse[axis][lane] = random.below(4) == 0 ? infinity : number();
            }
            packet.near_distance[lane] = random.below(2) ? 0.0f : number();
            packet.far_distance[lane] = random.below(2) ? 1000.0f : number();
        }
        const GasSimdRays rays = to_simd(packet);
        SimdF tmin;
        SimdF tmax;
        const unsigned mask = static_cast<unsigned>(
            make_node(box).intersect_rays(&rays, random.below(4), tmin, tmax));
        ASSERT_EQ(mask, naive::hit_lanes(packet, box)) << i;
        ++hit_counts[mask];
    }
    for (const unsigned count : hit_counts)
        EXPECT_GT(count, 0u);
}
