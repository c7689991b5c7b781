#pragma once

#include <cstdint>
#include <initializer_list>

/// In which order a stream takes the lanes of a wide node that a ray reaches, looked up by what the
/// test says of them: a table in place of branches that could not be predicted.

struct GasStreamChoice {
    /// The lanes that are reached, the last one to be visited first; the rest may be any lanes.
    std::uint8_t lanes[4];
    std::uint8_t count;
    std::uint8_t unused[3];
};

static_assert(sizeof(GasStreamChoice) == 8, "one load, and an index times 8");

class GasStreamChoices {
  public:
    /// The index of what a test says: which lanes are reached; in bits 0 and 2 whether the lane
    /// after it is entered later; in bit 0 whether the second half is entered after the first.
    static unsigned get_index(unsigned reached, unsigned later_lanes, unsigned later_half) {
        return reached | (later_lanes & 5) << 4 | (later_half & 1) << 5;
    }

    constexpr GasStreamChoices() : m_choices{} {
        for (unsigned index = 0; index < count; ++index)
            m_choices[index] = choose(index);
    }

    constexpr const GasStreamChoice& operator[](unsigned index) const { return m_choices[index]; }

  private:
    static constexpr unsigned count = 128;

    static constexpr GasStreamChoice choose(unsigned index) {
        const auto has = [&](unsigned bit) { return (index >> bit & 1) != 0; };
        GasStreamChoice choice = {};
        const auto add = [&](unsigned lane) {
            if (has(lane))
                choice.lanes[choice.count++] = static_cast<std::uint8_t>(lane);
        };
        const unsigned last_half = has(5) ? 1 : 0;
        for (const unsigned half : {last_half, 1 - last_half}) {
            const unsigned last_lane = has(4 + 2 * half) ? 1 : 0;
            add(2 * half + last_lane);
            add(2 * half + 1 - last_lane);
        }
        return choice;
    }

    GasStreamChoice m_choices[count];
};

inline constexpr GasStreamChoices gas_stream_choices;
