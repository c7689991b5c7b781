// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include <gas/split/gas_split_sah.h>

#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>

namespace {

using naive::Box;
using naive::Split;
using scenes::Kind;
using support::list_items;
using support::point_box;
using support::SplitResult;
using support::SplitScene;
using support::unit_box;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr GasTree::SplitCallback both_sah_splits[] = {GasTree::split_sah_bins,
                                                      GasTree::split_sah_bins_fast};

std::vector<Box> units_along_x(const std::vector<float>& positions) {
    std::vector<Box> boxes;
    for (const float x : positions)
        boxes.push_back(unit_box(x, 0, 0));
    return boxes;
}

/// Lines across x whose areas overflow to infinity times 0; item i lies at y = positions[i].
std::vector<Box> overflowing_lines(const std::vector<float>& positions) {
    std::vector<Box> boxes;
    for (const float y : positions)
        boxes.push_back({{-3e38f, y, 0}, {3e38f, y, 0}});
    return boxes;
}

std::vector<float> descending(unsigned count) {
    std::vector<float> positions;
    for (unsigned i = count; i-- > 0;)
        positions.push_back(static_cast<float>(i));
    return positions;
}

} // namespace

TEST(SahSplit, AreaIsTwiceTheSumOfTheFaces) {
    const auto get_area = [](const GMathBbox3<float>& box) {
        return gas_surface_area(GasLaneBox::load(box));
    };
    EXPECT_EQ(get_area({{1, 1, 1}, {2, 3, 4}}), 22.0);
    EXPECT_EQ(get_area({{0, 0, 0}, {2, 3, 0}}), 12.0);
    EXPECT_EQ(get_area({{0, 0, 0}, {1e30f, 1e30f, 0}}),
              2.0 * static_cast<double>(1e30f) * static_cast<double>(1e30f));
}

// A scale of 15.9984 in double would put each of them one bin higher.
TEST(SahSplit, TheScaleIsASinglePrecisionConstant) {
    GMathVec3<float> centers[6] = {};
    centers[1].x = 18.0f;
    centers[2].x = 3.37533736f;
    centers[3].x = 5.62556219f;
    centers[4].x = 6.75067472f;
    centers[5].x = 7.87578726f;
    const GMathBbox3<float> boxes[6] = {};
    GasSahWorkspace workspace(centers);
    const GasTreeSplitContext context = {boxes, centers, &workspace, nullptr, 0};
    const std::vector<unsigned> items = list_items(6);
    const GMathBbox3<float> bounds = gas_center_bounds(items.data(), 6, centers);
    GasBestCut best;
    gas_try_binned_axis(context, items.data(), 6, 0, bounds, best, GasWinsIfCheaper());
    for (unsigned bin = 0; bin < GasSahWorkspace::bin_count; ++bin) {
        const bool taken = bin == 0 || bin == 2 || bin == 4 || bin == 5 || bin == 6 || bin == 15;
        EXPECT_EQ(workspace.bin_counts[bin], taken ? 1.0f : 0.0f) << bin;
    }
}

TEST(SahSplit, CoincidentCentresAreHalvedInTheirOrder) {
    for (const auto split : both_sah_splits) {
        for (const unsigned count : {3u, 16u, 17u, 40u}) {
            const SplitScene scene(scenes::make(Kind::coincident, count, count));
            std::vector<unsigned> items = list_items(count);
            std::swap(items[0], items[2]);
            EXPECT_EQ(scene.split(split, items), (SplitResult{count / 2, items}));
        }
    }
}

// An edge of l and two of 1 make an area of 4 l + 2. Of the cuts of 0, 1, 2, 10, 11 after one, two,
// three and four items the costs are 190, 146, 62 and 190.
TEST(SahSplit, TheCheapestOfFourCutsWins) {
    for (const auto split : both_sah_splits) {
        const SplitScene sorted(units_along_x({0, 1, 2, 10, 11}));
        EXPECT_EQ(sorted.split(split), (SplitResult{3, {0, 1, 2, 3, 4}}));
        const SplitScene shuffled(units_along_x({11, 0, 2, 10, 1}));
        EXPECT_EQ(shuffled.split(split), (SplitResult{3, {1, 4, 2, 3, 0}}));
    }
}

TEST(SahSplit, AnAxisWithExtentBelow1em8IsNotTried) {
    const float below = 1e-8f; // the nearest float, a little less than 1e-8
    // Along y the two upper lines would part from the lower one at no cost.
    const std::vector<Box> boxes = {point_box(0, below, 0), point_box(1, 0, 0),
                                    point_box(2, below, 0)};
    for (const auto split : both_sah_splits)
        EXPECT_EQ(SplitScene(boxes).split(split), (SplitResult{1, {0, 1, 2}}));
}

// Of unit boxes at 0, 1, 2 both cuts cost 6 * 1 + 10 * 2.
TEST(SahSplit, TheLowerOfEqualCutsWins) {
    for (const auto split : both_sah_splits)
        EXPECT_EQ(SplitScene(units_along_x({0, 1, 2})).split(split), (SplitResult{1, {0, 1, 2}}));
}

// Both axes part item 2 from the others, at the same cost; sorted along y item 1 would come first.
TEST(SahSplit, OfEqualAxesTheEarlierWins) {
    const SplitScene scene({unit_box(0, 1, 0), unit_box(1, 0, 0), unit_box(2, 2, 0)});
    for (const auto split : both_sah_splits)
        EXPECT_EQ(scene.split(split), (SplitResult{2, {0, 1, 2}}));
}

// Points spread equally along x and y. A cut along y costs nothing; along x the middle one is best.
TEST(SahSplit, TheFastSplitTriesOneAxisOnly) {
    const SplitScene scene(
        {point_box(0, 0, 0), point_box(1, 3, 0), point_box(2, 0, 0), point_box(3, 3, 0)});
    EXPECT_EQ(scene.split(GasTree::split_sah_bins), (SplitResult{2, {2, 0, 3, 1}}));
    EXPECT_EQ(scene.split(GasTree::split_sah_bins_fast), (SplitResult{2, {0, 1, 2, 3}}));
}

TEST(SahSplit, EqualCentresOnTheExactPathKeepTheOrderOfTheSort) {
    // Coincident along x, apart along y by the fourth item.
    const std::vector<Box> boxes = {unit_box(0, 1, 0), unit_box(0, 1, 0), unit_box(0, 1, 0),
                                    unit_box(0, 9, 0)};
    for (const auto split : both_sah_splits)
        EXPECT_EQ(SplitScene(boxes).split(split), (SplitResult{3, {2, 0, 1, 3}}));
}

// 16 items come out sorted, 17 only on the right side of the plane: with the cut at 8 items the
// low ones are in place already and keep their order.
TEST(SahSplit, SixteenItemsAreSortedAndSeventeenBinned) {
    for (const auto split : both_sah_splits) {
        const std::vector<float> low = descending(8);
        std::vector<float> positions = low;
        for (unsigned i = 8; i < 16; ++i)
            positions.push_back(static_cast<float>(i));
        SplitResult sixteen = SplitScene(units_along_x(positions)).split(split);
        EXPECT_EQ(sixteen,
                  (SplitResult{8, {7, 6, 5, 4, 3, 2, 1, 0, 8, 9, 10, 11, 12, 13, 14, 15}}));

        positions.push_back(16.0f);
        SplitResult seventeen = SplitScene(units_along_x(positions)).split(split);
        EXPECT_EQ(seventeen.left_count, 8u);
        seventeen.items.resize(8);
        EXPECT_EQ(seventeen.items, list_items(8));
    }
}

// Bins are scaled by a little less than 16 over the extent, planes stand at exact sixteenths. The
// box at 8.0004 is binned below plane 8, which wins (396 against 428 for the planes below it), but
// lies above the plane.
TEST(SahSplit, AnItemCloseAboveAPlaneMayLeaveTheSideOfItsBin) {
    std::vector<float> positions(8, 0.0f);
    positions.insert(positions.end(), 9, 16.0f);
    positions.push_back(8.0004f);
    for (const auto split : both_sah_splits) {
        const SplitResult result = SplitScene(units_along_x(positions)).split(split);
        EXPECT_EQ(result.left_count, 8u);
        EXPECT_EQ(std::count(result.items.begin(), result.items.begin() + 8, 17u), 0);
    }
    // Exactly on the plane it stays low.
    positions.back() = 8.0f;
    for (const auto split : both_sah_splits) {
        const SplitResult result = SplitScene(units_along_x(positions)).split(split);
        EXPECT_EQ(result.left_count, 9u);
        EXPECT_EQ(std::count(result.items.begin(), result.items.begin() + 9, 17u), 1);
    }
}

TEST(SahSplit, EmptyBinsBetweenTwoGroupsAreHarmless) {
    std::vector<float> positions(20, 100.0f);
    positions.insert(positions.end(), 10, 0.0f);
    for (const auto split : both_sah_splits) {
        const SplitResult result = SplitScene(units_along_x(positions)).split(split);
        EXPECT_EQ(result.left_count, 10u);
        for (unsigned i = 0; i < 10; ++i)
            EXPECT_GE(result.items[i], 20u);
    }
}

TEST(SahSplit, CostsThatAreNoNumbersWinInTheFullSplitAndLoseInTheFastOne) {
    const SplitScene exact(overflowing_lines({3, 1, 0, 2}));
    // The last cut that was tried stays.
    EXPECT_EQ(exact.split(GasTree::split_sah_bins), (SplitResult{3, {2, 1, 3, 0}}));
    // No cut stays: halves, of the sorted items all the same.
    EXPECT_EQ(exact.split(GasTree::split_sah_bins_fast), (SplitResult{2, {2, 1, 3, 0}}));

    const SplitScene binned(overflowing_lines(descending(17)));
    const SplitResult full = binned.split(GasTree::split_sah_bins);
    // The last plane stands at 15.
    EXPECT_EQ(full.left_count, 16u);
    EXPECT_EQ(full.items.back(), 0u);
    EXPECT_EQ(binned.split(GasTree::split_sah_bins_fast), (SplitResult{8, list_items(17)}));
}

TEST(SahSplit, WhereNoCutIsCheapEnoughTheItemsAreHalved) {
    // Boxes without end along z have infinite areas.
    const auto endless = [](const std::vector<float>& positions) {
        std::vector<Box> boxes;
        for (const float y : positions)
            boxes.push_back({{0, y, 0}, {1, y + 1, infinity}});
        return SplitScene(boxes);
    };
    const SplitScene exact = endless({3, 1, 0, 2});
    EXPECT_EQ(exact.split(GasTree::split_sah_bins), (SplitResult{2, {0, 1, 2, 3}}));
    EXPECT_EQ(exact.split(GasTree::split_sah_bins_fast), (SplitResult{2, {2, 1, 3, 0}}));
    const SplitScene binned = endless(descending(17));
    for (const auto split : both_sah_splits)
        EXPECT_EQ(binned.split(split), (SplitResult{8, list_items(17)}));
}

// All fall into bin 0, because the scale is 0; the planes stand at infinity, and what lies beyond
// them has no items and no area that is a number.
TEST(SahSplit, AnInfiniteExtentPutsEveryItemOnTheLowSide) {
    std::vector<Box> boxes(17, unit_box(0, 0, 0));
    boxes[5] = point_box(infinity, 0, 0);
    const SplitScene scene(boxes);
    EXPECT_EQ(scene.split(GasTree::split_sah_bins), (SplitResult{17, list_items(17)}));
    EXPECT_EQ(scene.split(GasTree::split_sah_bins_fast), (SplitResult{8, list_items(17)}));
}

// From -infinity the planes are no numbers, and every item is on their high side.
TEST(SahSplit, APlaneThatIsNoNumberStaysInsideTheArray) {
    std::vector<Box> boxes(17, unit_box(0, 0, 0));
    boxes[5] = point_box(-infinity, 0, 0);
    const SplitResult result = SplitScene(boxes).split(GasTree::split_sah_bins);
    EXPECT_EQ(result.left_count, 0u);
    std::vector<unsigned> items = result.items;
    std::sort(items.begin(), items.end());
    EXPECT_EQ(items, list_items(17));
}

TEST(SahSplit, SweepsAddFloatCountsInOrder) {
    GasSahWorkspace workspace(nullptr);
    const float counts[] = {16777216.0f, 1.0f, 1.0f, 2.0f};
    for (unsigned i = 0; i < 4; ++i) {
        workspace.bin_counts[i] = counts[i];
        workspace.bin_boxes[i] =
            GasLaneBox::load(support::to_box(unit_box(static_cast<float>(i), 0, 0)));
    }
    gas_sweep_bins(workspace, 4);
    // From the low end each 1 is lost; from the high end they have grown to 4 by then.
    EXPECT_EQ(workspace.prefix_counts[0], 16777216.0f);
    EXPECT_EQ(workspace.prefix_counts[1], 16777216.0f);
    EXPECT_EQ(workspace.prefix_counts[2], 16777216.0f);
    EXPECT_EQ(workspace.suffix_counts[2], 2.0f);
    EXPECT_EQ(workspace.suffix_counts[1], 3.0f);
    EXPECT_EQ(workspace.suffix_counts[0], 4.0f);
}

TEST(SahSplit, SweepsUniteBoxesFromBothEnds) {
    GasSahWorkspace workspace(nullptr);
    for (unsigned i = 0; i < GasSahWorkspace::bin_count; ++i) {
        workspace.bin_counts[i] = 1.0f;
        workspace.bin_boxes[i] =
            GasLaneBox::load(support::to_box(unit_box(static_cast<float>(i), 0, 0)));
    }
    gas_sweep_bins(workspace, GasSahWorkspace::bin_count);
    for (unsigned k = 1; k < GasSahWorkspace::bin_count; ++k) {
        EXPECT_EQ(workspace.prefix_counts[k - 1], static_cast<float>(k));
        EXPECT_EQ(workspace.prefix_boxes[k - 1].min.get(0), -0.5f);
        EXPECT_EQ(workspace.prefix_boxes[k - 1].max.get(0), static_cast<float>(k) - 0.5f);
        EXPECT_EQ(workspace.suffix_counts[k - 1], static_cast<float>(16 - k));
        EXPECT_EQ(workspace.suffix_boxes[k - 1].min.get(0), static_cast<float>(k) - 0.5f);
        EXPECT_EQ(workspace.suffix_boxes[k - 1].max.get(0), 15.5f);
    }
}

TEST(HybridSplit, UpTo128ItemsTakeTheSahPathAndMoreTheMedian) {
    const auto compare = [](unsigned count, GasTree::SplitCallback taken,
                            GasTree::SplitCallback other) {
        const SplitScene scene(scenes::make(Kind::clustered, count, 3));
        EXPECT_EQ(scene.split(GasTree::split_hybrid), scene.split(taken)) << count;
        EXPECT_NE(scene.split(GasTree::split_hybrid), scene.split(other)) << count;
    };
    for (const unsigned count : {17u, 127u, 128u})
        compare(count, GasTree::split_sah_bins_fast, GasTree::split_median);
    for (const unsigned count : {129u, 130u, 250u})
        compare(count, GasTree::split_median, GasTree::split_sah_bins_fast);
}

TEST(HybridSplit, LargeNodesNeedNoWorkspace) {
    const SplitScene scene(scenes::make(Kind::random, 129, 3));
    EXPECT_EQ(scene.split_without_workspace(GasTree::split_hybrid),
              scene.split(GasTree::split_median));
}
