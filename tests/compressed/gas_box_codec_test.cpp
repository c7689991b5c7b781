// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include <gas/compressed/gas_box_codec.h>

#include <tests/support/box_conversion.h>

namespace {

using naive::Box;
using Bytes = std::array<unsigned, 7>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

/// A parent whose steps are units.
constexpr Box whole = {{0, 0, 0}, {255, 255, 255}};

Bytes encode(const Box& parent, const Box& first, const Box& second) {
    const GasQuantizedPair pair = gas_encode_box_pair(
        support::to_box(parent), support::to_box(first), support::to_box(second));
    return {pair.min[0], pair.min[1], pair.min[2], pair.owners,
            pair.max[0], pair.max[1], pair.max[2]};
}

struct Pair {
    Box first;
    Box second;
};

/// Decodes; whatever the eighth byte holds, lanes w must be zeros.
Pair decode(const Bytes& bytes, const Box& parent) {
    unsigned char stored[9] = {};
    for (unsigned i = 0; i < 7; ++i)
        stored[i + 1] = static_cast<unsigned char>(bytes[i]); // records stand at any address
    const SimdF min(parent.min[0], parent.min[1], parent.min[2], 0.0f);
    const SimdF max(parent.max[0], parent.max[1], parent.max[2], 0.0f);
    GasBoxPair pair;
    for (const unsigned last : {0xFFu, 0x00u, 0x3Fu}) {
        stored[8] = static_cast<unsigned char>(last);
        gas_decode_box_pair(stored + 1, min, max, pair);
        for (const SimdF* lanes :
             {&pair.first.min, &pair.first.max, &pair.second.min, &pair.second.max})
            EXPECT_EQ(lanes->get(3), 0.0f);
    }
    Pair result;
    for (unsigned axis = 0; axis < 3; ++axis) {
        result.first.min[axis] = pair.first.min.get(axis);
        result.first.max[axis] = pair.first.max.get(axis);
        result.second.min[axis] = pair.second.min.get(axis);
        result.second.max[axis] = pair.second.max.get(axis);
    }
    return result;
}

void expect_box(const Box& box, const Box& expected) {
    EXPECT_EQ(support::to_box(box), support::to_box(expected));
}

/// A box across the whole parent but for one axis.
Box across(unsigned axis, float min, float max) {
    Box box = whole;
    box.min[axis] = min;
    box.max[axis] = max;
    return box;
}

/// Encodes along x alone, against a parent of these bounds: its min, its max and the owners.
std::array<unsigned, 3> encode_x(float parent_min, float parent_max, const Box& first,
                                 const Box& second) {
    const Bytes bytes = encode(across(0, parent_min, parent_max), first, second);
    return {bytes[0], bytes[4], bytes[3]};
}
std::array<unsigned, 3> encode_x(float parent_min, float parent_max, float min, float max) {
    return encode_x(parent_min, parent_max, across(0, min, max), across(0, min, max));
}

using X = std::array<unsigned, 3>;

} // namespace

TEST(BoxCodec, TheBoundThatIsNotTheParentsIsStored) {
    const Box first = {{0, 0, 100}, {255, 100, 255}};
    const Box second = {{10, 20, 0}, {200, 255, 255}};
    // Each bound moves a hair outward before it is rounded outward, so that whole steps go to the
    // next one. Owned by the first child: the lower bound on z and the upper one on y.
    const Bytes bytes = {9, 19, 99, 4 + 16, 54, 154, 0};
    EXPECT_EQ(encode(whole, first, second), bytes);
    const Pair pair = decode(bytes, whole);
    expect_box(pair.first, {{0, 0, 99}, {255, 101, 255}});
    expect_box(pair.second, {{9, 19, 0}, {201, 255, 255}});
}

TEST(BoxCodec, EachBoundHasItsOwnerBit) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const bool is_first : {true, false}) {
            const Box above = across(axis, 10.5f, 255.0f);
            const Bytes low = is_first ? encode(whole, above, whole) : encode(whole, whole, above);
            Bytes expected = {};
            expected[axis] = 10;
            expected[3] = is_first ? 1u << axis : 0u;
            EXPECT_EQ(low, expected);
            Pair pair = decode(expected, whole);
            expect_box(is_first ? pair.first : pair.second, across(axis, 10.0f, 255.0f));
            expect_box(is_first ? pair.second : pair.first, whole);

            const Box below = across(axis, 0.0f, 200.5f);
            const Bytes high = is_first ? encode(whole, below, whole) : encode(whole, whole, below);
            expected = {};
            expected[4 + axis] = 54;
            expected[3] = is_first ? 8u << axis : 0u;
            EXPECT_EQ(high, expected);
            pair = decode(expected, whole);
            expect_box(is_first ? pair.first : pair.second, across(axis, 0.0f, 201.0f));
            expect_box(is_first ? pair.second : pair.first, whole);
        }
    }
}

TEST(BoxCodec, OfEqualBoundsTheSecondChildsIsStored) {
    const Box inner = {{10.5f, 20.5f, 30.5f}, {200.5f, 210.5f, 220.5f}};
    const Bytes bytes = {10, 20, 30, 0, 54, 44, 34};
    EXPECT_EQ(encode(whole, inner, inner), bytes);
    const Pair pair = decode(bytes, whole);
    expect_box(pair.first, whole);
    expect_box(pair.second, {{10, 20, 30}, {201, 211, 221}});
}

TEST(BoxCodec, AFlatAxisStoresNothing) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        const Box parent = across(axis, 7.0f, 7.0f);
        Box first = {{10.5f, 10.5f, 10.5f}, {200.5f, 200.5f, 200.5f}};
        first.min[axis] = first.max[axis] = 7.0f;
        const Bytes bytes = encode(parent, first, parent);
        Bytes expected = {10, 10, 10, 63u & ~(9u << axis), 54, 54, 54};
        expected[axis] = expected[4 + axis] = 0;
        EXPECT_EQ(bytes, expected);
        const Pair pair = decode(bytes, parent);
        for (const Box& child : {pair.first, pair.second}) {
            EXPECT_EQ(child.min[axis], 7.0f);
            EXPECT_EQ(child.max[axis], 7.0f);
        }
    }
}

TEST(BoxCodec, ABoundNearTheParentsIsTheParents) {
    // Steps of 3.9e-6: what lies within the widening of 3.9e-5 goes to the parent's bound.
    EXPECT_EQ(encode_x(0.0f, 1e-3f, 3.9e-5f, 1e-3f - 3.9e-5f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(0.0f, 1e-3f, 5e-5f, 1e-3f - 5e-5f), (X{2, 2, 0}));
    // With steps of one unit the same bounds are in the first step anyway.
    EXPECT_EQ(encode_x(0.0f, 255.0f, 0.99f, 254.5f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, 1.0f, 254.0f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, 1.0625f, 253.9375f), (X{1, 1, 0}));
}

TEST(BoxCodec, TheLastStepIsTheOppositeBound) {
    EXPECT_EQ(encode_x(0.0f, 1.0f, 1.0f, 0.0f), (X{254, 254, 0}));
    const Pair pair = decode({255, 255, 255, 0, 255, 255, 255}, whole);
    expect_box(pair.second, {{255, 255, 255}, {0, 0, 0}});
    // And stays within it, though 255 steps may add up to a little more.
    unsigned clamped = 0;
    for (unsigned i = 1; i < 1000; ++i) {
        const float size = 0.01f * static_cast<float>(i);
        const Pair rounded = decode({255, 0, 0, 0, 255, 0, 0}, across(0, 0.0f, size));
        ASSERT_LE(rounded.second.min[0], size);
        ASSERT_GE(rounded.second.max[0], 0.0f);
        clamped += size * 0.003921568859368563f * 255.0f > size;
    }
    EXPECT_GT(clamped, 10u);
}

// What follows comes from boxes that are none; the bytes are fixed all the same.

TEST(BoxCodec, DistancesOfMoreThan255StepsKeepTheirLowBits) {
    EXPECT_EQ(encode_x(0.0f, 255.0f, 300.0f, -45.0f), (X{299 - 256, 299 - 256, 0}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, 1e30f, -1e30f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, infinity, -infinity), (X{0, 0, 0}));
    // 2^31 is a multiple of 256; the float that is five times 128 below it is not.
    EXPECT_EQ(encode_x(0.0f, 255.0f, 2147483648.0f, -2147483648.0f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, 2147483008.0f, -2147483008.0f), (X{128, 128, 0}));
}

TEST(BoxCodec, AnInvertedParentRoundsDown) {
    // Below zero 44.99996 steps are 45, and 49.99996 are 50.
    EXPECT_EQ(encode_x(255.0f, 0.0f, 300.0f, -50.0f), (X{256 - 45, 256 - 50, 0}));
    EXPECT_EQ(encode_x(255.0f, 0.0f, 100.0f, 100.0f), (X{0, 0, 0}));
    // What is below every integer is a multiple of 256 again, or an infinity.
    EXPECT_EQ(encode_x(255.0f, 0.0f, 1e30f, -1e30f), (X{0, 0, 0}));
    EXPECT_EQ(encode_x(255.0f, 0.0f, infinity, -infinity), (X{0, 0, 0}));
}

TEST(BoxCodec, ExtentsThatAreInfiniteStoreZeros) {
    const Box inner = across(0, -1.0f, 1.0f);
    for (const float low : {-infinity, -3e38f, 0.0f}) {
        for (const float high : {infinity, 3e38f}) {
            if (low == 0.0f && high != infinity)
                continue;
            EXPECT_EQ(encode_x(low, high, inner, across(0, -2.0f, 2.0f)), (X{0, 0, 1 + 8}));
            const Pair pair = decode({200, 0, 0, 0, 200, 0, 0}, across(0, low, high));
            for (const Box& child : {pair.first, pair.second}) {
                EXPECT_EQ(child.min[0], low);
                EXPECT_EQ(child.max[0], high);
            }
        }
    }
}

TEST(BoxCodec, ExtentsThatAreNoNumbersStoreNothing) {
    const Box inner = across(0, -1.0f, 1.0f);
    for (const auto& [low, high] : {std::pair{infinity, infinity},
                                    {-infinity, -infinity},
                                    {not_a_number, 1.0f},
                                    {0.0f, not_a_number},
                                    {not_a_number, not_a_number}}) {
        EXPECT_EQ(encode_x(low, high, inner, across(0, -2.0f, 2.0f)), (X{0, 0, 0}));
        const Pair pair = decode({200, 0, 0, 63, 200, 0, 0}, across(0, low, high));
        const auto is_same = [](float a, float b) {
            return a == b || (std::isnan(a) && std::isnan(b));
        };
        for (const Box& child : {pair.first, pair.second}) {
            EXPECT_TRUE(is_same(child.min[0], low)) << child.min[0];
            EXPECT_TRUE(is_same(child.max[0], high)) << child.max[0];
        }
    }
}

TEST(BoxCodec, ExtentsTooSmallForAScaleStoreZeros) {
    // 255 divided by the extent is infinite.
    for (const float extent : {1e-45f, 1e-40f, 7e-37f}) {
        ASSERT_TRUE(std::isinf(255.0f / extent));
        EXPECT_EQ(encode_x(0.0f, extent, extent, 0.0f), (X{0, 0, 0}));
        EXPECT_EQ(encode_x(0.0f, extent, 1.0f, -1.0f), (X{0, 0, 0}));
    }
}

TEST(BoxCodec, BoundsThatAreNoNumbersBecomeTheParents) {
    const Box lost = across(0, not_a_number, not_a_number);
    const Box inner = across(0, 10.5f, 200.5f);
    EXPECT_EQ(encode_x(0.0f, 255.0f, inner, lost), (X{10, 0, 1}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, lost, inner), (X{0, 54, 1}));
    EXPECT_EQ(encode_x(0.0f, 255.0f, lost, lost), (X{0, 0, 1}));
}
