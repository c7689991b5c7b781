// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/dealer.h>

#include <gtest/gtest.h>

namespace {

using gas_app::Dealer;
using Unit = std::optional<unsigned>;

TEST(Dealer, DealsEachUnitOnceWhereNobodyIsSilent) {
    Dealer dealer(5, 2);
    EXPECT_EQ(dealer.deal(0, 0.0), Unit(0));
    EXPECT_EQ(dealer.deal(1, 0.0), Unit(1));
    for (unsigned unit = 2; unit < 5; ++unit) {
        EXPECT_TRUE(dealer.take(unit % 2, unit - 2, 1.0));
        EXPECT_EQ(dealer.deal(unit % 2, 1.0), Unit(unit));
    }
    EXPECT_TRUE(dealer.take(1, 3, 2.0));
    EXPECT_EQ(dealer.deal(1, 2.0), Unit());
    EXPECT_TRUE(dealer.is_idle(1));
    EXPECT_FALSE(dealer.is_done());
    EXPECT_TRUE(dealer.take(0, 4, 2.0));
    EXPECT_TRUE(dealer.is_done());
}

TEST(Dealer, DealsAgainWhatSilentRanksHold) {
    Dealer dealer(3, 3);
    for (unsigned rank = 0; rank < 3; ++rank)
        EXPECT_EQ(dealer.deal(rank, 0.0), Unit(rank));
    // Nothing is known of how long a unit takes.
    EXPECT_FALSE(dealer.seems_dead(2, 1000.0));
    EXPECT_TRUE(dealer.take(0, 0, 1.0));
    const double overdue = Dealer::least_patience + Dealer::patience;
    EXPECT_EQ(dealer.deal(0, overdue), Unit());
    EXPECT_FALSE(dealer.seems_dead(1, overdue));
    EXPECT_TRUE(dealer.seems_dead(1, overdue + 0.1));
    EXPECT_EQ(dealer.deal(0, overdue + 0.1), Unit(1));
    // Another rank comes back, late, and does not get what is being done again.
    EXPECT_TRUE(dealer.take(2, 2, overdue + 0.2));
    EXPECT_EQ(dealer.deal(2, overdue + 0.2), Unit());
    EXPECT_TRUE(dealer.take(0, 1, overdue + 1.0));
    EXPECT_TRUE(dealer.is_done());
    EXPECT_FALSE(dealer.take(1, 1, overdue + 2.0));
}

TEST(Dealer, OutlivesSeveralDeaths) {
    Dealer dealer(4, 4);
    for (unsigned rank = 0; rank < 4; ++rank)
        EXPECT_EQ(dealer.deal(rank, 0.0), Unit(rank));
    EXPECT_TRUE(dealer.take(0, 0, 1.0));
    double now = 0.0;
    for (unsigned unit = 1; unit < 4; ++unit) {
        now += 100.0;
        EXPECT_EQ(dealer.deal(0, now), Unit(unit));
        EXPECT_TRUE(dealer.take(0, unit, now + 1.0));
    }
    EXPECT_TRUE(dealer.is_done());
}

} // namespace
