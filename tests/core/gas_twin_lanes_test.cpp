// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

#include <gas/core/gas_twin_lanes.h>

// Each half of twin lanes against lanes of its own, as bits.

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

const std::vector<SimdF> lanes = {
    SimdF(0.0f, -0.0f, 1.0f, -1.0f),          SimdF(1.5f, 2.5f, -3.5f, 1e30f),
    SimdF(infinity, -infinity, 0.0f, -0.0f),  SimdF(not_a_number, 2.0f, not_a_number, infinity),
    SimdF(-7.0f, not_a_number, 1e-30f, 3.0f),
};

std::array<std::uint32_t, 4> to_bits(const SimdF& a) {
    std::array<std::uint32_t, 4> bits;
    for (unsigned lane = 0; lane < 4; ++lane)
        bits[lane] = std::bit_cast<std::uint32_t>(a.get(lane));
    return bits;
}

/// Calls `check(a, b, c, d)` for halves a and b of one operand, c and d of the other.
template <typename Check> void for_each_operands(const Check& check) {
    for (const SimdF& a : lanes)
        for (const SimdF& b : lanes)
            for (const SimdF& c : lanes)
                for (const SimdF& d : lanes)
                    check(a, b, c, d);
}

template <typename Operation> void expect_same(const Operation& operation) {
    for_each_operands([&](const SimdF& a, const SimdF& b, const SimdF& c, const SimdF& d) {
        const GasTwinF result = operation(GasTwinF(a, b), GasTwinF(c, d));
        EXPECT_EQ(to_bits(result.get_half<0>()), to_bits(operation(a, c)));
        EXPECT_EQ(to_bits(result.get_half<1>()), to_bits(operation(b, d)));
    });
}

TEST(TwinLanes, HalvesDoNotMix) {
    expect_same([](const auto& a, const auto& b) { return a & b; });
    expect_same([](const auto& a, const auto& b) { return a ^ b; });
    expect_same([](const auto& a, const auto& b) { return a < b; });
    expect_same([](const auto& a, const auto& b) { return a > b; });
    expect_same([](const auto& a, const auto& b) { return a <= b; });
    expect_same([](const auto& a, const auto& b) { return a.min(a, b); });
    expect_same([](const auto& a, const auto& b) { return a.max(a, b); });
    expect_same([](const auto& a, const auto& b) { return a.interleave_low(a, b); });
    expect_same([](const auto& a, const auto& b) { return a.interleave_high(a, b); });
    expect_same([](const auto& a, const auto&) { return a.move_high(); });
    expect_same([](const auto& a, const auto&) { return a.template broadcast<1>(); });
    expect_same([](const auto&, const auto& b) { return b.template broadcast<3>(); });
}

TEST(TwinLanes, ArithmeticIsThatOfEachHalf) {
    // Which NaN a sum of two is the machine may choose: none of these is one.
    const SimdF a(1.1f, -2.2f, 3.3e20f, -0.0f);
    const SimdF b(0.7f, infinity, -5.0f, 1e-40f);
    const SimdF c(9.9f, 1e10f, 1e30f, 0.0f);
    const SimdF d(-0.3f, 4.0f, 7.0f, 2.0f);
    const auto expect = [&](const auto& operation) {
        const GasTwinF result = operation(GasTwinF(a, b), GasTwinF(c, d));
        EXPECT_EQ(to_bits(result.template get_half<0>()), to_bits(operation(a, c)));
        EXPECT_EQ(to_bits(result.template get_half<1>()), to_bits(operation(b, d)));
    };
    expect([](const auto& x, const auto& y) { return x + y; });
    expect([](const auto& x, const auto& y) { return x - y; });
    expect([](const auto& x, const auto& y) { return x * y; });
}

TEST(TwinLanes, AMaskHasTheFirstHalfInItsLowBits) {
    for (const SimdF& a : lanes)
        for (const SimdF& b : lanes)
            EXPECT_EQ(GasTwinF(a, b).get_mask(), a.get_mask() | b.get_mask() << 4);
}

TEST(TwinLanes, BytesAreWidenedForEachHalf) {
    const unsigned char first[8] = {0, 1, 2, 255, 128, 127, 77, 3};
    const unsigned char second[8] = {9, 254, 0, 6, 31, 32, 33, 200};
    GasTwinI low;
    GasTwinI high;
    GasTwinI::load_bytes(first, second, low, high);
    const auto expect = [](const SimdF& lanes_of, float x, float y, float z, float w) {
        EXPECT_EQ(to_bits(lanes_of), to_bits(SimdF(x, y, z, w)));
    };
    expect(low.to_floats().get_half<0>(), 0.0f, 1.0f, 2.0f, 255.0f);
    expect(low.to_floats().get_half<1>(), 9.0f, 254.0f, 0.0f, 6.0f);
    expect(high.to_floats().get_half<0>(), 128.0f, 127.0f, 77.0f, 3.0f);
    expect(high.to_floats().get_half<1>(), 31.0f, 32.0f, 33.0f, 200.0f);
    expect(low.broadcast<3>().to_floats().get_half<0>(), 255.0f, 255.0f, 255.0f, 255.0f);
    expect(low.broadcast<3>().to_floats().get_half<1>(), 6.0f, 6.0f, 6.0f, 6.0f);

    const GasTwinI bits(1, 2, 4, 8);
    expect((low & bits).to_floats().get_half<0>(), 0.0f, 0.0f, 0.0f, 8.0f);
    expect((low & bits).to_floats().get_half<1>(), 1.0f, 2.0f, 0.0f, 0.0f);
    const GasTwinF equal = (low & bits) == bits;
    EXPECT_EQ(equal.get_mask(), 8 | 3 << 4);
}

} // namespace
