// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/query/gas_ray_query.h>

namespace {

using ClosestHit = GasClosestHit<GasLeafCache>;
using AnyHit = GasAnyHit<GasLeafCache>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(BoundHistory, KeepsTheBoundAfterEachVisit) {
    GasBoundHistory<ClosestHit> history(10.0);
    EXPECT_EQ(history.follow(10.0), GasBoundChange::none);
    EXPECT_EQ(history.follow(7.0), GasBoundChange::shorter);
    EXPECT_EQ(history.follow(7.0), GasBoundChange::none);
    EXPECT_EQ(history.follow(-infinity), GasBoundChange::shorter);
    EXPECT_EQ(history.follow(-infinity), GasBoundChange::none);
    ASSERT_EQ(history.get_visit_count(), 5u);
    const double bounds[] = {10.0, 10.0, 7.0, 7.0, -infinity};
    for (unsigned visits = 0; visits < 5; ++visits)
        EXPECT_EQ(history.get_bound(visits), bounds[visits]) << visits;
}

TEST(BoundHistory, IsLostWhereABoundMovesAwayOrIsNoNumber) {
    for (const double bound : {10.5, infinity, nan}) {
        GasBoundHistory<ClosestHit> history(10.0);
        EXPECT_EQ(history.follow(bound), GasBoundChange::lost) << bound;
        EXPECT_EQ(history.get_visit_count(), 1u);
        EXPECT_EQ(history.get_bound(0), 10.0);
    }
}

TEST(BoundHistory, OfAllHitsIsLostWithTheFirstChange) {
    GasBoundHistory<AnyHit> history(10.0);
    EXPECT_EQ(history.follow(10.0), GasBoundChange::none);
    EXPECT_EQ(history.follow(9.0), GasBoundChange::lost);
    EXPECT_EQ(history.get_visit_count(), 2u);
    EXPECT_EQ(history.get_bound(1), 10.0);
}

TEST(BoundHistory, IsLostWhenItIsFull) {
    GasBoundHistory<ClosestHit> history(100.0);
    unsigned kept = 0;
    while (history.follow(99.0 - kept) == GasBoundChange::shorter)
        ++kept;
    EXPECT_EQ(kept, 16u);
    EXPECT_EQ(history.get_visit_count(), 17u);
    for (unsigned visits = 0; visits < 17; ++visits)
        EXPECT_EQ(history.get_bound(visits), 100.0 - visits);
}

/// A query that writes down what it visits, through whichever copy.
struct Recorder {
    static constexpr bool follows_bound = true;

    double get_bound() const { return *bound; }
    static bool is_beyond(float entry_distance, double limit) {
        return static_cast<double>(entry_distance) >= limit;
    }
    template <typename Tree, typename Call>
    bool visit_leaf(const Tree&, unsigned leaf, const Call&) {
        leaves->push_back(leaf);
        return leaf == 5;
    }
    void finish() { *finished = true; }

    double* bound;
    std::vector<unsigned>* leaves;
    bool* finished;
};

class ResumedQuery : public testing::Test {
  protected:
    double bound = 8.0;
    std::vector<unsigned> leaves;
    bool finished = false;
    Recorder query = {&bound, &leaves, &finished};
    GasBoundHistory<Recorder> history{9.0};
};

TEST_F(ResumedQuery, PassesWhatWasVisitedWithTheBoundsOfThen) {
    history.follow(9.0);
    history.follow(4.0);
    history.follow(8.0);
    GasResumedQuery<Recorder> resumed(query, history);
    const auto visit = [&](unsigned leaf) { return resumed.visit_leaf(0, leaf, [](unsigned) {}); };
    EXPECT_EQ(resumed.get_bound(), 9.0);
    EXPECT_FALSE(visit(1));
    EXPECT_EQ(resumed.get_bound(), 9.0);
    EXPECT_FALSE(visit(5));
    EXPECT_EQ(resumed.get_bound(), 4.0);
    EXPECT_FALSE(visit(3));
    EXPECT_TRUE(leaves.empty());

    EXPECT_EQ(resumed.get_bound(), 8.0);
    bound = 2.0;
    EXPECT_EQ(resumed.get_bound(), 2.0);
    EXPECT_TRUE(resumed.is_beyond(2.0f, 2.0));
    EXPECT_FALSE(visit(7));
    EXPECT_TRUE(visit(5));
    EXPECT_EQ(leaves, (std::vector<unsigned>{7, 5}));
    resumed.finish();
    EXPECT_TRUE(finished);
}

TEST_F(ResumedQuery, IsHandedOverWhereTheBoundIsLost) {
    std::vector<double> bounds;
    unsigned resumed = 0;
    const auto follow = [&](double new_bound) {
        bound = new_bound;
        return gas_follow_or_resume(
            query, history, [&](double shorter) { bounds.push_back(shorter); },
            [&](GasResumedQuery<Recorder> rest) {
                ++resumed;
                EXPECT_EQ(rest.get_bound(), 9.0);
            });
    };
    EXPECT_TRUE(follow(9.0));
    EXPECT_TRUE(follow(3.0));
    EXPECT_TRUE(follow(3.0));
    EXPECT_EQ(bounds, std::vector<double>{3.0});
    EXPECT_EQ(resumed, 0u);
    EXPECT_FALSE(follow(4.0));
    EXPECT_EQ(resumed, 1u);
    EXPECT_EQ(bounds.size(), 1u);
}

TEST(RayQuery, TheLimitIsTheFarthestFloatInFrontOfTheBound) {
    constexpr float float_infinity = std::numeric_limits<float>::infinity();
    constexpr float largest = std::numeric_limits<float>::max();
    constexpr float smallest = std::numeric_limits<float>::denorm_min();
    EXPECT_EQ(ClosestHit::get_limit(1.0), 0x1.fffffep-1f);
    EXPECT_EQ(ClosestHit::get_limit(0x1.0000001p0), 1.0f);
    EXPECT_EQ(ClosestHit::get_limit(0x1.000001fp0), 1.0f);
    EXPECT_EQ(ClosestHit::get_limit(0x1.0000020p0), 1.0f);
    EXPECT_EQ(ClosestHit::get_limit(0x1.0000021p0), 0x1.000002p0f);
    EXPECT_EQ(ClosestHit::get_limit(0.0), -smallest);
    EXPECT_EQ(ClosestHit::get_limit(infinity), largest);
    EXPECT_EQ(ClosestHit::get_limit(1e300), largest);
    EXPECT_EQ(ClosestHit::get_limit(-static_cast<double>(largest)), -float_infinity);
    EXPECT_EQ(ClosestHit::get_limit(-1e300), -float_infinity);
    EXPECT_TRUE(ClosestHit::get_limit(-infinity) != ClosestHit::get_limit(-infinity));
    EXPECT_TRUE(ClosestHit::get_limit(nan) != ClosestHit::get_limit(nan));
    EXPECT_EQ(AnyHit::get_limit(1.0), 1.0f);
    EXPECT_EQ(AnyHit::get_limit(1e300), float_infinity);
}

} // namespace
