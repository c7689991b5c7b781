// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace support {

/// A small generator of our own, so that one seed gives the same numbers with every compiler and
/// standard library: a 64-bit counter in steps of the golden ratio, mixed by two rounds of shift,
/// exclusive-or and multiply (splitmix64); `next` hands out the upper half.
class SeededRandom {
  public:
    explicit SeededRandom(std::uint64_t seed) : state(seed) {}

    /// 32 random bits.
    unsigned next() {
        state += 0x9e3779b97f4a7c15u;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
        return static_cast<unsigned>((mixed ^ (mixed >> 31)) >> 32);
    }

    /// 0 to n - 1; 0 for n = 0.
    unsigned below(unsigned n) {
        return static_cast<unsigned>((static_cast<std::uint64_t>(next()) * n) >> 32);
    }

    /// A multiple of 2^-24 in [0, 1).
    float uniform() { return static_cast<float>(next() >> 8) * (1.0f / 16777216.0f); }

    /// A multiple of 2^-53 in [0, 1).
    double uniform_double() {
        const std::uint64_t high = next() >> 5;
        const std::uint64_t low = next() >> 6;
        return static_cast<double>((high << 26) | low) * (1.0 / 9007199254740992.0);
    }

    /// In [low, high), up to rounding.
    float between(float low, float high) {
        const float scaled = uniform() * (high - low);
        return low + scaled;
    }

  private:
    std::uint64_t state;
};

} // namespace support
