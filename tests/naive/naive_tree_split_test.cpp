#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include <tests/naive/naive_tree.h>
#include <tests/support/axis_cases.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using naive::Split;
using Centres = std::vector<std::array<float, 3>>;
using Items = std::vector<unsigned>;

constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
Box point(float x, float y, float z) { return {{x, y, z}, {x, y, z}}; }

Items counted(unsigned count) {
    Items items(count);
    std::iota(items.begin(), items.end(), 0u);
    return items;
}

TEST(NaivePartition, CentreOnThePlaneStaysLow) {
    const Centres centres = {{5, 0, 0}, {6, 0, 0}, {4, 0, 0}, {5, 0, 0}};
    Items items = counted(4);
    EXPECT_EQ(naive::partition_items(items, centres, 0, 5.0f), 3u);
    EXPECT_EQ(items, (Items{0, 3, 2, 1}));
}

TEST(NaivePartition, CentreThatIsNoNumberGoesHigh) {
    const Centres centres = {{not_a_number, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    Items items = counted(3);
    EXPECT_EQ(naive::partition_items(items, centres, 0, 5.0f), 2u);
    EXPECT_EQ(items, (Items{2, 1, 0}));
}

TEST(NaivePartition, PlaneBelowEveryCentreOrNoNumberEndsInsideTheArray) {
    const Centres centres = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}};
    for (const float plane : {0.0f, -std::numeric_limits<float>::infinity(), not_a_number}) {
        Items items = counted(4);
        EXPECT_EQ(naive::partition_items(items, centres, 0, plane), 0u);
        // Each step swaps the first entry with the last one that was not yet moved.
        EXPECT_EQ(items, (Items{1, 2, 3, 0}));
    }
}

TEST(NaiveSort, EqualCentresComeOutInTheOrderOfTheSwaps) {
    const Centres centres = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {0, 0, 0}};
    Items three = counted(3);
    naive::sort_by_centre(three, centres, 0);
    EXPECT_EQ(three, (Items{2, 0, 1}));
    Items four = counted(4);
    naive::sort_by_centre(four, centres, 0);
    EXPECT_EQ(four, (Items{3, 0, 1, 2}));
}

TEST(NaiveWidestAxis, TiesGoToTheLowerAxis) {
    support::expect_axes(support::widest_axes, [](float x, float y, float z) {
        return naive::widest_axis({{0, 0, 0}, {x, y, z}});
    });
}

TEST(NaiveMedian, ThreeItemsCutAtTheMiddleOfTheRange) {
    const std::vector<Box> boxes = {point(0, 0, 0), point(0, 0, 0), point(10, 0, 0)};
    Items items = counted(3);
    EXPECT_EQ(naive::split_items(Split::median, boxes, items), 2u);
    EXPECT_EQ(items, (Items{0, 1, 2}));
}

TEST(NaiveMedian, CutsAlongTheWidestAxis) {
    const std::vector<Box> boxes = {point(0, 9, 0), point(3, 0, 1), point(1, 4, 2)};
    Items items = counted(3);
    EXPECT_EQ(naive::split_items(Split::median, boxes, items), 2u);
    EXPECT_EQ(items, (Items{2, 1, 0}));
}

TEST(NaiveMedian, FallsBackToHalvesWithoutReordering) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<Box> equal(5, point(1, 2, 3));
    std::vector<Box> infinite = equal;
    infinite[1] = point(infinity, 0, 0);
    for (const std::vector<Box>& boxes : {equal, infinite}) {
        Items items = {4, 2, 0, 1, 3};
        EXPECT_EQ(naive::split_items(Split::median, boxes, items), 2u);
        EXPECT_EQ(items, (Items{4, 2, 0, 1, 3}));
    }
}

TEST(NaiveMedian, OverflowingMiddleMovesEveryItemOnce) {
    const std::vector<Box> boxes = {point(-1e38f, 0, 0), point(-1.5e38f, 0, 0),
                                    point(-1.6e38f, 0, 0)};
    Centres centres;
    for (const Box& box : boxes) {
        centres.push_back({box.min[0] * 2.0f, 0.0f, 0.0f});
    }
    Items items = counted(3);
    EXPECT_EQ(naive::split_items(Split::median, boxes, centres, items), 0u);
    EXPECT_EQ(items, (Items{1, 2, 0}));
}

TEST(NaiveSah, EqualCentresGiveHalvesWithoutReordering) {
    for (const unsigned count : {3u, 16u, 17u, 40u}) {
        const std::vector<Box> boxes(count, point(1, 2, 3));
        for (const Split split : naive::all_splits) {
            Items items = counted(count);
            std::reverse(items.begin(), items.end());
            const Items before = items;
            EXPECT_EQ(naive::split_items(split, boxes, items), count / 2);
            EXPECT_EQ(items, before);
        }
    }
}

TEST(NaiveSah, LowestOfEqualCutsOnTheFirstAxisWins) {
    // Unit cubes at the corners of a square: both cuts along both axes cost the same.
    std::vector<Box> boxes;
    for (const float x : {0.0f, 4.0f}) {
        for (const float y : {0.0f, 4.0f}) {
            boxes.push_back({{x, y, 0}, {x + 1, y + 1, 1}});
        }
    }
    Items items = {3, 2, 1, 0};
    EXPECT_EQ(naive::split_items(Split::sah, boxes, items), 2u);
    EXPECT_LT(items[0], 2u);
    EXPECT_LT(items[1], 2u);
    // Three cubes in a row at equal distances: cutting off the first costs what the last does.
    const std::vector<Box> row = {
        {{4, 0, 0}, {5, 1, 1}}, {{2, 0, 0}, {3, 1, 1}}, {{0, 0, 0}, {1, 1, 1}}};
    for (const Split split : {Split::sah, Split::sah_fast}) {
        Items row_items = counted(3);
        EXPECT_EQ(naive::split_items(split, row, row_items), 1u);
        EXPECT_EQ(row_items, (Items{2, 1, 0}));
    }
}

double area_of(const std::vector<Box>& boxes, const Items& items, unsigned begin, unsigned end) {
    Box box = boxes[items[begin]];
    for (unsigned i = begin; i < end; ++i) {
        box = naive::unite(box, boxes[items[i]]);
    }
    const double x = static_cast<double>(box.max[0] - box.min[0]);
    const double y = static_cast<double>(box.max[1] - box.min[1]);
    const double z = static_cast<double>(box.max[2] - box.min[2]);
    return 2.0 * (x * y + y * z + z * x);
}

double cost_of(const std::vector<Box>& boxes, const Items& items, unsigned left_count) {
    const unsigned count = static_cast<unsigned>(items.size());
    return area_of(boxes, items, 0, left_count) * left_count +
           area_of(boxes, items, left_count, count) * (count - left_count);
}

TEST(NaiveSah, ExactCutIsTheCheapestOfAllSortedCuts) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const unsigned count = 3 + static_cast<unsigned>(seed % 14);
        const std::vector<Box> boxes = scenes::make(scenes::Kind::random, count, seed);
        const Centres centres = naive::box_centres(boxes);
        double cheapest = 1e308;
        for (unsigned axis = 0; axis < 3; ++axis) {
            Items sorted = counted(count);
            std::sort(sorted.begin(), sorted.end(),
                      [&](unsigned a, unsigned b) { return centres[a][axis] < centres[b][axis]; });
            for (unsigned left_count = 1; left_count < count; ++left_count) {
                cheapest = std::min(cheapest, cost_of(boxes, sorted, left_count));
            }
        }
        Items items = counted(count);
        const unsigned left_count = naive::split_items(Split::sah, boxes, items);
        EXPECT_NEAR(cost_of(boxes, items, left_count) / cheapest, 1.0, 1e-12) << seed;
    }
}

TEST(NaiveSah, SixteenItemsAreSortedAndSeventeenPartitioned) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < 17; ++i) {
        boxes.push_back(point(static_cast<float>(16 - i), 0, 0));
    }
    // The last item first: as the first centre is on the low side, partitioning leaves it there.
    Items exact = counted(16);
    naive::split_items(Split::sah_fast, boxes, exact);
    Items ascending = counted(16);
    std::reverse(ascending.begin(), ascending.end());
    EXPECT_EQ(exact, ascending);

    Items binned = counted(17);
    const unsigned left_count = naive::split_items(Split::sah_fast, boxes, binned);
    // All areas are 0, so the first plane stays the best: a sixteenth of the way along.
    EXPECT_EQ(left_count, 2u);
    EXPECT_EQ(Items(binned.begin(), binned.begin() + 2), (Items{16, 15}));
}

TEST(NaiveSah, CostsThatAreNoNumbersWinOnlyInTheFullSearch) {
    const std::vector<Box> boxes = scenes::sheet(16, 0.5f);
    Items items = counted(16);
    EXPECT_EQ(naive::split_items(Split::sah, boxes, items), 15u);
    Items fast_items = counted(16);
    EXPECT_EQ(naive::split_items(Split::sah_fast, boxes, fast_items), 8u);
    EXPECT_EQ(fast_items, items);

    const std::vector<Box> many = scenes::sheet(17, 0.5f);
    Items kept = counted(17);
    EXPECT_EQ(naive::split_items(Split::sah_fast, many, kept), 8u);
    EXPECT_EQ(kept, counted(17));
    Items cut = counted(17);
    EXPECT_EQ(naive::split_items(Split::sah, many, cut), 16u);
}

TEST(NaiveHybrid, ChangesTheSplitAt129Items) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::clustered, 129, 7);
    for (const unsigned count : {128u, 129u}) {
        const Split expected = count == 128 ? Split::sah_fast : Split::median;
        Items hybrid = counted(count);
        Items same = counted(count);
        EXPECT_EQ(naive::split_items(Split::hybrid, boxes, hybrid),
                  naive::split_items(expected, boxes, same));
        EXPECT_EQ(hybrid, same);
    }
}

} // namespace
