// SPDX-License-Identifier: Apache-2.0
#include <tests/support/scenes.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include <tests/support/seeded_random.h>

namespace {

using naive::Box;

TEST(SeededRandom, FirstNumbersOfSeedZero) {
    support::SeededRandom random(0);
    EXPECT_EQ(random.next(), 0xe220a839u);
    EXPECT_EQ(random.next(), 0x6e789e6au);
    EXPECT_EQ(random.next(), 0x06c45d18u);
}

TEST(SeededRandom, StaysInItsRanges) {
    support::SeededRandom random(5);
    EXPECT_EQ(random.below(0), 0u);
    bool reached[7] = {};
    for (unsigned i = 0; i < 1000; ++i) {
        reached[random.below(7)] = true;
        const float single = random.uniform();
        EXPECT_TRUE(single >= 0.0f && single < 1.0f);
        const double twice = random.uniform_double();
        EXPECT_TRUE(twice >= 0.0 && twice < 1.0);
    }
    for (const bool value_reached : reached) {
        EXPECT_TRUE(value_reached);
    }
}

TEST(Scenes, BoxesAreFiniteAndOrdered) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (std::uint64_t seed = 0; seed < 20; ++seed) {
            for (const Box& box : scenes::make(kind, 300, seed)) {
                for (unsigned axis = 0; axis < 3; ++axis) {
                    EXPECT_TRUE(std::isfinite(box.min[axis]) && std::isfinite(box.max[axis]));
                    EXPECT_LE(box.min[axis], box.max[axis]) << scenes::name(kind);
                }
            }
        }
    }
}

TEST(Scenes, BitsAreEqualEverywhere) {
    // Pins the generators: a change of one bit in any scene shows here.
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (std::uint64_t seed = 0; seed < 4; ++seed) {
            for (const Box& box : scenes::make(kind, 50, seed)) {
                for (unsigned axis = 0; axis < 3; ++axis) {
                    hash = (hash ^ std::bit_cast<unsigned>(box.min[axis])) * 0x100000001b3u;
                    hash = (hash ^ std::bit_cast<unsigned>(box.max[axis])) * 0x100000001b3u;
                }
            }
        }
    }
    EXPECT_EQ(hash, 18200454781673026049u);
}

} // namespace
