#include <gtest/gtest.h>

#include <vector>

#include <gas/traversal/gas_stream_choices.h>
#include <gas/traversal/gas_stream_lists.h>

namespace {

/// What waits after a step, first in, last out: a lane alone, or a half by its first lane.
struct Waiting {
    unsigned lane;
    bool is_half;

    bool operator==(const Waiting&) const = default;
};

struct Step {
    unsigned next_lane = 0;
    std::vector<Waiting> waiting;
};

/// What a test says, bit by bit.
struct Outcome {
    bool reached[4];
    bool is_second_lane_later[2];
    bool is_second_half_later;
    bool waits_if_later[2];

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
        for (bool& half : waits_if_later)
            half = take();
    }

    bool is_reached(unsigned half) const { return reached[2 * half] || reached[2 * half + 1]; }

    unsigned get_index() const {
        const auto mask = [](bool bit, unsigned lane) { return bit ? 1 << lane : 0; };
        int lanes = 0;
        for (unsigned lane = 0; lane < 4; ++lane)
            lanes |= mask(reached[lane], lane);
        // Lanes that say nothing are set all the same.
        return GasStreamChoices::get_index(
            lanes, mask(is_second_lane_later[0], 0) | mask(is_second_lane_later[1], 2) | 10,
            mask(is_second_half_later, 0) | 14,
            mask(waits_if_later[0], 0) | 10 | mask(waits_if_later[1], 2));
    }
};

/// Both halves in their order, as one goes from child to child: the first half that is reached is
/// gone into, and what comes after waits.
Step walk(const Outcome& test) {
    const unsigned order[2] = {test.is_second_half_later ? 0u : 1u,
                               test.is_second_half_later ? 1u : 0u};
    Step step;
    const bool takes_first = test.is_reached(order[0]);
    const unsigned half = takes_first ? order[0] : order[1];
    if (takes_first && test.waits_if_later[order[1]])
        step.waiting.push_back({2 * order[1], true});
    const unsigned first = 2 * half;
    const unsigned second = first + 1;
    if (test.reached[first] && test.reached[second]) {
        step.next_lane = test.is_second_lane_later[half] ? first : second;
        step.waiting.push_back({step.next_lane == first ? second : first, false});
    } else {
        step.next_lane = test.reached[first] ? first : second;
    }
    return step;
}

TEST(StreamChoices, EveryOutcomeOfATestLeadsWhereAWalkGoes) {
    unsigned count = 0;
    for (unsigned bits = 0; bits < 512; ++bits) {
        const Outcome test(bits);
        const GasStreamChoice choice = gas_stream_choices[test.get_index()];
        if (!test.is_reached(0) && !test.is_reached(1)) {
            EXPECT_EQ(choice.pushed, 0u) << bits;
            EXPECT_EQ(choice.half_waits, 0u) << bits;
            continue;
        }
        const Step expected = walk(test);
        std::vector<Waiting> waiting;
        if (choice.half_waits)
            waiting.push_back({choice.other_half, true});
        if (choice.pushed > waiting.size())
            waiting.push_back({choice.sibling_lane, false});
        EXPECT_EQ(choice.next_lane, expected.next_lane) << bits;
        EXPECT_EQ(choice.pushed, expected.waiting.size()) << bits;
        EXPECT_EQ(waiting, expected.waiting) << bits;
        ++count;
    }
    EXPECT_EQ(count, 480u);
}

TEST(StreamChoices, WhateverIsWrittenStaysWithinTheLanes) {
    for (unsigned index = 0; index < 1024; ++index) {
        const GasStreamChoice choice = gas_stream_choices[index];
        EXPECT_LT(choice.next_lane, 4);
        EXPECT_LT(choice.sibling_lane, 4);
        EXPECT_TRUE(choice.other_half == 0 || choice.other_half == 2);
        EXPECT_LE(choice.half_waits, choice.pushed);
        EXPECT_LE(choice.pushed, 2);
    }
}

TEST(StreamLists, EverySlotStartsOnceAndGoesWhereItIsSent) {
    GasStreamLists lists;
    std::vector<unsigned> seen;
    lists.advance<take_next_ray>([&](unsigned slot) {
        seen.push_back(slot);
        return slot % 4;
    });
    ASSERT_EQ(seen.size(), GasStreamLists::slot_count);
    for (unsigned slot = 0; slot < seen.size(); ++slot)
        EXPECT_EQ(seen[slot], slot);

    lists.dismiss(); // a fourth of them is no longer needed
    const auto take = [](auto advance) {
        std::vector<unsigned> slots;
        advance([&](unsigned slot) {
            slots.push_back(slot);
            return unsigned{take_next_ray};
        });
        return slots;
    };
    std::vector<unsigned> expected[3];
    for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot) {
        if (slot % 4 != take_next_ray)
            expected[slot % 4].push_back(slot);
    }
    EXPECT_EQ(take([&](auto run) { lists.advance<expand_node>(run); }), expected[expand_node]);
    EXPECT_EQ(take([&](auto run) { lists.advance<visit_leaf>(run); }), expected[visit_leaf]);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<pop_entry>(run); }), expected[pop_entry]);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<take_next_ray>(run); }).size(), 24u);
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
