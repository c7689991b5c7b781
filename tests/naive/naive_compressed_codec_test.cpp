#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include <tests/naive/naive_compressed.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Box;
using naive::BoxPair;
using naive::decode_pair;
using naive::encode_pair;
using naive::PairBytes;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

/// A box with the given bounds on x, and 0 to 1 on the other axes.
Box on_x(float low, float high) { return {{low, 0, 0}, {high, 1, 1}}; }

/// Against a parent of the same kind: the stored minimum, the owner bits and the stored maximum of
/// x. The other axes have zeros.
std::array<unsigned, 3> encode_x(const Box& parent, const Box& first, const Box& second) {
    const PairBytes bytes = encode_pair(parent, first, second);
    EXPECT_EQ(bytes[1] + bytes[2] + bytes[5] + bytes[6], 0);
    return {bytes[0], bytes[3], bytes[4]};
}

using Triple = std::array<unsigned, 3>;

bool same_bits(const Box& a, const Box& b) { return std::memcmp(&a, &b, sizeof(Box)) == 0; }

TEST(NaiveCodec, StoresTheInnerBoundsWithTheirOwners) {
    const Box parent = {{0, 0, 0}, {255, 255, 255}};
    const Box first = {{0, 10, 0}, {100, 255, 255}};
    const Box second = {{50, 0, 0}, {255, 20, 255}};
    const PairBytes bytes = encode_pair(parent, first, second);
    // The widening takes each bound just past a whole step.
    EXPECT_EQ(bytes, (PairBytes{49, 9, 0, 2 | 8, 154, 234, 0}));

    const BoxPair decoded = decode_pair(bytes, parent);
    EXPECT_TRUE(same_bits(decoded.first, {{0, 9, 0}, {101, 255, 255}}));
    EXPECT_TRUE(same_bits(decoded.second, {{49, 0, 0}, {255, 21, 255}}));
}

TEST(NaiveCodec, EachAxisHasItsOwnOwnerBits) {
    const Box parent = {{0, 0, 0}, {1, 1, 1}};
    for (unsigned axis = 0; axis < 3; ++axis) {
        Box inner = parent;
        inner.min[axis] = 0.25f;
        EXPECT_EQ(encode_pair(parent, inner, parent)[3], 1u << axis);
        EXPECT_EQ(encode_pair(parent, parent, inner)[3], 0u);
        inner = parent;
        inner.max[axis] = 0.75f;
        EXPECT_EQ(encode_pair(parent, inner, parent)[3], 8u << axis);
        EXPECT_EQ(encode_pair(parent, parent, inner)[3], 0u);
    }
}

TEST(NaiveCodec, EqualBoxesBelongToTheSecondChild) {
    const Box parent = {{0, 0, 0}, {255, 255, 255}};
    const Box box = {{20, 20, 20}, {200, 200, 200}};
    const PairBytes bytes = encode_pair(parent, box, box);
    EXPECT_EQ(bytes, (PairBytes{19, 19, 19, 0, 54, 54, 54}));
    const BoxPair decoded = decode_pair(bytes, parent);
    EXPECT_TRUE(same_bits(decoded.first, parent));
    EXPECT_TRUE(same_bits(decoded.second, {{19, 19, 19}, {201, 201, 201}}));
}

TEST(NaiveCodec, FlatAxesHaveNoBytesAndNoOwners) {
    const Box parent = {{7, 0, 0}, {7, 255, 255}};
    const Box first = {{7, 3, 0}, {7, 255, 255}};
    const Box second = {{7, 0, 5}, {7, 255, 255}};
    const PairBytes bytes = encode_pair(parent, first, second);
    EXPECT_EQ(bytes, (PairBytes{0, 2, 4, 2, 0, 0, 0}));
    const BoxPair decoded = decode_pair(bytes, parent);
    EXPECT_TRUE(same_bits(decoded.first, {{7, 2, 0}, {7, 255, 255}}));
    EXPECT_TRUE(same_bits(decoded.second, {{7, 0, 4}, {7, 255, 255}}));
    // Bytes without meaning change nothing on a flat axis.
    const PairBytes other = {200, 2, 4, 2, 200, 0, 0};
    EXPECT_TRUE(same_bits(decode_pair(other, parent).second, decoded.second));
}

TEST(NaiveCodec, BoundsWithinTheWideningOfTheParentsAreStoredAsZero) {
    // A 255th of the extent is much less than the widening.
    const Box parent = on_x(0, 1e-3f);
    const Box both = on_x(3.9e-5f, 1e-3f - 3.9e-5f);
    EXPECT_EQ(encode_x(parent, both, on_x(0, 1e-3f)), (Triple{0, 1 | 8, 0}));
    const Box beyond = on_x(4.5e-5f, 1e-3f - 4.5e-5f);
    EXPECT_EQ(encode_x(parent, beyond, on_x(0, 1e-3f)), (Triple{1, 1 | 8, 1}));
}

TEST(NaiveCodec, KeepsTheLowEightBits) {
    // A child outside its parent is nothing that a build makes, but it has its bytes.
    EXPECT_EQ(encode_x(on_x(0, 255), on_x(0, 255), on_x(300, 400)), (Triple{299 - 256, 8, 0}));
    // An inverted parent: 1.99996 below the start times -255 is -509.99, rounded down -510.
    EXPECT_EQ(encode_x(on_x(1, 0), on_x(1, 0), on_x(3, 0))[0], 512u - 510u);
}

TEST(NaiveCodec, ProductsThatNoIntegerHoldsGiveZero) {
    EXPECT_EQ(encode_x(on_x(0, 1e-30f), on_x(0, 1), on_x(1, 1)), (Triple{0, 0, 0}));
    // 2^31 and the float just below it, as distances in an extent of 255.
    EXPECT_EQ(encode_x(on_x(0, 255), on_x(0, 255), on_x(2147483648.0f, 255))[0], 0u);
    EXPECT_EQ(encode_x(on_x(0, 255), on_x(0, 255), on_x(2147483520.0f, 255))[0], 0x80u);
}

TEST(NaiveCodec, EndlessExtentsHaveNoSteps) {
    const Box endless = on_x(0, infinity);
    EXPECT_EQ(encode_x(endless, on_x(0, 1), on_x(infinity, infinity)), (Triple{0, 8, 0}));
    const BoxPair decoded = decode_pair({9, 0, 0, 0, 9, 0, 0}, endless);
    EXPECT_TRUE(same_bits(decoded.first, endless));
    EXPECT_TRUE(same_bits(decoded.second, endless));

    // Both ends are finite, the extent is not.
    const Box wide = on_x(-3e38f, 3e38f);
    EXPECT_EQ(encode_x(wide, on_x(-3e38f, 0), on_x(1, 3e38f)), (Triple{0, 8, 0}));
    EXPECT_TRUE(same_bits(decode_pair({9, 0, 0, 0, 9, 0, 0}, wide).second, wide));
}

TEST(NaiveCodec, UnorderedBounds) {
    const Box parent = on_x(0, 255);
    const Box box = on_x(20, 200);
    // A lower bound that does not compare makes the first child the owner, an upper one the second.
    EXPECT_EQ(encode_x(parent, box, on_x(not_a_number, not_a_number)), (Triple{19, 1, 0}));
    EXPECT_EQ(encode_x(parent, on_x(not_a_number, not_a_number), box), (Triple{0, 1, 54}));
    EXPECT_EQ(encode_x(on_x(not_a_number, 255), box, box), (Triple{0, 0, 0}));
    EXPECT_EQ(encode_x(on_x(0, not_a_number), on_x(100, 100), box), (Triple{0, 0, 0}));
}

TEST(NaiveCodec, DecodedBoundsStopAtTheParentsOtherSide) {
    const Box parent = {{1, 1, 1}, {2, 2, 2}};
    const BoxPair decoded = decode_pair({255, 255, 255, 1 | 16, 255, 255, 255}, parent);
    for (const Box* box : {&decoded.first, &decoded.second}) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_GE(box->min[axis], 1.0f);
            EXPECT_LE(box->min[axis], 2.0f);
            EXPECT_GE(box->max[axis], 1.0f);
            EXPECT_LE(box->max[axis], 2.0f);
        }
    }
    EXPECT_GT(decoded.first.min[0], 1.9999f);
    EXPECT_EQ(decoded.second.min[0], 1.0f);
    EXPECT_EQ(decoded.first.min[1], 1.0f);
    EXPECT_LT(decoded.first.max[1], 1.0001f);
    EXPECT_EQ(decoded.second.max[1], 2.0f);
}

TEST(NaiveCodec, RandomPairsStayInsideTheirDecodedBoxes) {
    support::SeededRandom random(5);
    unsigned narrowed = 0;
    for (unsigned round = 0; round < 20000; ++round) {
        Box boxes[2];
        for (Box& box : boxes) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                const float from = random.between(-20.0f, 20.0f);
                const float to = random.between(-20.0f, 20.0f);
                box.min[axis] = naive::smaller(from, to);
                box.max[axis] = naive::larger(from, to);
            }
        }
        const Box parent = naive::unite(boxes[0], boxes[1]);
        const BoxPair decoded = decode_pair(encode_pair(parent, boxes[0], boxes[1]), parent);
        for (unsigned child = 0; child < 2; ++child) {
            const Box& box = child == 0 ? decoded.first : decoded.second;
            for (unsigned axis = 0; axis < 3; ++axis) {
                EXPECT_LE(box.min[axis], boxes[child].min[axis]);
                EXPECT_GE(box.max[axis], boxes[child].max[axis]);
                EXPECT_GE(box.min[axis], parent.min[axis]);
                EXPECT_LE(box.max[axis], parent.max[axis]);
                narrowed += box.min[axis] > parent.min[axis];
                narrowed += box.max[axis] < parent.max[axis];
            }
        }
    }
    EXPECT_GT(narrowed, 60000u);
}

} // namespace
