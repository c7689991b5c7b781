// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace gas_app {

/// Mixes 64 bits well: two rounds of multiply and shift.
inline std::uint64_t hash_bits(std::uint64_t bits) {
    bits ^= bits >> 32;
    bits *= 0xD6E8FEB86659FD93u;
    bits ^= bits >> 32;
    bits *= 0xD6E8FEB86659FD93u;
    bits ^= bits >> 32;
    return bits;
}

/// A hash of two numbers, for chains of them.
inline std::uint64_t hash_pair(std::uint64_t first, std::uint64_t second) {
    return hash_bits(hash_bits(first + 0x9E3779B97F4A7C15u) + second);
}

/// The upper 53 bits as a number in [0, 1).
inline double to_unit(std::uint64_t bits) { return static_cast<double>(bits >> 11) * 0x1p-53; }

/// A number in [0, 1) that depends on the arguments only.
inline double hash_unit(std::uint64_t first, std::uint64_t second) {
    return to_unit(hash_pair(first, second));
}

/// A point of the unit square.
struct SquarePoint {
    double u;
    double v;
};

/// Random numbers of one pixel. Each dimension is a low-discrepancy sequence over the samples,
/// shifted by a hash of seed, pixel and dimension, so that it depends on neither threads nor the
/// order of work.
class PixelSampler {
  public:
    PixelSampler(std::uint64_t seed, std::uint64_t pixel) : m_key(hash_pair(seed, pixel)) {}

    /// Point `sample` of a two-dimensional sequence: multiples of the inverse powers of the plastic
    /// number (1.3247...), the two-dimensional sibling of the golden ratio.
    SquarePoint get_square(std::uint64_t sample, std::uint64_t dimension) const {
        const std::uint64_t shift_u = hash_pair(m_key, 2 * dimension);
        const std::uint64_t shift_v = hash_pair(m_key, 2 * dimension + 1);
        return {to_unit(shift_u + sample * 0xC13FA9A902A6328Fu),
                to_unit(shift_v + sample * 0x91E10DA5C79E7B1Du)};
    }

    /// Number `sample` of a one-dimensional sequence: multiples of the golden ratio.
    double get_line(std::uint64_t sample, std::uint64_t dimension) const {
        return to_unit(hash_pair(m_key, 2 * dimension) + sample * 0x9E3779B97F4A7C15u);
    }

  private:
    std::uint64_t m_key;
};

} // namespace gas_app
