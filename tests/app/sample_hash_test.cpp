// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/math/sample_hash.h>

#include <array>
#include <set>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

TEST(SampleHash, GivesTheSameNumbersEverywhere) {
    EXPECT_EQ(hash_bits(0), 0u);
    EXPECT_EQ(hash_bits(1), 0x4179B061E0C0E0D0u);
    EXPECT_EQ(hash_pair(1, 2), hash_pair(1, 2));
    EXPECT_NE(hash_pair(1, 2), hash_pair(2, 1));
}

TEST(SampleHash, TurnsBitsIntoFractions) {
    EXPECT_EQ(to_unit(0), 0.0);
    EXPECT_EQ(to_unit(std::uint64_t{1} << 63), 0.5);
    EXPECT_LT(to_unit(~std::uint64_t{0}), 1.0);
}

TEST(SampleHash, SpreadsEvenly) {
    std::array<unsigned, 16> bins = {};
    for (unsigned index = 0; index < 16000; ++index)
        ++bins[static_cast<unsigned>(hash_unit(5, index) * 16.0)];
    for (const unsigned count : bins) {
        EXPECT_GT(count, 850u);
        EXPECT_LT(count, 1150u);
    }
}

TEST(SampleHash, FillsTheSquareOfAPixel) {
    // 64 samples reach every cell of a 5 x 5 grid, whatever the shift.
    for (unsigned pixel = 0; pixel < 50; ++pixel) {
        const PixelSampler sampler(1, pixel);
        std::set<unsigned> cells;
        for (unsigned sample = 0; sample < 64; ++sample) {
            const SquarePoint point = sampler.get_square(sample, 3);
            ASSERT_TRUE(point.u >= 0.0 && point.u < 1.0 && point.v >= 0.0 && point.v < 1.0);
            cells.insert(static_cast<unsigned>(point.u * 5.0) * 5 +
                         static_cast<unsigned>(point.v * 5.0));
        }
        EXPECT_EQ(cells.size(), 25u) << pixel;
    }
}

TEST(SampleHash, CoversTheShutter) {
    const PixelSampler sampler(1, 9);
    std::set<unsigned> parts;
    for (unsigned sample = 0; sample < 13; ++sample)
        parts.insert(static_cast<unsigned>(sampler.get_line(sample, 1) * 8.0));
    EXPECT_EQ(parts.size(), 8u);
}

TEST(SampleHash, DependsOnSeedPixelAndDimension) {
    const double usual = PixelSampler(1, 2).get_line(0, 3);
    EXPECT_EQ(PixelSampler(1, 2).get_line(0, 3), usual);
    EXPECT_NE(PixelSampler(2, 2).get_line(0, 3), usual);
    EXPECT_NE(PixelSampler(1, 3).get_line(0, 3), usual);
    EXPECT_NE(PixelSampler(1, 2).get_line(0, 4), usual);
}

} // namespace
