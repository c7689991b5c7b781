// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <gas/compressed/gas_box_codec.h>

#include <tests/naive/naive_compressed.h>
#include <tests/support/box_conversion.h>
#include <tests/support/sanitizers.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>

// Encoder and decoder of single pairs against the naive ones, as bytes and as bits.

namespace {

using naive::Box;
using naive::PairBytes;
using support::SeededRandom;

constexpr unsigned pair_count = support::scale(2000000, 100000);

/// Any bits of a float but those of a NaN.
float any_float(SeededRandom& random) {
    for (;;) {
        const unsigned bits = random.next();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isnan(value))
            return value;
    }
}

/// A parent with finite bounds of any size, now and then flat, inverted or far from the origin.
Box make_parent(SeededRandom& random) {
    Box parent;
    const int exponent = static_cast<int>(random.below(40)) - 20;
    const float size = std::ldexp(1.0f, random.below(4) == 0 ? exponent * 5 : exponent);
    const float distance = random.below(3) == 0 ? size * std::ldexp(1.0f, exponent) : size;
    for (unsigned axis = 0; axis < 3; ++axis) {
        parent.min[axis] = random.between(-distance, distance);
        parent.max[axis] = parent.min[axis] + random.uniform() * size;
        switch (random.below(24)) {
        case 0:
            parent.max[axis] = parent.min[axis];
            break;
        case 1:
            std::swap(parent.min[axis], parent.max[axis]);
            break;
        case 2:
            parent.min[axis] = any_float(random);
            parent.max[axis] = any_float(random);
            break;
        default:
            break;
        }
    }
    return parent;
}

/// A coordinate inside the parent: its own bounds, one on the lattice of steps, within the widening
/// of them, or anywhere; rarely outside.
float make_bound(SeededRandom& random, float low, float high) {
    const float extent = high - low;
    switch (random.below(12)) {
    case 0:
        return low;
    case 1:
        return high;
    case 2:
        return low + extent * static_cast<float>(random.below(256)) / 255.0f;
    case 3:
        return high - extent * static_cast<float>(random.below(256)) / 255.0f;
    case 4:
        return low + random.uniform() * 1e-4f;
    case 5:
        return high - random.uniform() * 1e-4f;
    case 6:
        return low + extent * random.between(-2.0f, 3.0f);
    default:
        return low + extent * random.uniform();
    }
}

Box make_child(SeededRandom& random, const Box& parent) {
    Box child;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float low = make_bound(random, parent.min[axis], parent.max[axis]);
        const float high = make_bound(random, parent.min[axis], parent.max[axis]);
        const bool ordered = low <= high || random.below(16) == 0;
        child.min[axis] = ordered ? low : high;
        child.max[axis] = ordered ? high : low;
    }
    return child;
}

/// Gives some of the second child's bounds the value of the first child's.
void share_bounds(SeededRandom& random, const Box& first, Box& second) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (random.below(8) == 0)
            second.min[axis] = first.min[axis];
        if (random.below(8) == 0)
            second.max[axis] = first.max[axis];
    }
}

struct Pair {
    Box parent;
    Box first;
    Box second;
};

Pair make_pair(SeededRandom& random) {
    Pair pair;
    pair.parent = make_parent(random);
    pair.first = make_child(random, pair.parent);
    pair.second = make_child(random, pair.parent);
    share_bounds(random, pair.first, pair.second);
    // Most parents are the union of their children or what was decoded of it.
    if (random.below(2))
        pair.parent = naive::unite(pair.first, pair.second);
    if (random.below(40) == 0) {
        std::vector<Box> boxes = {pair.parent, pair.first, pair.second};
        support::spoil(boxes, random, 4);
        pair = {boxes[0], boxes[1], boxes[2]};
    }
    return pair;
}

PairBytes encode(const Pair& pair) {
    const GasQuantizedPair encoded = gas_encode_box_pair(
        support::to_box(pair.parent), support::to_box(pair.first), support::to_box(pair.second));
    PairBytes bytes;
    std::memcpy(bytes.data(), &encoded, bytes.size());
    return bytes;
}

/// The four corners, four lanes each.
using CornerLanes = std::array<float, 16>;

CornerLanes decode(const PairBytes& bytes, unsigned char eighth, const Box& parent) {
    unsigned char loaded[8];
    std::copy(bytes.begin(), bytes.end(), loaded);
    loaded[7] = eighth;
    GasBoxPair boxes;
    gas_decode_box_pair(loaded, SimdF(parent.min[0], parent.min[1], parent.min[2], 0.0f),
                        SimdF(parent.max[0], parent.max[1], parent.max[2], 0.0f), boxes);
    CornerLanes lanes;
    boxes.first.min.store(&lanes[0]);
    boxes.first.max.store(&lanes[4]);
    boxes.second.min.store(&lanes[8]);
    boxes.second.max.store(&lanes[12]);
    return lanes;
}

CornerLanes expect_decoded(const PairBytes& bytes, const Box& parent) {
    const naive::BoxPair boxes = naive::decode_pair(bytes, parent);
    CornerLanes lanes = {};
    std::copy_n(boxes.first.min, 3, &lanes[0]);
    std::copy_n(boxes.first.max, 3, &lanes[4]);
    std::copy_n(boxes.second.min, 3, &lanes[8]);
    std::copy_n(boxes.second.max, 3, &lanes[12]);
    return lanes;
}

bool has_same_bits(const CornerLanes& a, const CornerLanes& b) {
    return std::memcmp(a.data(), b.data(), sizeof a) == 0;
}

} // namespace

TEST(BoxCodecOracle, PairsHaveTheSameBytesAndDecodeToTheSameBits) {
    SeededRandom random(41);
    unsigned long stored = 0;
    unsigned long owned = 0;
    for (unsigned i = 0; i < pair_count; ++i) {
        const Pair pair = make_pair(random);
        const PairBytes bytes = naive::encode_pair(pair.parent, pair.first, pair.second);
        ASSERT_EQ(encode(pair), bytes) << i;
        ASSERT_TRUE(
            has_same_bits(decode(bytes, static_cast<unsigned char>(random.below(256)), pair.parent),
                          expect_decoded(bytes, pair.parent)))
            << i;
        stored += (bytes[0] != 0) + (bytes[1] != 0) + (bytes[2] != 0);
        owned += bytes[3] != 0;
    }
    std::printf("compared %u pairs, %lu of them with owner bits, %lu lower bounds above 0\n",
                pair_count, owned, stored);
    EXPECT_GT(stored, pair_count / 2);
    EXPECT_GT(owned, pair_count / 2);
}

// Bytes and parents that no build makes, as bits and infinite ones among them.
TEST(BoxCodecOracle, AnyBytesDecodeToTheSameBits) {
    SeededRandom random(42);
    for (unsigned i = 0; i < pair_count; ++i) {
        PairBytes bytes;
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random.below(256));
        Box parent = make_parent(random);
        const unsigned axis = random.below(3);
        if (random.below(4) == 0) {
            parent.min[axis] = support::special_value(random);
            parent.max[axis] = support::special_value(random);
        }
        const unsigned char eighth = static_cast<unsigned char>(random.below(256));
        ASSERT_TRUE(has_same_bits(decode(bytes, eighth, parent), expect_decoded(bytes, parent)))
            << i;
    }
    std::printf("compared %u decoded pairs\n", pair_count);
}
