// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <tests/host/lane_values.h>
#include <tests/support/seeded_random.h>

// The lanes in use against the portable back end, as bits, over every pair of special values. The
// meaning itself is checked by hand below, so the portable back end is not trusted either.

namespace {

namespace scalar = gas_simd_scalar;

using lanes::Bits;
using lanes::to_bits;

constexpr std::uint32_t all_set = 0xFFFFFFFFu;

struct alignas(16) Floats {
    float lane[4];
};

Floats to_floats(const Bits& bits) {
    Floats floats;
    std::memcpy(floats.lane, bits.data(), sizeof floats.lane);
    return floats;
}

SimdF to_lanes(const Bits& bits) {
    const Floats floats = to_floats(bits);
    return SimdF::load(floats.lane);
}

scalar::Lanes to_scalar(const Bits& bits) {
    const Floats floats = to_floats(bits);
    return scalar::load(floats.lane);
}

bool is_nan_bits(std::uint32_t bits) { return (bits & 0x7FFFFFFFu) > 0x7F800000u; }

// Which NaN an addition gives is the machine's choice, and a compiler may swap its operands.
Bits one_nan(Bits bits) {
    for (std::uint32_t& lane : bits)
        if (is_nan_bits(lane))
            lane = 0x7FC00000u;
    return bits;
}

const std::vector<std::uint32_t>& get_values() {
    static const std::vector<std::uint32_t> values = [] {
        std::vector<std::uint32_t> list = {
            0x00000000u, 0x80000000u,                           // zeros
            0x00000001u, 0x80000001u, 0x007FFFFFu, 0x807FFFFFu, // denormals
            0x00800000u, 0x80800000u, 0x34000000u, 0x3F800000u, 0xBF800000u, 0x3F800001u,
            0x3F7FFFFFu, 0x40490FDBu, 0xC0490FDBu, 0x4B800000u, 0x5F000000u, 0x20000000u,
            0x7F7FFFFFu, 0xFF7FFFFFu, 0x7F800000u, 0xFF800000u, // largest, infinities
            0x7FC00000u, 0xFFC00000u, 0x7FC12345u, 0xFFC54321u, // quiet NaNs
            0x7F800001u, 0xFF800001u, 0x7FA00000u, 0xFFBFFFFFu, // signalling NaNs
            0x7FFFFFFFu, 0xFFFFFFFFu};
        support::SeededRandom random(20250101);
        for (unsigned i = 0; i < 32; ++i)
            list.push_back(random.next());
        return list;
    }();
    return values;
}

template <typename Check> void for_all_pairs(const Check& check) {
    lanes::for_all_pairs(get_values(), 3, check);
}

/// The same with `check(x, y, s, t)`: x and y are a pair in the lanes in use, s and t the same pair
/// in those of the portable back end.
template <typename Check> void for_all_lanes(const Check& check) {
    for_all_pairs([&](const Bits& a, const Bits& b) {
        check(to_lanes(a), to_lanes(b), to_scalar(a), to_scalar(b));
    });
}

} // namespace

TEST(SimdF, ArithmeticRoundsEachLaneAsThePortableBackEnd) {
    for_all_lanes([](SimdF x, SimdF y, const scalar::Lanes& s, const scalar::Lanes& t) {
        ASSERT_EQ(one_nan(to_bits(x + y)), one_nan(to_bits(scalar::add(s, t))));
        ASSERT_EQ(one_nan(to_bits(x - y)), one_nan(to_bits(scalar::subtract(s, t))));
        ASSERT_EQ(one_nan(to_bits(x * y)), one_nan(to_bits(scalar::multiply(s, t))));
        ASSERT_EQ(one_nan(to_bits(x / y)), one_nan(to_bits(scalar::divide(s, t))));
    });
}

TEST(SimdF, MinAndMaxAreThePortableBackEndsBits) {
    for_all_lanes([](SimdF x, SimdF y, const scalar::Lanes& s, const scalar::Lanes& t) {
        ASSERT_EQ(to_bits(SimdF::min(x, y)), to_bits(scalar::min(s, t)));
        ASSERT_EQ(to_bits(SimdF::max(x, y)), to_bits(scalar::max(s, t)));
    });
}

TEST(SimdF, ComparisonsAreThePortableBackEndsBits) {
    for_all_lanes([](SimdF x, SimdF y, const scalar::Lanes& s, const scalar::Lanes& t) {
        ASSERT_EQ(to_bits(x < y), to_bits(scalar::less(s, t)));
        ASSERT_EQ(to_bits(x <= y), to_bits(scalar::less_equal(s, t)));
        ASSERT_EQ(to_bits(x > y), to_bits(scalar::less(t, s)));
        ASSERT_EQ(to_bits(x >= y), to_bits(scalar::less_equal(t, s)));
    });
}

TEST(SimdF, BitOperationsAndSelectKeepEveryBit) {
    for_all_pairs([](const Bits& a, const Bits& b) {
        const SimdF x = to_lanes(a);
        const SimdF y = to_lanes(b);
        const scalar::Lanes s = to_scalar(a);
        const scalar::Lanes t = to_scalar(b);
        ASSERT_EQ(to_bits(x & y), to_bits(scalar::bit_and(s, t)));
        ASSERT_EQ(to_bits(x | y), to_bits(scalar::bit_or(s, t)));
        ASSERT_EQ(to_bits(x ^ y), (Bits{a[0] ^ b[0], a[1] ^ b[1], a[2] ^ b[2], a[3] ^ b[3]}));
        ASSERT_EQ(to_bits(scalar::bit_xor(s, t)), to_bits(x ^ y));
        for (unsigned chosen = 0; chosen < 16; ++chosen) {
            Bits mask;
            Bits expected;
            for (unsigned lane = 0; lane < 4; ++lane) {
                const bool first = chosen >> lane & 1u;
                mask[lane] = first ? all_set : 0u;
                expected[lane] = first ? a[lane] : b[lane];
            }
            ASSERT_EQ(to_bits(SimdF::select(to_lanes(mask), x, y)), expected);
            ASSERT_EQ(to_bits(scalar::select(to_scalar(mask), s, t)), expected);
        }
    });
}

TEST(SimdF, MovesKeepEveryBit) {
    for_all_pairs([](const Bits& a, const Bits& b) {
        const SimdF x = to_lanes(a);
        const SimdF y = to_lanes(b);
        ASSERT_EQ(to_bits(SimdF::interleave_low(x, y)), (Bits{a[0], b[0], a[1], b[1]}));
        ASSERT_EQ(to_bits(SimdF::interleave_high(x, y)), (Bits{a[2], b[2], a[3], b[3]}));
        ASSERT_EQ(to_bits(x.move_high()), (Bits{a[2], a[3], a[2], a[3]}));
        ASSERT_EQ(to_bits(x.swap_halves()), (Bits{a[2], a[3], a[0], a[1]}));
        ASSERT_EQ(to_bits(x.move_down()), (Bits{a[1], a[2], a[3], a[3]}));
        ASSERT_EQ(to_bits(x.broadcast<0>()), (Bits{a[0], a[0], a[0], a[0]}));
        ASSERT_EQ(to_bits(x.broadcast<1>()), (Bits{a[1], a[1], a[1], a[1]}));
        ASSERT_EQ(to_bits(x.broadcast<2>()), (Bits{a[2], a[2], a[2], a[2]}));
        ASSERT_EQ(to_bits(x.broadcast<3>()), (Bits{a[3], a[3], a[3], a[3]}));
    });
}

TEST(SimdF, ThePortableBackEndMovesAlike) {
    for_all_lanes([](SimdF x, SimdF y, const scalar::Lanes& s, const scalar::Lanes& t) {
        ASSERT_EQ(to_bits(SimdF::interleave_low(x, y)), to_bits(scalar::interleave_low(s, t)));
        ASSERT_EQ(to_bits(SimdF::interleave_high(x, y)), to_bits(scalar::interleave_high(s, t)));
        ASSERT_EQ(to_bits(x.move_high()), to_bits(scalar::move_high(s)));
        ASSERT_EQ(to_bits(x.swap_halves()), to_bits(scalar::swap_halves(s)));
        ASSERT_EQ(to_bits(x.move_down()), to_bits(scalar::move_down(s)));
        ASSERT_EQ(to_bits(x.broadcast<1>()), to_bits(scalar::broadcast_lane<1>(s)));
        ASSERT_EQ(to_bits(x.broadcast<3>()), to_bits(scalar::broadcast_lane<3>(s)));
    });
}

TEST(SimdF, MaskIsTheSignBitOfEachLane) {
    for_all_pairs([](const Bits& a, const Bits&) {
        int expected = 0;
        for (unsigned lane = 0; lane < 4; ++lane)
            expected |= static_cast<int>(a[lane] >> 31) << lane;
        ASSERT_EQ(to_lanes(a).get_mask(), expected);
        ASSERT_EQ(scalar::get_mask(to_scalar(a)), expected);
    });
}

TEST(SimdF, LoadsStoresAndGetsKeepEveryBit) {
    for_all_pairs([](const Bits& a, const Bits&) {
        alignas(16) float shifted[5] = {};
        std::memcpy(shifted + 1, a.data(), sizeof a);
        const SimdF lanes = SimdF::load_unaligned(shifted + 1);
        ASSERT_EQ(to_bits(lanes), a);
        float stored[5] = {};
        lanes.store(stored + 1);
        Bits stored_bits;
        std::memcpy(stored_bits.data(), stored + 1, sizeof stored_bits);
        ASSERT_EQ(stored_bits, a);

        std::uint32_t bits;
        for (unsigned lane = 0; lane < 4; ++lane) {
            const float value = lanes.get(lane);
            std::memcpy(&bits, &value, sizeof bits);
            ASSERT_EQ(bits, a[lane]);
        }
        const float first = lanes.get_first();
        std::memcpy(&bits, &first, sizeof bits);
        ASSERT_EQ(bits, a[0]);
    });
}

TEST(SimdF, ConstructorsFillTheLanesInOrder) {
    EXPECT_EQ(to_bits(SimdF(1.0f, 2.0f, -0.0f, 4.0f)),
              (Bits{0x3F800000u, 0x40000000u, 0x80000000u, 0x40800000u}));
    EXPECT_EQ(to_bits(SimdF(-2.0f)), (Bits{0xC0000000u, 0xC0000000u, 0xC0000000u, 0xC0000000u}));
}

TEST(SimdF, NarrowRoundsEachDoubleAndClearsLaneW) {
    const auto expect_same = [](double x, double y, double z) {
        const auto bits = [](double number) {
            return std::bit_cast<std::uint32_t>(static_cast<float>(number));
        };
        const Bits expected = {bits(x), bits(y), bits(z), 0};
        EXPECT_EQ(one_nan(to_bits(SimdF::narrow(x, y, z))), one_nan(expected));
        EXPECT_EQ(one_nan(to_bits(scalar::narrow(x, y, z))), one_nan(expected));
    };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double values[] = {0.0,
                             -0.0,
                             1.0,
                             -2.5,
                             0.1,
                             1.0 + 0x1p-24,
                             1.0 + 0x1.8p-23,
                             1e39,
                             -1e39,
                             1e-45,
                             1e-50,
                             -0x1p-150,
                             0x1.fffffep127,
                             infinity,
                             -infinity,
                             std::nan(""),
                             0x1.fffffffp127};
    for (const double x : values)
        for (const double y : values)
            expect_same(x, y, -x);
}

TEST(SimdF, TheXyzMaskClearsLaneW) {
    EXPECT_EQ(to_bits(SimdF::s_mask_xyz), (Bits{all_set, all_set, all_set, 0u}));
    const Bits lanes = {0x7FC12345u, 0x80000000u, 0x00000001u, 0xFFFFFFFFu};
    EXPECT_EQ(to_bits(to_lanes(lanes) & SimdF::s_mask_xyz),
              (Bits{0x7FC12345u, 0x80000000u, 0x00000001u, 0u}));
}

TEST(SimdF, EqualAndUnorderedLanesOfMinAndMaxAreTheSecondOperand) {
    const float nan = std::nanf("");
    const SimdF a(0.0f, -0.0f, nan, 5.0f);
    const SimdF b(-0.0f, 0.0f, 5.0f, nan);
    EXPECT_EQ(to_bits(SimdF::min(a, b)), to_bits(b));
    EXPECT_EQ(to_bits(SimdF::max(a, b)), to_bits(b));
    EXPECT_EQ(to_bits(SimdF::min(b, a)), to_bits(a));
    EXPECT_EQ(to_bits(SimdF::max(b, a)), to_bits(a));
}

TEST(SimdF, OrderedLanesOfMinAndMaxAreTheLesserAndTheGreater) {
    const float infinity = HUGE_VALF;
    const SimdF a(1.0f, -infinity, -1.0f, 1e-45f);
    const SimdF b(2.0f, infinity, -2.0f, 0.0f);
    EXPECT_EQ(to_bits(SimdF::min(a, b)), to_bits(SimdF(1.0f, -infinity, -2.0f, 0.0f)));
    EXPECT_EQ(to_bits(SimdF::max(a, b)), to_bits(SimdF(2.0f, infinity, -1.0f, 1e-45f)));
}

TEST(SimdF, ComparisonsWithANanAreFalse) {
    const float nan = std::nanf("");
    const SimdF a(nan, 1.0f, 1.0f, -0.0f);
    const SimdF b(1.0f, nan, 1.0f, 0.0f);
    EXPECT_EQ(to_bits(a < b), (Bits{0u, 0u, 0u, 0u}));
    EXPECT_EQ(to_bits(a > b), (Bits{0u, 0u, 0u, 0u}));
    EXPECT_EQ(to_bits(a <= b), (Bits{0u, 0u, all_set, all_set}));
    EXPECT_EQ(to_bits(a >= b), (Bits{0u, 0u, all_set, all_set}));
}

TEST(SimdF, NothingFuses) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24; rounded before the subtraction, the last term is gone.
    const SimdF value(1.0f + 0.000244140625f);
    const SimdF rounded(1.0f + 0.00048828125f);
    EXPECT_EQ(to_bits(value * value - rounded), (Bits{0u, 0u, 0u, 0u}));
}

TEST(SimdF, QuotientsAreRoundedOnceAndByZeroInfinite) {
    const SimdF a(255.0f, 1.0f, -1.0f, 0.0f);
    const SimdF b(3.0f, 0.0f, 0.0f, -2.0f);
    EXPECT_EQ(to_bits(a / b), (Bits{0x42AA0000u, 0x7F800000u, 0xFF800000u, 0x80000000u}));
    EXPECT_EQ(to_bits(SimdF(1.0f) / SimdF(3.0f)),
              (Bits{0x3EAAAAABu, 0x3EAAAAABu, 0x3EAAAAABu, 0x3EAAAAABu}));
}

TEST(SimdF, DenormalsAreNotFlushed) {
    const SimdF smallest(1e-45f);
    EXPECT_EQ(to_bits(smallest + smallest), (Bits{2u, 2u, 2u, 2u}));
    EXPECT_EQ(to_bits(SimdF(1.17549435e-38f) * SimdF(0.5f)),
              (Bits{0x00400000u, 0x00400000u, 0x00400000u, 0x00400000u}));
}
