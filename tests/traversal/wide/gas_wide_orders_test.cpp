// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <gas/traversal/wide/gas_wide_orders.h>

namespace {

/// What a test says, bit by bit.
struct Outcome {
    bool reached[4];
    bool is_second_lane_later[2];
    bool is_second_half_later;

    explicit Outcome(unsigned bits) {
        const auto take = [&bits] {
            const bool bit = (bits & 1) != 0;
            bits >>= 1;
            return bit;
        };
        for (bool& lane : reached)
            lane = take();
        for (bool& half : is_second_lane_later)
            half = take();
        is_second_half_later = take();
    }

    unsigned get_index() const {
        const auto mask = [](bool bit, unsigned lane) { return bit ? 1u << lane : 0u; };
        unsigned lanes = 0;
        for (unsigned lane = 0; lane < 4; ++lane)
            lanes |= mask(reached[lane], lane);
        return GasWideOrders::get_index(lanes, mask(is_second_lane_later[0], 0) |
                                                   mask(is_second_half_later, 1) |
                                                   mask(is_second_lane_later[1], 2));
    }
};

/// The lanes in the order of a walk: the half that is entered first, and in it the lane that is
/// entered first; where the later one is not later, the second goes first.
std::vector<unsigned> walk(const Outcome& test) {
    std::vector<unsigned> visited;
    for (unsigned i = 0; i < 2; ++i) {
        const unsigned half = test.is_second_half_later ? i : 1 - i;
        for (unsigned k = 0; k < 2; ++k) {
            const unsigned lane = 2 * half + (test.is_second_lane_later[half] ? k : 1 - k);
            if (test.reached[lane])
                visited.push_back(lane);
        }
    }
    return visited;
}

TEST(WideOrders, LanesAreTakenInTheOrderOfAWalk) {
    for (unsigned bits = 0; bits < 128; ++bits) {
        const Outcome test(bits);
        const GasWideOrder& order = gas_wide_orders[test.get_index()];
        std::vector<unsigned> visited(order.lanes, order.lanes + order.count);
        std::reverse(visited.begin(), visited.end());
        EXPECT_EQ(visited, walk(test)) << bits;
    }
}

TEST(WideOrders, WhateverIsCopiedIsALane) {
    for (unsigned index = 0; index < 128; ++index) {
        EXPECT_LE(gas_wide_orders[index].count, 4);
        for (const unsigned lane : gas_wide_orders[index].lanes)
            EXPECT_LT(lane, 4u);
    }
}

TEST(WideOrders, OfLanesAtOnceAreTheSame) {
    for (unsigned index = 0; index < GasWideOrders::count; ++index)
        for (unsigned place = 0; place < 4; ++place)
            EXPECT_EQ(gas_wide_lane_orders[index].lanes[place], gas_wide_orders[index].lanes[place])
                << index;
}

} // namespace
