#pragma once

#include <cstdint>

/// What a step of a stream does with the lanes of a wide node, looked up by what the test says of
/// them: a table in place of branches that could not be predicted.

struct GasStreamChoice {
    std::uint8_t next_lane;
    /// The other lane of the same half, which waits alone, and the first lane of the other half.
    std::uint8_t sibling_lane;
    std::uint8_t other_half;
    /// Whether the other half waits, and how many entries wait in all.
    std::uint8_t half_waits : 4;
    std::uint8_t pushed : 4;
};

class GasStreamChoices {
  public:
    /// The index of what a test says, in masks of four lanes: which lanes are reached; in lanes 0
    /// and 2 whether the lane after it is entered later; in lane 0 whether the second half is
    /// entered after the first; in lanes 0 and 2 whether the ray reaches the half's own box and
    /// crosses a child of it.
    static unsigned get_index(int reached, int later_lanes, int later_half, int reached_halves) {
        return static_cast<unsigned>(reached | (later_lanes & 5) << 4 | (later_half & 1) << 5 |
                                     (reached_halves & 5) << 7);
    }

    constexpr GasStreamChoices() : m_choices{} {
        for (unsigned index = 0; index < count; ++index)
            m_choices[index] = choose(index);
    }

    constexpr const GasStreamChoice& operator[](unsigned index) const { return m_choices[index]; }

  private:
    static constexpr unsigned count = 1024;

    static constexpr GasStreamChoice choose(unsigned index) {
        if ((index & 15) == 0)
            return {};
        const auto has = [&](unsigned bit) { return (index >> bit & 1) != 0; };
        const bool reached[2] = {(index & 3) != 0, (index & 12) != 0};
        const bool first_is_nearer = has(5);
        // A half none of whose lanes is reached is passed by, unless its turn comes later.
        const unsigned half = reached[0] && (first_is_nearer || !reached[1]) ? 0 : 1;
        const unsigned other = 1 - half;
        const bool other_is_later = first_is_nearer == (half == 0);
        const bool other_waits = other_is_later && has(7 + 2 * other);
        const bool both = has(2 * half) && has(2 * half + 1);
        const unsigned lane = has(2 * half) && (!both || has(4 + 2 * half)) ? 0 : 1;
        GasStreamChoice choice = {};
        choice.next_lane = static_cast<std::uint8_t>(2 * half + lane);
        choice.sibling_lane = static_cast<std::uint8_t>(2 * half + 1 - lane);
        choice.other_half = static_cast<std::uint8_t>(2 * other);
        choice.half_waits = other_waits ? 1 : 0;
        choice.pushed = static_cast<std::uint8_t>((other_waits ? 1 : 0) + (both ? 1 : 0)) & 15;
        return choice;
    }

    GasStreamChoice m_choices[count];
};

inline constexpr GasStreamChoices gas_stream_choices;
