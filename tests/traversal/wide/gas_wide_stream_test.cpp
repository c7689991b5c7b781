// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/traversal/wide/gas_wide_stream.h>

namespace {

TEST(StreamLists, EverySlotStartsOnceAndGoesWhereItIsSent) {
    constexpr GasStreamStep::Value steps[3] = {
        GasStreamStep::expand_node, GasStreamStep::visit_leaf, GasStreamStep::take_next_ray};
    GasStreamLists lists;
    std::vector<unsigned> seen;
    lists.advance<GasStreamStep::take_next_ray>([&](unsigned slot) {
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
            return unsigned{GasStreamStep::take_next_ray};
        });
        return slots;
    };
    std::vector<unsigned> nodes;
    std::vector<unsigned> leaves;
    for (unsigned slot = 0; slot < GasStreamLists::slot_count; ++slot) {
        if (steps[slot % 3] == GasStreamStep::expand_node)
            nodes.push_back(slot);
        else if (steps[slot % 3] == GasStreamStep::visit_leaf)
            leaves.push_back(slot);
    }
    EXPECT_EQ(take([&](auto run) { lists.advance<GasStreamStep::expand_node>(run); }), nodes);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<GasStreamStep::visit_leaf>(run); }), leaves);
    EXPECT_FALSE(lists.is_empty());
    EXPECT_EQ(take([&](auto run) { lists.advance<GasStreamStep::take_next_ray>(run); }).size(),
              22u);
    lists.dismiss();
    EXPECT_TRUE(lists.is_empty());
}

TEST(StreamLists, ByTwosEverySlotIsServedOnceAndAnOddOneWithItself) {
    for (unsigned odd = 0; odd < 2; ++odd) {
        GasStreamLists lists;
        lists.advance<GasStreamStep::take_next_ray>([&](unsigned slot) {
            return slot < 10 + odd ? unsigned{GasStreamStep::expand_node}
                                   : unsigned{GasStreamStep::take_next_ray};
        });
        lists.dismiss();
        std::vector<unsigned> served;
        lists.advance_by_twos<GasStreamStep::expand_node>([&](unsigned slot, unsigned other) {
            served.push_back(slot);
            EXPECT_EQ(other, slot == 10 ? slot : slot + 1);
            if (other != slot)
                served.push_back(other);
            const auto next = [](unsigned of) {
                return of % 3 == 0 ? unsigned{GasStreamStep::visit_leaf}
                                   : unsigned{GasStreamStep::take_next_ray};
            };
            return GasStreamSteps{next(slot), next(other)};
        });
        ASSERT_EQ(served.size(), 10 + odd);
        for (unsigned slot = 0; slot < served.size(); ++slot)
            EXPECT_EQ(served[slot], slot);
        std::vector<unsigned> leaves;
        lists.advance<GasStreamStep::visit_leaf>([&](unsigned slot) {
            leaves.push_back(slot);
            return unsigned{GasStreamStep::take_next_ray};
        });
        EXPECT_EQ(leaves, (std::vector<unsigned>{0, 3, 6, 9}));
    }
}

TEST(StreamLists, ASlotThatWaitsIsServedOnceItsStepIsPut) {
    GasStreamLists lists(GasStreamStep::wait);
    EXPECT_TRUE(lists.is_empty());
    lists.put(3, GasStreamStep::expand_node);
    lists.put(31, GasStreamStep::visit_leaf);
    lists.put(0, GasStreamStep::take_next_ray);
    std::vector<unsigned> served;
    const auto serve = [&](unsigned slot) {
        served.push_back(slot);
        return unsigned{GasStreamStep::wait};
    };
    lists.advance<GasStreamStep::expand_node>(serve);
    EXPECT_EQ(served, (std::vector<unsigned>{3}));
    lists.advance<GasStreamStep::visit_leaf>(serve);
    EXPECT_EQ(served, (std::vector<unsigned>{3, 31}));
    lists.advance<GasStreamStep::take_next_ray>(serve);
    EXPECT_EQ(served, (std::vector<unsigned>{3, 31, 0}));
    EXPECT_TRUE(lists.is_empty());
}

TEST(StreamLists, ASlotThatKeepsItsStepWaitsForTheNextTurn) {
    GasStreamLists lists;
    lists.advance<GasStreamStep::take_next_ray>(
        [](unsigned) { return unsigned{GasStreamStep::expand_node}; });
    for (unsigned turn = 0; turn < 3; ++turn) {
        unsigned calls = 0;
        lists.advance<GasStreamStep::expand_node>([&](unsigned) {
            ++calls;
            return unsigned{GasStreamStep::expand_node};
        });
        EXPECT_EQ(calls, GasStreamLists::slot_count);
    }
    EXPECT_FALSE(lists.is_empty());
}

} // namespace
