// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <tests/host/lane_values.h>
#include <tests/support/seeded_random.h>

// The lanes in use and the portable back end against plain loops, as bits.

namespace {

namespace scalar = gas_simd_scalar;

using Integers = std::array<int, 4>;
using lanes::Bits;
using lanes::to_bits;

SimdI to_lanes(const Integers& values) { return {values[0], values[1], values[2], values[3]}; }
scalar::IntegerLanes to_scalar(const Integers& values) {
    return scalar::set_integers(values[0], values[1], values[2], values[3]);
}

Integers get(const SimdI& lanes) {
    Integers values;
    lanes.store(values.data());
    return values;
}
Integers get(const scalar::IntegerLanes& lanes) {
    Integers values;
    scalar::store_integers(values.data(), lanes);
    return values;
}

template <typename Operation> Integers for_each_lane(const Operation& operation) {
    Integers values;
    for (unsigned lane = 0; lane < 4; ++lane)
        values[lane] = operation(lane);
    return values;
}

const std::vector<int>& get_values() {
    static const std::vector<int> values = [] {
        std::vector<int> list = {0,
                                 1,
                                 -1,
                                 2,
                                 4,
                                 7,
                                 8,
                                 16,
                                 32,
                                 63,
                                 127,
                                 128,
                                 255,
                                 256,
                                 -128,
                                 65535,
                                 16777215,
                                 16777217,
                                 33554434,
                                 -16777219,
                                 std::numeric_limits<int>::max(),
                                 std::numeric_limits<int>::min(),
                                 std::numeric_limits<int>::max() - 64};
        support::SeededRandom random(20250102);
        for (unsigned i = 0; i < 20; ++i)
            list.push_back(static_cast<int>(random.next()));
        return list;
    }();
    return values;
}

template <typename Check> void for_all_pairs(const Check& check) {
    lanes::for_all_pairs(get_values(), 7, check);
}

} // namespace

TEST(SimdI, ConstructionAndStoreKeepTheLanesInOrder) {
    EXPECT_EQ(get(SimdI(1, -2, 3, std::numeric_limits<int>::min())),
              (Integers{1, -2, 3, std::numeric_limits<int>::min()}));
    for_all_pairs([](const Integers& a, const Integers&) {
        ASSERT_EQ(get(to_lanes(a)), a);
        ASSERT_EQ(get(to_scalar(a)), a);
        int shifted[5] = {}; // anywhere
        to_lanes(a).store(shifted + 1);
        ASSERT_EQ(std::memcmp(shifted + 1, a.data(), sizeof a), 0);
    });
}

TEST(SimdI, BytesAreWidenedWithoutASign) {
    support::SeededRandom random(9);
    for (unsigned i = 0; i < 2000; ++i) {
        unsigned char bytes[10] = {};
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(i < 256 ? i : random.below(256));
        for (unsigned offset = 0; offset < 3; ++offset) { // anywhere
            SimdI first;
            SimdI last;
            SimdI::load_bytes(bytes + offset, first, last);
            scalar::IntegerLanes scalar_first;
            scalar::IntegerLanes scalar_last;
            scalar::load_bytes(bytes + offset, scalar_first, scalar_last);
            const auto from = [&](unsigned start) {
                return for_each_lane(
                    [&](unsigned lane) { return int{bytes[offset + start + lane]}; });
            };
            ASSERT_EQ(get(first), from(0));
            ASSERT_EQ(get(last), from(4));
            ASSERT_EQ(get(scalar_first), from(0));
            ASSERT_EQ(get(scalar_last), from(4));
        }
    }
}

TEST(SimdI, AndKeepsTheCommonBits) {
    for_all_pairs([](const Integers& a, const Integers& b) {
        const Integers expected = for_each_lane([&](unsigned lane) { return a[lane] & b[lane]; });
        ASSERT_EQ(get(to_lanes(a) & to_lanes(b)), expected);
        ASSERT_EQ(get(scalar::bit_and_integers(to_scalar(a), to_scalar(b))), expected);
    });
}

TEST(SimdI, EqualLanesGiveAMaskOfAllBits) {
    for_all_pairs([](const Integers& a, const Integers& b) {
        Bits expected;
        for (unsigned lane = 0; lane < 4; ++lane)
            expected[lane] = a[lane] == b[lane] ? 0xFFFFFFFFu : 0u;
        ASSERT_EQ(to_bits(to_lanes(a) == to_lanes(b)), expected);
        ASSERT_EQ(to_bits(scalar::equal_integers(to_scalar(a), to_scalar(b))), expected);
    });
    EXPECT_EQ((SimdI(1, 2, 3, 4) == SimdI(1, 0, 3, 0)).get_mask(), 5);
}

TEST(SimdI, BroadcastRepeatsALane) {
    for_all_pairs([](const Integers& a, const Integers&) {
        const SimdI lanes = to_lanes(a);
        ASSERT_EQ(get(lanes.broadcast<0>()), (Integers{a[0], a[0], a[0], a[0]}));
        ASSERT_EQ(get(lanes.broadcast<1>()), (Integers{a[1], a[1], a[1], a[1]}));
        ASSERT_EQ(get(lanes.broadcast<2>()), (Integers{a[2], a[2], a[2], a[2]}));
        ASSERT_EQ(get(lanes.broadcast<3>()), (Integers{a[3], a[3], a[3], a[3]}));
        ASSERT_EQ(get(scalar::broadcast_integer<2>(to_scalar(a))),
                  (Integers{a[2], a[2], a[2], a[2]}));
    });
}

TEST(SimdI, FloatsAreTheNearestAndTheEvenOnesOfTwo) {
    for_all_pairs([](const Integers& a, const Integers&) {
        Bits expected;
        for (unsigned lane = 0; lane < 4; ++lane) {
            const float value = static_cast<float>(a[lane]);
            std::memcpy(&expected[lane], &value, sizeof value);
        }
        ASSERT_EQ(to_bits(to_lanes(a).to_floats()), expected);
        ASSERT_EQ(to_bits(scalar::to_floats(to_scalar(a))), expected);
    });
    EXPECT_EQ(to_bits(SimdI(0, 255, 16777217, -1).to_floats()),
              (Bits{0u, 0x437F0000u, 0x4B800000u, 0xBF800000u}));
}

TEST(SimdI, TruncationGoesTowardsZero) {
    struct Case {
        float value;
        int expected;
    };
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const Case cases[] = {{0.0f, 0},
                          {-0.0f, 0},
                          {0.99f, 0},
                          {-0.99f, 0},
                          {1.5f, 1},
                          {-1.5f, -1},
                          {254.9999f, 254},
                          {16777216.0f, 16777216},
                          {2147483520.0f, 2147483520},
                          {2147483648.0f, 0},
                          {-2147483648.0f, lowest},
                          {-2147483904.0f, 0},
                          {3e38f, 0},
                          {-3e38f, 0},
                          {infinity, 0},
                          {-infinity, 0},
                          {nan, 0},
                          {1e-40f, 0}};
    for (const Case& test : cases) {
        const Integers expected = {test.expected, test.expected, test.expected, test.expected};
        EXPECT_EQ(get(SimdI::truncate(SimdF(test.value))), expected) << test.value;
        EXPECT_EQ(get(scalar::truncate(scalar::broadcast(test.value))), expected) << test.value;
    }
    EXPECT_EQ(get(SimdI::truncate(SimdF(1.5f, -2.5f, nan, 7.0f))), (Integers{1, -2, 0, 7}));
}

TEST(SimdI, AdditionWraps) {
    for_all_pairs([](const Integers& a, const Integers& b) {
        const Integers expected = for_each_lane([&](unsigned lane) {
            const unsigned sum = static_cast<unsigned>(a[lane]) + static_cast<unsigned>(b[lane]);
            return static_cast<int>(sum);
        });
        ASSERT_EQ(get(to_lanes(a) + to_lanes(b)), expected);
        ASSERT_EQ(get(scalar::add_integers(to_scalar(a), to_scalar(b))), expected);
    });
}

TEST(SimdI, AMaskIsMinusOne) {
    const SimdF mask = SimdF(1.0f, 2.0f, 3.0f, 4.0f) > SimdF(0.0f, 2.0f, 1.0f, 5.0f);
    EXPECT_EQ(get(SimdI::from_mask(mask)), (Integers{-1, 0, -1, 0}));
    EXPECT_EQ(get(scalar::get_mask_bits(
                  scalar::less(scalar::broadcast(1.0f), scalar::set(0.0f, 2.0f, 1.0f, 5.0f)))),
              (Integers{0, -1, 0, -1}));
}

TEST(SimdI, LowBytesAreStored) {
    for_all_pairs([](const Integers& a, const Integers& b) {
        unsigned char bytes[10] = {};
        unsigned char scalar_bytes[8];
        SimdI::store_bytes(bytes + 1, to_lanes(a), to_lanes(b)); // anywhere
        scalar::store_bytes(scalar_bytes, to_scalar(a), to_scalar(b));
        for (unsigned lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(bytes[1 + lane], a[lane] & 0xFF);
            ASSERT_EQ(bytes[5 + lane], b[lane] & 0xFF);
        }
        ASSERT_EQ(std::memcmp(bytes + 1, scalar_bytes, 8), 0);
        ASSERT_EQ(bytes[0], 0);
        ASSERT_EQ(bytes[9], 0);
    });
}
