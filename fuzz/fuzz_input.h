// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

/// The bytes that a fuzzer gives, read from the first to the last; zeros after these.
class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes), m_left(size) {}

    bool is_empty() const { return m_left == 0; }

    unsigned take_byte() {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_bytes++;
    }
    /// A number below `end`, which is at most 256.
    unsigned take_below(unsigned end) { return take_byte() % end; }
    bool take_flag() { return (take_byte() & 1) != 0; }
    /// True for one byte in `odds`, 2 to 256, and never where there is none.
    bool take_chance(unsigned odds) { return take_below(odds) == odds - 1; }
    std::uint32_t take_word() {
        std::uint32_t word = 0;
        for (unsigned i = 0; i < 4; ++i)
            word = word << 8 | take_byte();
        return word;
    }
    /// One of few, so that a change of a byte changes all that is drawn from it.
    std::uint64_t take_seed() { return std::uint64_t{take_byte()} << 8 | take_byte(); }
    /// All bytes that are left.
    std::string take_rest() {
        std::string rest(reinterpret_cast<const char*>(m_bytes), m_left);
        m_left = 0;
        return rest;
    }

    /// -16 to 15.875 in steps of an eighth: equal to others of its kind, often.
    float take_lattice() { return (static_cast<float>(take_byte()) - 128.0f) * 0.125f; }
    /// Mostly of the lattice; now and then any float.
    float take_float() { return take_chance(32) ? take_special() : take_lattice(); }

    /// A number at which arithmetic is special, or one of any bits. All NaN are the same one.
    float take_special() {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr float values[] = {std::numeric_limits<float>::quiet_NaN(),
                                    infinity,
                                    -infinity,
                                    FLT_MAX,
                                    -FLT_MAX,
                                    1.7e38f,
                                    -1.7e38f,
                                    0.0f,
                                    -0.0f,
                                    FLT_TRUE_MIN,
                                    -FLT_TRUE_MIN,
                                    FLT_MIN,
                                    1e-8f,
                                    -1e-8f,
                                    1e6f,
                                    1000000.0625f,
                                    0x1p127f,
                                    -0x1p127f,
                                    82.0f};
        const unsigned choice = take_below(std::size(values) + 1);
        if (choice < std::size(values))
            return values[choice];
        const float number = std::bit_cast<float>(take_word());
        return std::isnan(number) ? values[0] : number;
    }
    /// The same among doubles.
    double take_special_double() {
        constexpr double values[] = {5e-324, -5e-324, 1e-40, -1e-39, 1e300, -1e300, 1e-300, 3e-39};
        const unsigned choice = take_below(2 * std::size(values));
        return choice < std::size(values) ? values[choice] : static_cast<double>(take_special());
    }

  private:
    const std::uint8_t* m_bytes;
    std::size_t m_left;
};
