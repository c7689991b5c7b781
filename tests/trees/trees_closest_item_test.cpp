// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

#include <tests/support/allocation_counter.h>
#include <tests/support/closest_item.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/tree_kinds.h>

/// The closest item in scenes that can be checked by hand, and at the limits of its arguments.

namespace {

using naive::Box;
using support::AskedItems;
using support::ClosestItem;
using support::ClosestPoint;
using support::find_closest;
using support::ItemDistance;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr float float_infinity = std::numeric_limits<float>::infinity();
constexpr float float_not_a_number = std::numeric_limits<float>::quiet_NaN();

template <typename Tree> class TreesClosestItem : public testing::Test {
  protected:
    Tree tree;
    GasTreeCtx ctx;

    /// Unit boxes along x, box i from 10 i; the distance is that to the box.
    std::vector<Box> boxes = support::row_of_boxes(8);
    ItemDistance to_box = [this](unsigned item, const ClosestPoint& point, double) {
        return support::get_box_distance(boxes[item], point);
    };

    ClosestItem find(const ClosestPoint& point, double max_distance = infinity) {
        return find_closest(tree, ctx, point, max_distance, to_box);
    }
    ClosestItem find_with(double max_distance, const ItemDistance& get_distance) {
        return find_closest(tree, ctx, {32.0, 0.5, 0.5}, max_distance, get_distance);
    }
    std::vector<unsigned> list_asked(const ClosestPoint& point) {
        AskedItems asked = {to_box, {}};
        find_closest(tree, ctx, point, infinity, asked);
        return asked.items;
    }
};

TYPED_TEST_SUITE(TreesClosestItem, support::BothTrees, support::TreeNames);

std::vector<unsigned> count_up(unsigned count) {
    std::vector<unsigned> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0u);
    return numbers;
}

} // namespace

TYPED_TEST(TreesClosestItem, IsTheOneOfLeastDistance) {
    support::build(this->tree, this->boxes);
    EXPECT_EQ(this->find({32.5, 0.5, 0.5}), (ClosestItem{true, 3, 1.5}));
    EXPECT_EQ(this->find({-4.0, 0.5, 4.0}), (ClosestItem{true, 0, 5.0}));
    EXPECT_EQ(this->find({70.25, 0.5, 0.5}), (ClosestItem{true, 7, 0.0}));
    EXPECT_EQ(this->find({1e6, 0.5, 0.5}), (ClosestItem{true, 7, 999929.0}));
}

TYPED_TEST(TreesClosestItem, IsAskedForAloneWhereItsBoxIsNearest) {
    support::build(this->tree, this->boxes);
    EXPECT_EQ(this->list_asked({32.5, 0.5, 0.5}), (std::vector<unsigned>{3}));
    EXPECT_EQ(this->list_asked({36.5, 0.5, 0.5}), (std::vector<unsigned>{4}));
    // The nearest box's item is far away, so that the next box is asked for, and no other.
    std::vector<unsigned> asked;
    const ClosestItem closest = this->find_with(infinity, [&](unsigned item, auto&, double) {
        asked.push_back(item);
        return item == 3 ? 8.5 : item == 4 ? 8.25 : 0.0;
    });
    EXPECT_EQ(closest, (ClosestItem{true, 4, 8.25}));
    EXPECT_EQ(asked, (std::vector<unsigned>{3, 4}));
}

TYPED_TEST(TreesClosestItem, IsReportedByItsIndex) {
    support::build(this->tree, this->boxes, naive::Split::sah_fast,
                   {70, 60, 50, 40, 30, 20, 10, 0});
    const ItemDistance get_distance = [&](unsigned item, const ClosestPoint& point, double) {
        return support::get_box_distance(this->boxes[7 - item / 10], point);
    };
    EXPECT_EQ(this->find_with(infinity, get_distance), (ClosestItem{true, 40, 1.0}));
}

TYPED_TEST(TreesClosestItem, MayBeAsFarAsTheLimit) {
    support::build(this->tree, this->boxes);
    const ClosestPoint point = {32.5, 0.5, 0.5};
    EXPECT_EQ(this->find(point, 1.5), (ClosestItem{true, 3, 1.5}));
    EXPECT_EQ(this->find(point, std::nextafter(1.5, 0.0)), ClosestItem());
    EXPECT_EQ(this->find({30.5, 1.0, 0.5}, 0.0), (ClosestItem{true, 3, 0.0}));
    EXPECT_EQ(this->find({30.5, 1.0, 1.5}, 0.0), ClosestItem());
    EXPECT_EQ(this->find({30.5, 1.0, 0.5}, -0.0), (ClosestItem{true, 3, 0.0}));
    EXPECT_EQ(this->find({30.5, 1.0, 0.5}, -1e-300), ClosestItem());
    EXPECT_EQ(this->find({30.5, 1.0, 0.5}, -infinity), ClosestItem());
    EXPECT_EQ(this->find({30.5, 1.0, 0.5}, not_a_number), ClosestItem());
    EXPECT_EQ(this->find(point, std::numeric_limits<double>::max()), (ClosestItem{true, 3, 1.5}));
}

TYPED_TEST(TreesClosestItem, LeavesItsArgumentsAloneWhereThereIsNone) {
    support::build(this->tree, this->boxes);
    unsigned item = 77;
    double distance = 7.75;
    AskedItems asked = {this->to_box, {}};
    EXPECT_FALSE(this->tree.get_closest_item(this->ctx, {32.5, 0.5, 0.5}, 1.0, AskedItems::ask,
                                             &asked, item, distance));
    EXPECT_EQ(item, 77u);
    EXPECT_EQ(distance, 7.75);
    EXPECT_EQ(asked.items, std::vector<unsigned>());
}

TYPED_TEST(TreesClosestItem, OfEquallyFarOnesIsTheLowestLeaf) {
    // The point is as far from box 3 as from box 4, and all stand twice, the second time below.
    std::vector<Box> twice = support::row_of_boxes(8);
    for (const Box& box : support::row_of_boxes(8))
        twice.insert(twice.begin(), box);
    this->boxes = twice;
    for (const naive::Split split : support::all_splits) {
        support::build(this->tree, twice, split);
        EXPECT_EQ(this->find({35.5, 0.5, 0.5}), (ClosestItem{true, 3, 4.5}));
    }
    // With an index array the leaf position counts, not the index.
    std::vector<unsigned> descending(16);
    for (unsigned i = 0; i < 16; ++i)
        descending[i] = 15 - i;
    support::build(this->tree, twice, naive::Split::sah_fast, descending);
    const ItemDistance get_distance = [&](unsigned item, const ClosestPoint& point, double) {
        return std::fmax(20.0, support::get_box_distance(twice[15 - item], point));
    };
    // Leaves 0 and 1 are boxes 7 and 6, which are farther.
    EXPECT_EQ(this->find_with(infinity, get_distance), (ClosestItem{true, 13, 20.0}));
}

TYPED_TEST(TreesClosestItem, KnowsTheBoundOfEachCall) {
    support::build(this->tree, this->boxes);
    std::vector<double> bounds;
    const ClosestItem closest = this->find_with(1000.0, [&](unsigned item, auto&, double bound) {
        bounds.push_back(bound);
        return item == 3 ? 100.0 : item == 4 ? 200.0 : 50.0;
    });
    EXPECT_EQ(closest.distance, 50.0);
    ASSERT_GE(bounds.size(), 4u);
    EXPECT_EQ(bounds[0], 1000.0);
    EXPECT_EQ(bounds[1], 100.0);
    EXPECT_EQ(bounds[2], 100.0);
    EXPECT_EQ(bounds[3], 50.0);
}

TYPED_TEST(TreesClosestItem, IsNotFoundAtInfinityOrNan) {
    support::build(this->tree, this->boxes);
    EXPECT_EQ(this->find_with(infinity, [](auto...) { return infinity; }), ClosestItem());
    EXPECT_EQ(this->find_with(infinity, [](auto...) { return not_a_number; }), ClosestItem());
    const auto but_six = [](unsigned item, auto&, double) { return item == 6 ? 3e307 : infinity; };
    EXPECT_EQ(this->find_with(infinity, but_six), (ClosestItem{true, 6, 3e307}));
}

TYPED_TEST(TreesClosestItem, MayHaveASignedDistance) {
    // Spheres of radius 4 around (4 i, 0, 0): three of them hold the point.
    this->boxes.clear();
    for (unsigned i = 0; i < 20; ++i) {
        const float x = 4.0f * static_cast<float>(i);
        this->boxes.push_back({{x - 4.0f, -4.0f, -4.0f}, {x + 4.0f, 4.0f, 4.0f}});
    }
    support::build(this->tree, this->boxes);
    const ItemDistance get_signed = [](unsigned item, const ClosestPoint& point, double) {
        return std::hypot(point.x - 4.0 * item, point.y, point.z) - 4.0;
    };
    const auto find = [&](const ClosestPoint& point, double max_distance) {
        return find_closest(this->tree, this->ctx, point, max_distance, get_signed);
    };
    EXPECT_EQ(find({32.5, 0.0, 0.0}, infinity), (ClosestItem{true, 8, -3.5}));
    EXPECT_EQ(find({32.5, 0.0, 0.0}, -3.5), (ClosestItem{true, 8, -3.5}));
    EXPECT_EQ(find({32.5, 0.0, 0.0}, -3.75), ClosestItem());
    EXPECT_EQ(find({32.0, 7.0, 0.0}, infinity), (ClosestItem{true, 8, 3.0}));
}

TYPED_TEST(TreesClosestItem, IsNoneInAnEmptyTreeWhichNeedsNoStack) {
    EXPECT_EQ(this->find({0.0, 0.0, 0.0}), ClosestItem());
    EXPECT_EQ(this->ctx.stack, nullptr);
    support::build(this->tree, this->boxes);
    this->tree.clear();
    EXPECT_EQ(this->find({0.0, 0.0, 0.0}), ClosestItem());
}

TYPED_TEST(TreesClosestItem, IsALoneItemWhateverItsBox) {
    constexpr float spans[][2] = {
        {0.0f, 1.0f}, {1.0f, 0.0f}, {-float_infinity, float_infinity}, {float_not_a_number, 1.0f}};
    for (const auto& [min, max] : spans) {
        support::build(this->tree, {{{min, min, min}, {max, max, max}}});
        const auto find = [&](double max_distance) {
            return this->find_with(max_distance, [](auto...) { return 31.0; });
        };
        EXPECT_EQ(find(infinity), (ClosestItem{true, 0, 31.0}));
        EXPECT_EQ(find(31.0), (ClosestItem{true, 0, 31.0}));
        EXPECT_EQ(find(30.0), ClosestItem());
    }
}

TYPED_TEST(TreesClosestItem, IsSoughtAmongAllWhereThePointIsNotFinite) {
    support::build(this->tree, this->boxes);
    for (const double odd : {infinity, -infinity, not_a_number}) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            ClosestPoint point = {32.0, 0.5, 0.5};
            point[axis] = odd;
            EXPECT_EQ(this->list_asked(point), count_up(8));
        }
    }
    const double largest = std::numeric_limits<double>::max();
    EXPECT_EQ(this->find({largest, 0.0, 0.0}, infinity).is_found, false); // infinitely far
    EXPECT_EQ(this->find({1e150, 0.0, 0.0}, infinity).distance, 1e150);
}

TYPED_TEST(TreesClosestItem, IsSoughtAmongAllWhereABoxIsNotOrderedAndFinite) {
    const float odd[][2] = {{float_not_a_number, 1.0f},
                            {0.0f, float_not_a_number},
                            {-float_infinity, 1.0f},
                            {0.0f, float_infinity},
                            {1.0f, 0.0f},
                            {-float_infinity, float_infinity}};
    for (const auto& [min, max] : odd) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            std::vector<Box> spoiled = this->boxes;
            spoiled[5].min[axis] = min;
            spoiled[5].max[axis] = max;
            support::build(this->tree, spoiled);
            EXPECT_EQ(this->list_asked({32.5, 0.5, 0.5}), count_up(8)) << min << " to " << max;
        }
    }
}

TYPED_TEST(TreesClosestItem, AllocatesOnce) {
    support::build(this->tree, support::row_of_boxes(1000));
    this->boxes = support::row_of_boxes(1000);
    const auto count_allocations = [&](const ClosestPoint& point) {
        const auto ask = [](void* user, const unsigned& item, const ClosestPoint& from,
                            const double&) {
            return support::get_box_distance(static_cast<Box*>(user)[item], from);
        };
        unsigned item = 0;
        double distance = 0.0;
        const std::uint64_t before = support::get_allocation_counts().allocations;
        this->tree.get_closest_item(this->ctx, point, infinity, ask, this->boxes.data(), item,
                                    distance);
        return support::get_allocation_counts().allocations - before;
    };
    EXPECT_EQ(count_allocations({5000.0, 0.0, 0.0}), support::is_compressed<TypeParam> ? 4u : 1u);
    for (double x = -100.0; x < 11000.0; x += 777.0)
        EXPECT_EQ(count_allocations({x, 3.0, 100.0}), 0u);
}

TYPED_TEST(TreesClosestItem, WhatACallbackThrowsPassesThrough) {
    support::build(this->tree, this->boxes);
    for (unsigned calls = 0; calls < 4; ++calls) {
        unsigned left = calls;
        const ItemDistance fail = [&](unsigned item, auto&, double) {
            if (left-- == 0)
                throw std::runtime_error("no distance");
            return 1000.0 - item;
        };
        EXPECT_THROW(this->find_with(infinity, fail), std::runtime_error);
        EXPECT_EQ(this->find({32.5, 0.5, 0.5}), (ClosestItem{true, 3, 1.5}));
    }
}

TYPED_TEST(TreesClosestItem, MayBeSoughtInsideACallback) {
    // Rows of boxes beside each other along y: an outer item is a whole row.
    support::build(this->tree, this->boxes);
    std::vector<Box> row_boxes;
    for (unsigned row = 0; row < 6; ++row) {
        const float y = 3.0f * static_cast<float>(row);
        row_boxes.push_back({{0.0f, y, 0.0f}, {71.0f, y + 1.0f, 1.0f}});
    }
    TypeParam rows;
    support::build(rows, row_boxes);
    GasTreeCtx inner_ctx;
    std::vector<unsigned> inner_items(6);
    const ItemDistance to_row = [&](unsigned row, const ClosestPoint& point, double bound) {
        const ClosestPoint inner_point = {point.x, point.y - 3.0 * row, point.z};
        const ClosestItem inner =
            find_closest(this->tree, inner_ctx, inner_point, bound, this->to_box);
        inner_items[row] = inner.item;
        return inner.is_found ? inner.distance : infinity;
    };
    EXPECT_EQ(find_closest(rows, this->ctx, {42.0, 8.0, 0.5}, infinity, to_row),
              (ClosestItem{true, 2, std::sqrt(2.0)}));
    EXPECT_EQ(inner_items[2], 4u);
}

TYPED_TEST(TreesClosestItem, FollowsCopiesAndMoves) {
    support::build(this->tree, this->boxes);
    const auto find_in = [&](const TypeParam& searched) {
        AskedItems asked = {this->to_box, {}};
        EXPECT_EQ(find_closest(searched, this->ctx, {52.0, 0.5, 0.5}, infinity, asked),
                  (ClosestItem{true, 5, 1.0}));
        EXPECT_EQ(asked.items.size(), 1u);
    };
    TypeParam moved = std::move(this->tree);
    find_in(moved);
    {
        TypeParam copy = moved;
        find_in(copy);
        copy = TypeParam();
    }
}

TEST(TreeClosestItem, FollowsARefit) {
    GasTree tree;
    std::vector<Box> boxes = support::row_of_boxes(8);
    support::build(tree, boxes);
    std::swap(boxes[0], boxes[6]);
    ASSERT_TRUE(tree.refit(support::to_boxes(boxes)));
    GasTreeCtx ctx;
    const ItemDistance to_box = [&](unsigned item, const ClosestPoint& point, double) {
        return support::get_box_distance(boxes[item], point);
    };
    EXPECT_EQ(find_closest(tree, ctx, {62.0, 0.5, 0.5}, infinity, to_box),
              (ClosestItem{true, 0, 1.0}));
    std::swap(boxes[3].min, boxes[3].max);
    ASSERT_TRUE(tree.refit(support::to_boxes(boxes)));
    AskedItems asked = {to_box, {}};
    find_closest(tree, ctx, {62.0, 0.5, 0.5}, infinity, asked);
    EXPECT_EQ(asked.items, count_up(8));
}

#ifdef NDEBUG
TYPED_TEST(TreesClosestItem, NeedsACallback) {
    support::build(this->tree, this->boxes);
    unsigned item = 0;
    double distance = 0.0;
    EXPECT_FALSE(this->tree.get_closest_item(this->ctx, {0.0, 0.0, 0.0}, infinity, nullptr, nullptr,
                                             item, distance));
}
#else
TYPED_TEST(TreesClosestItem, NeedsACallback) {
    support::build(this->tree, this->boxes);
    unsigned item = 0;
    double distance = 0.0;
    EXPECT_DEATH(this->tree.get_closest_item(this->ctx, {0.0, 0.0, 0.0}, infinity, nullptr, nullptr,
                                             item, distance),
                 "needs a callback");
}
#endif
