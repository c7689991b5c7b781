// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/tree_items.h>

#include <vector>

#include <apps/gas/trees/tree_kind.h>
#include <gtest/gtest.h>

namespace {

using namespace gas_app;

constexpr double padding = 0.125;
constexpr double scale = 4.0;

/// Item i: the unit box at x = 10 i + sample.
Box get_unit_box(unsigned item, unsigned sample) {
    const double x = 10.0 * item + sample;
    return {{x, 0.0, 0.0}, {x + 1.0, 1.0, 1.0}};
}

void describe(TreeItems& items, unsigned item_count, unsigned sample_count) {
    Box bounds = get_unit_box(0, 0);
    grow(bounds, get_unit_box(item_count - 1, sample_count - 1));
    items.describe({item_count, sample_count, get_unit_box, padding, bounds});
    items.set_scale(scale);
}

GMathBbox3<float> get_padded(unsigned item, unsigned sample) {
    const float x = 10.0f * static_cast<float>(item) + static_cast<float>(sample);
    return {{4.0f * (x - 0.125f), -0.5f, -0.5f}, {4.0f * (x + 1.125f), 4.5f, 4.5f}};
}

void expect_equal(const GMathBbox3<float>& actual, const GMathBbox3<float>& expected) {
    EXPECT_TRUE(actual.min == expected.min && actual.max == expected.max)
        << actual.min.x << " " << expected.min.x;
}

TEST(TreeItems, PadsAndScales) {
    TreeItems items;
    describe(items, 3, 1);
    expect_equal(items.get_box(2, 0), get_padded(2, 0));
    const Box bounds = items.get_padded_bounds();
    EXPECT_EQ(bounds.min.x, -0.125);
    EXPECT_EQ(bounds.max.x, 21.125);
}

TEST(TreeItems, FillsArraysOfAnySize) {
    for (const unsigned count : {1u, 16383u, 16384u, 16385u, 40000u}) {
        TreeItems items;
        describe(items, count, 3);
        TreeItems::Boxes boxes(count);
        items.fill(2, boxes);
        for (const unsigned item : {0u, count / 2, count - 1})
            expect_equal(boxes[item], get_padded(item, 2));
    }
}

TEST(TreeItems, ServesGrids) {
    constexpr unsigned item_count = 2000;
    TreeItems items;
    describe(items, item_count, 5);
    GasGridTree grid;
    items.serve(grid);
    constexpr unsigned target_cell_count = 10;
    grid.create(item_count, target_cell_count, nullptr, nullptr);
    EXPECT_EQ(items.get_asked_count(), item_count);
    EXPECT_GT(grid.get_cell_count(), 5u);
    expect_equal(grid.get_bbox(), {get_padded(0, 2).min, get_padded(item_count - 1, 2).max});

    grid.update_motion_blur({0.0f, 1.0f, 5});
    EXPECT_EQ(items.get_asked_count(), 6 * item_count);
    for (unsigned sample = 0; sample < 5; ++sample)
        expect_equal(grid.get_blurred_bbox(sample),
                     {get_padded(0, sample).min, get_padded(item_count - 1, sample).max});
}

TEST(TreeSettings, ChooseCells) {
    TreeSettings settings;
    EXPECT_EQ(settings.get_target_cell_count(1), 1u);
    EXPECT_EQ(settings.get_target_cell_count(255), 1u);
    EXPECT_EQ(settings.get_target_cell_count(256), 2u);
    EXPECT_EQ(settings.get_target_cell_count(20'000'000), 156'250u);
    settings.cell_count = 100;
    EXPECT_EQ(settings.get_target_cell_count(20'000'000), 100u);
    EXPECT_EQ(settings.get_target_cell_count(7), 7u);
}

} // namespace
