#pragma once

#include <cstdint>
#include <initializer_list>

inline namespace gas_abi1 {

/// In which order the lanes of a wide node that a ray reaches are visited, looked up by what the
/// test says of them: a table in place of branches that could not be predicted.

struct GasWideOrder {
    /// The lanes that are reached, the last one to be visited first; the rest may be any lanes.
    std::uint8_t lanes[4];
    std::uint8_t count;
    std::uint8_t unused[3];
};

static_assert(sizeof(GasWideOrder) == 8, "one load, and an index times 8");

class GasWideOrders {
  public:
    /// The index of what a test says: which lanes are reached; in bits 0 and 2 whether the lane
    /// after it is entered later; in bit 0 whether the second half is entered after the first.
    static unsigned get_index(unsigned reached, unsigned later_lanes, unsigned later_half) {
        return reached | (later_lanes & 5) << 4 | (later_half & 1) << 5;
    }

    constexpr GasWideOrders() : m_orders{} {
        for (unsigned index = 0; index < count; ++index)
            m_orders[index] = order_lanes(index);
    }

    constexpr const GasWideOrder& operator[](unsigned index) const { return m_orders[index]; }

  private:
    static constexpr unsigned count = 128;

    static constexpr GasWideOrder order_lanes(unsigned index) {
        const auto has = [&](unsigned bit) { return (index >> bit & 1) != 0; };
        GasWideOrder order = {};
        const auto add = [&](unsigned lane) {
            if (has(lane))
                order.lanes[order.count++] = static_cast<std::uint8_t>(lane);
        };
        const unsigned last_half = has(5) ? 1 : 0;
        for (const unsigned half : {last_half, 1 - last_half}) {
            const unsigned last_lane = has(4 + 2 * half) ? 1 : 0;
            add(2 * half + last_lane);
            add(2 * half + 1 - last_lane);
        }
        return order;
    }

    GasWideOrder m_orders[count];
};

inline constexpr GasWideOrders gas_wide_orders;

} // namespace gas_abi1
