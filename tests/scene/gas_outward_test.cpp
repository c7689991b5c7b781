// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_outward.h>

#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include <tests/support/seeded_random.h>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest = static_cast<double>(std::numeric_limits<float>::max());
constexpr double smallest = 0x1p-149;

double down(double value) { return static_cast<double>(gas_round_down(value)); }
double up(double value) { return static_cast<double>(gas_round_up(value)); }

TEST(Outward, FloatsStay) {
    const double floats[] = {0.0, 1.0, -1.0, 0.5, 16777217.0 - 1.0, 0x1.fffffep0, -0x1.fffffep-126};
    for (const double value : floats) {
        EXPECT_EQ(down(value), value);
        EXPECT_EQ(up(value), value);
    }
    EXPECT_FALSE(std::signbit(gas_round_down(0.0)));
    EXPECT_TRUE(std::signbit(gas_round_down(-0.0)));
    EXPECT_TRUE(std::signbit(gas_round_up(-0.0)));
}

TEST(Outward, OthersGoToTheNeighbours) {
    // Between 1 and 1 + 2^-23, nearer to the one, to the other and half way.
    for (const double part : {0x1p-40, 0x1p-24, 0x1p-23 - 0x1p-40}) {
        EXPECT_EQ(down(1.0 + part), 1.0);
        EXPECT_EQ(up(1.0 + part), 1.0 + 0x1p-23);
        EXPECT_EQ(down(-1.0 - part), -1.0 - 0x1p-23);
        EXPECT_EQ(up(-1.0 - part), -1.0);
    }
    EXPECT_EQ(down(0.1), 0x1.999998p-4);
    EXPECT_EQ(up(0.1), 0x1.99999ap-4);
    EXPECT_EQ(down(16777217.0), 16777216.0);
    EXPECT_EQ(up(16777217.0), 16777218.0);
    EXPECT_EQ(up(0x1.ffffffp0), 2.0) << "into the next power of two";
}

TEST(Outward, DenormalsAreFloatsToo) {
    EXPECT_EQ(down(smallest), smallest);
    EXPECT_EQ(down(0x1.8p-148), 0x1.8p-148);
    EXPECT_EQ(down(0x1.cp-148), 0x1.8p-148);
    EXPECT_EQ(up(0x1.cp-148), 0x1p-147);
    // Nearer to 0 than any float, down to the smallest double.
    for (const double tiny : {0.75 * smallest, 0.25 * smallest, 1e-300, 0x1p-1074}) {
        EXPECT_EQ(down(tiny), 0.0);
        EXPECT_EQ(up(tiny), smallest);
        EXPECT_EQ(down(-tiny), -smallest);
        EXPECT_EQ(up(-tiny), 0.0);
    }
}

TEST(Outward, HugeValuesStayInsideOrBecomeInfinite) {
    EXPECT_EQ(down(largest), largest);
    EXPECT_EQ(up(largest), largest);
    // The first of them is nearer to the largest float than to the next power of two.
    for (const double huge : {largest + 0x1p80, 0x1p128, 1e300}) {
        EXPECT_EQ(down(huge), largest);
        EXPECT_EQ(up(huge), infinity);
        EXPECT_EQ(down(-huge), -infinity);
        EXPECT_EQ(up(-huge), -largest);
    }
}

TEST(Outward, InfinitiesAndNaNStay) {
    for (const double value : {infinity, -infinity}) {
        EXPECT_EQ(down(value), value);
        EXPECT_EQ(up(value), value);
    }
    EXPECT_TRUE(std::isnan(gas_round_down(std::nan(""))));
    EXPECT_TRUE(std::isnan(gas_round_up(std::nan(""))));
}

TEST(Outward, IsTheNearestOnThatSide) {
    support::SeededRandom random(11);
    for (unsigned round = 0; round < 200000; ++round) {
        const std::uint64_t high = random.next();
        const std::uint64_t bits = (high << 32) | random.next();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        // Half of them with an exponent that floats have.
        if (round % 2 == 0)
            value = std::ldexp(random.uniform_double() - 0.5, static_cast<int>(high % 280) - 150);
        if (std::isnan(value))
            continue;
        const float low = gas_round_down(value);
        const float high_float = gas_round_up(value);
        ASSERT_LE(static_cast<double>(low), value);
        ASSERT_GE(static_cast<double>(high_float), value);
        if (static_cast<double>(low) == value)
            ASSERT_EQ(low, high_float);
        else
            ASSERT_EQ(std::nextafter(low, std::numeric_limits<float>::infinity()), high_float);
    }
}

TEST(Outward, BoxesGrowOnEverySide) {
    const GMathBbox3<double> box = {{0.1, -0.1, 1.0}, {0.1, -0.1, 1.0}};
    const GMathBbox3<float> rounded = gas_round_outward(box);
    EXPECT_EQ(rounded.min, (GMathVec3<float>{0x1.999998p-4f, -0x1.99999ap-4f, 1.0f}));
    EXPECT_EQ(rounded.max, (GMathVec3<float>{0x1.99999ap-4f, -0x1.999998p-4f, 1.0f}));
    EXPECT_EQ(gas_round_outward(gas_widen(rounded)), rounded);
}

} // namespace
