// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

inline namespace gas_abi1 {

/// In which order the lanes of a wide node that a ray reaches are visited, looked up by what the
/// test says of them: a table in place of branches that could not be predicted.

template <unsigned width> struct GasWideOrderOf {
    /// The lanes that are reached, the last one to be visited first; the rest may be any lanes.
    std::uint8_t lanes[width];
    std::uint8_t count;
    std::uint8_t unused[width - 1];
};

/// The same lanes as words, for a permutation of all at once.
template <unsigned width> struct alignas(16) GasWideLaneOrderOf { std::uint32_t lanes[width]; };

/// An index holds a bit for each lane, whether it is reached, and above these a bit for each two
/// neighbours: for lanes i and i + 1 whether what lane i + 1 begins, a lane, half or quarter, is
/// entered after what ends at lane i.
template <unsigned width> class GasWideOrdersOf {
  public:
    using Order = GasWideOrderOf<width>;

    /// The index of what a test says: which lanes are reached, and a bit for each two neighbours.
    static unsigned get_index(unsigned reached, unsigned later) { return reached | later << width; }

    constexpr GasWideOrdersOf() : m_orders{} {
        for (unsigned index = 0; index < count; ++index)
            m_orders[index] = order_lanes(index);
    }

    constexpr const Order& operator[](unsigned index) const { return m_orders[index]; }

    static constexpr unsigned count = 1u << (2 * width - 1);

  private:
    static constexpr Order order_lanes(unsigned index) {
        Order order = {};
        add_lanes(index, 0, width, order);
        return order;
    }

    /// Adds those of `lane_count` lanes that are reached, the half that is entered later first.
    static constexpr void add_lanes(unsigned index, unsigned first, unsigned lane_count,
                                    Order& order) {
        if (lane_count == 1) {
            if ((index >> first & 1) != 0)
                order.lanes[order.count++] = static_cast<std::uint8_t>(first);
            return;
        }
        const unsigned half = lane_count / 2;
        const bool is_second_later = (index >> (width + first + half - 1) & 1) != 0;
        add_lanes(index, is_second_later ? first + half : first, half, order);
        add_lanes(index, is_second_later ? first : first + half, half, order);
    }

    Order m_orders[count];
};

using GasWideOrder = GasWideOrderOf<4>;
using GasWideOrders = GasWideOrdersOf<4>;

static_assert(sizeof(GasWideOrder) == 8, "one load, and an index times 8");

inline constexpr GasWideOrders gas_wide_orders;

template <unsigned width> class GasWideLaneOrdersOf {
  public:
    constexpr GasWideLaneOrdersOf() : m_orders{} {
        const GasWideOrdersOf<width> orders;
        for (unsigned index = 0; index < GasWideOrdersOf<width>::count; ++index)
            for (unsigned place = 0; place < width; ++place)
                m_orders[index].lanes[place] = orders[index].lanes[place];
    }

    constexpr const GasWideLaneOrderOf<width>& operator[](unsigned index) const {
        return m_orders[index];
    }

  private:
    GasWideLaneOrderOf<width> m_orders[GasWideOrdersOf<width>::count];
};

inline constexpr GasWideLaneOrdersOf<4> gas_wide_lane_orders;

} // namespace gas_abi1
