#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <gas/traversal/gas_stream_choices.h>
#include <gas/traversal/gas_stream_lists.h>

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
        // Bits that say nothing are set all the same.
        return GasStreamChoices::get_index(
            lanes, mask(is_second_lane_later[0], 0) | mask(is_second_lane_later[1], 2) | 10,
            mask(is_second_half_later, 0) | 14);
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

TEST(StreamChoices, LanesAreTakenInTheOrderOfAWalk) {
    for (unsigned bits = 0; bits < 128; ++bits) {
        const Outcome test(bits);
        const GasStreamChoice& choice = gas_stream_choices[test.get_index()];
        std::vector<unsigned> visited(choice.lanes, choice.lanes + choice.count);
        std::reverse(visited.begin(), visited.end());
        EXPECT_EQ(visited, walk(test)) << bits;
    }
}

TEST(StreamChoices, WhateverIsCopiedIsALane) {
    for (unsigned index = 0; index < 128; ++index) {
        EXPECT_LE(gas_stream_choices[index].count, 4);
        for (const unsigned lane : gas_stream_choices[index].lanes)
            EXPECT_LT(lane, 4u);
    }
}

TEST(StreamLists, EverySlotStartsOnceAndGoesWhereItIsSent) {
    constexpr GasStreamStep steps[3] = {expand_node, visit_leaf, take_next_ray};
    GasStreamLists lists;
    std::vector<unsigned> seen;
    lists.advance<take_next_ray>([&](unsigned slot) {
        seen.push_back(slot);
        return unsigned{steps[slot % 3]};
    });
    ASSERT_EQ(seen.size(), GasStreamLists::slot_count);
    for (unsigned slot = 0; slot < seen.size(); ++slot)
        EXPECT_EQ(seen[slot], slot);

    lists.dismiss(); // a third of them is no longer needed
    const auto take = [](auto advance) {
        std::vector<unsigned> slots;
        advance([&](unsigned slot) {
            slots.push_back(slot);
            return unsigned{take_next_ray};
        });
        return slots;
    };
    std::vector<unsigned> nodes;
    std::vector<unsigned> leaves;
    for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot) {
        if (steps[slot % 3] == expand_node)
            nodes.push_back(slot);
        else if (steps[slot % 3] == visit_leaf)
            leaves.push_back(slot);
    }
    EXPECT_EQ(take([&](auto run) { lists.advance<expand_node>(run); }), nodes);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<visit_leaf>(run); }), leaves);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<take_next_ray>(run); }).size(), 22u);
    lists.dismiss();
    EXPECT_TRUE(lists.is_empty());
}

TEST(StreamLists, ASlotThatKeepsItsStepWaitsForTheNextTurn) {
    GasStreamLists lists;
    lists.advance<take_next_ray>([](unsigned) { return unsigned{expand_node}; });
    for (unsigned turn = 0; turn < 3; ++turn) {
        unsigned calls = 0;
        lists.advance<expand_node>([&](unsigned) {
            ++calls;
            return unsigned{expand_node};
        });
        EXPECT_EQ(calls, GasStreamLists::slot_count);
    }
    EXPECT_FALSE(lists.is_empty());
}

} // namespace
