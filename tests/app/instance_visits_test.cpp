// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/instance_visits.h>

#include <map>

#include <gmock/gmock.h>

namespace {

using gas_app::InstanceVisits;
using testing::Pair;
using testing::UnorderedElementsAre;

using Rays = std::vector<unsigned>;
using Round = std::map<unsigned, Rays>;

/// Whom a round traces, per instance; empty when there was nobody left.
template <typename IsWanted> Round trace_round(InstanceVisits& visits, const IsWanted& is_wanted) {
    Round round;
    const bool has_any = visits.trace_round(is_wanted, [&](unsigned instance, const Rays& rays) {
        EXPECT_TRUE(round.emplace(instance, rays).second) << "once for each instance";
    });
    EXPECT_EQ(has_any, !round.empty());
    return round;
}

Round trace_round(InstanceVisits& visits) {
    return trace_round(visits, [](unsigned, unsigned) { return true; });
}

TEST(InstanceVisits, GroupRaysRoundByRound) {
    InstanceVisits visits;
    visits.start(4, 10);
    visits.add(0, 7);
    visits.add(2, 7);
    visits.add(0, 3);
    visits.add(3, 3);
    visits.add(2, 9);
    visits.add(3, 9);
    EXPECT_THAT(trace_round(visits),
                UnorderedElementsAre(Pair(7u, testing::UnorderedElementsAre(0u, 2u)),
                                     Pair(3u, testing::ElementsAre(3u))));
    EXPECT_THAT(trace_round(visits),
                UnorderedElementsAre(Pair(3u, testing::ElementsAre(0u)),
                                     Pair(9u, testing::UnorderedElementsAre(2u, 3u))));
    EXPECT_TRUE(trace_round(visits).empty());
}

TEST(InstanceVisits, SkipInstancesThatAreNotWanted) {
    InstanceVisits visits;
    visits.start(2, 5);
    for (const unsigned instance : {4u, 1u, 2u, 0u})
        visits.add(1, instance);
    const auto is_even = [](unsigned, unsigned instance) { return instance % 2 == 0; };
    EXPECT_THAT(trace_round(visits, is_even), UnorderedElementsAre(Pair(4u, Rays{1})));
    EXPECT_THAT(trace_round(visits, is_even), UnorderedElementsAre(Pair(2u, Rays{1})));
    EXPECT_TRUE(trace_round(visits, [](unsigned, unsigned) { return false; }).empty());
    EXPECT_TRUE(trace_round(visits).empty()) << "a ray that wanted nothing is done";
}

TEST(InstanceVisits, StartAgain) {
    InstanceVisits visits;
    visits.start(3, 3);
    EXPECT_TRUE(trace_round(visits).empty());
    visits.add(2, 2);
    visits.start(1, 1);
    EXPECT_TRUE(trace_round(visits).empty());
    visits.add(0, 0);
    EXPECT_THAT(trace_round(visits), UnorderedElementsAre(Pair(0u, Rays{0})));
}

} // namespace
