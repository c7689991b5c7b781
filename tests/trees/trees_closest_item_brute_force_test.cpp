// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include <tests/support/closest_item.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/small_stack.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_kinds.h>

/// The closest item of both trees is that of a loop over all items.

namespace {

using naive::Box;
using support::AskedItems;
using support::ClosestItem;
using support::ClosestPoint;
using support::find_closest;
using support::ItemDistance;
using support::SeededRandom;
using Boxes = std::vector<Box>;

constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr unsigned points_per_tree = support::scale_in_release(30, 5);

template <typename Number> Number get_length(Number x, Number y, Number z) {
    return std::sqrt((x * x + y * y) + z * z);
}

/// Items that lie somewhere in their boxes.
class Items {
  public:
    Items(const Boxes& boxes, SeededRandom& random) : m_boxes(boxes) {
        for (const Box& box : boxes) {
            GMathVec3<float> place;
            for (unsigned axis = 0; axis < 3; ++axis) {
                const unsigned kind = random.below(4);
                const float share = kind == 0 ? 0.0f : kind == 1 ? 1.0f : random.uniform();
                const double low = static_cast<double>(box.min[axis]);
                const double high = static_cast<double>(box.max[axis]);
                place[axis] = static_cast<float>(low + (high - low) * static_cast<double>(share));
            }
            m_places.push_back(place);
        }
    }

    double get_distance(unsigned item, const ClosestPoint& point) const {
        const GMathVec3<float>& place = m_places[item];
        return get_length(static_cast<double>(place.x) - point.x,
                          static_cast<double>(place.y) - point.y,
                          static_cast<double>(place.z) - point.z);
    }
    /// In floats: less or more by rounding.
    double get_rough_distance(unsigned item, const ClosestPoint& point) const {
        const GMathVec3<float>& place = m_places[item];
        return static_cast<double>(get_length(place.x - static_cast<float>(point.x),
                                              place.y - static_cast<float>(point.y),
                                              place.z - static_cast<float>(point.z)));
    }
    double get_box_distance(unsigned item, const ClosestPoint& point) const {
        return support::get_box_distance(m_boxes[item], point);
    }

    /// All of them as callbacks, and one that stops early.
    std::vector<ItemDistance> get_callbacks() const {
        return {
            [this](unsigned item, auto& point, double) { return get_distance(item, point); },
            [this](unsigned item, auto& point, double) { return get_rough_distance(item, point); },
            [this](unsigned item, auto& point, double) { return get_box_distance(item, point); },
            [this](unsigned item, auto& point, double bound) {
                const double distance = get_distance(item, point);
                return distance <= bound ? distance : infinity;
            },
        };
    }

  private:
    const Boxes& m_boxes;
    std::vector<GMathVec3<float>> m_places;
};

class ClosestItemBruteForce : public testing::Test {
  protected:
    void compare(const Boxes& boxes, const Items& items, const ClosestPoint& point,
                 double max_distance) {
        const auto count = static_cast<unsigned>(boxes.size());
        for (const ItemDistance& get_distance : items.get_callbacks()) {
            const ClosestItem expected =
                support::search_closest(count, point, max_distance, get_distance);
            AskedItems asked = {get_distance, {}};
            ASSERT_EQ(find_closest(plain, ctx, point, max_distance, asked), expected)
                << "plain, at " << point.x << ", " << point.y << ", " << point.z;
            ASSERT_LE(asked.items.size(), count);
            ASSERT_EQ(find_closest(compressed, ctx, point, max_distance, asked), expected)
                << "compressed, at " << point.x << ", " << point.y << ", " << point.z;
            ++queries;
            found += expected.is_found;
        }
    }

    void compare_many(const Boxes& boxes, SeededRandom& random) {
        const naive::Split split = support::all_splits[random.below(4)];
        support::build(plain, boxes, split);
        support::build(compressed, boxes, split);
        const Items items(boxes, random);
        for (unsigned i = 0; i < points_per_tree; ++i) {
            const ClosestPoint point = choose_point(random, boxes);
            ASSERT_NO_FATAL_FAILURE(
                compare(boxes, items, point, choose_limit(random, items, point, boxes.size())));
        }
    }

    static ClosestPoint choose_point(SeededRandom& random, const Boxes& boxes) {
        const Box& box = boxes[random.below(static_cast<unsigned>(boxes.size()))];
        const bool is_far = random.below(6) == 0;
        ClosestPoint point;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double share =
                is_far ? 2000.0 * random.uniform_double() : 3.0 * random.uniform_double() - 1.0;
            const double low = static_cast<double>(box.min[axis]);
            point[axis] = low + (static_cast<double>(box.max[axis]) - low) * share;
        }
        if (random.below(20) == 0)
            point[random.below(3)] = static_cast<double>(support::special_value(random));
        return point;
    }

    /// None, just what some item has, or a part of it.
    static double choose_limit(SeededRandom& random, const Items& items, const ClosestPoint& point,
                               std::size_t count) {
        constexpr double shares[] = {infinity, infinity, 1.0, 0.1};
        return shares[random.below(4)] *
               items.get_distance(random.below(static_cast<unsigned>(count)), point);
    }

    void expect_both_outcomes() const {
        std::printf("compared %u queries, %u with a closest item\n", queries, found);
        EXPECT_GT(found, queries / 2);
        EXPECT_LT(found, queries);
    }

    GasTree plain;
    GasCompressedTree compressed;
    GasTreeCtx ctx;
    unsigned queries = 0;
    unsigned found = 0;
};

std::string describe(scenes::Kind kind, unsigned count) {
    return std::string(scenes::name(kind)) + ", " + std::to_string(count);
}

/// `count` boxes of `side` in a cube of side 64.
Boxes make_uniform(unsigned count, float side, SeededRandom& random) {
    Boxes boxes(count);
    for (Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = random.between(0.0f, 64.0f - side);
            box.max[axis] = box.min[axis] + side;
        }
    }
    return boxes;
}

/// Boxes without extent on a sphere of radius `radius` around `center`, as well as floats can.
Boxes make_shell(unsigned count, const GMathVec3<double>& center, double radius,
                 SeededRandom& random) {
    Boxes boxes;
    while (boxes.size() < count) {
        double direction[3];
        for (double& coordinate : direction)
            coordinate = 2.0 * random.uniform_double() - 1.0;
        const double length = get_length(direction[0], direction[1], direction[2]);
        if (length < 0.1 || length > 1.0)
            continue;
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis)
            box.min[axis] = box.max[axis] =
                static_cast<float>(center[axis] + radius / length * direction[axis]);
        boxes.push_back(box);
    }
    return boxes;
}

} // namespace

TEST_F(ClosestItemBruteForce, FindsTheSameInScenesOfEveryKind) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {1u, 2u, 3u, 9u, 64u, 500u}) {
            SCOPED_TRACE(describe(kind, count));
            SeededRandom random(std::uint64_t{count} * 900 + static_cast<unsigned>(kind));
            const Boxes boxes = scenes::make(kind, count, random.next());
            ASSERT_NO_FATAL_FAILURE(compare_many(boxes, random));
        }
    }
    expect_both_outcomes();
}

TEST_F(ClosestItemBruteForce, FindsTheSameFarOutsideOfTheWorkingRange) {
    for (const float place : {1e3f, 1e5f, 1e7f}) {
        for (const float size : {1.0f, 1e3f, 1e6f}) {
            SeededRandom random(static_cast<std::uint64_t>(place + size));
            Boxes boxes = make_uniform(400, 1.0f, random);
            for (Box& box : boxes) {
                for (unsigned axis = 0; axis < 3; ++axis) {
                    box.min[axis] = place + size / 64.0f * box.min[axis];
                    box.max[axis] = place + size / 64.0f * box.max[axis];
                }
            }
            SCOPED_TRACE(size);
            ASSERT_NO_FATAL_FAILURE(compare_many(boxes, random));
        }
    }
    expect_both_outcomes();
}

TEST_F(ClosestItemBruteForce, FindsTheSameAmongSpoiledBoxes) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        SeededRandom random(seed);
        Boxes boxes = make_uniform(2 + random.below(100), 4.0f, random);
        support::spoil(boxes, random, 2 + random.below(200));
        SCOPED_TRACE(seed);
        ASSERT_NO_FATAL_FAILURE(compare_many(boxes, random));
    }
    expect_both_outcomes();
}

/// Thousands of items at one distance but for rounding: more nodes are pending than are sorted, and
/// the least of the rounded distances counts.
TEST_F(ClosestItemBruteForce, FindsTheSameFromTheCentreOfAShell) {
    constexpr unsigned count = support::scale_in_release(4000, 1000);
    for (const double radius : {1e-3, 30.0, 1e6}) {
        SeededRandom random(static_cast<std::uint64_t>(radius) + 3);
        const GMathVec3<double> center = {0.3 * radius, -0.6 * radius, 1.7 * radius};
        const Boxes boxes = make_shell(count, center, radius, random);
        support::build(plain, boxes);
        support::build(compressed, boxes);
        const Items items(boxes, random);
        ASSERT_NO_FATAL_FAILURE(compare(boxes, items, center, infinity));
        ASSERT_NO_FATAL_FAILURE(compare(boxes, items, center, radius));
    }
}

TEST_F(ClosestItemBruteForce, FindsTheSameInDeepTreesOnASmallStack) {
    const Boxes chain = scenes::geometric_chain(200, 0.5f, 1);
    const Boxes sheet = scenes::sheet(3000, 0.9375f);
    for (const Boxes& boxes : {chain, sheet}) {
        support::run_on_a_small_stack([&] {
            SeededRandom random(boxes.size());
            support::build(plain, boxes, naive::Split::sah);
            support::build(compressed, boxes, naive::Split::sah);
            const Items items(boxes, random);
            for (unsigned i = 0; i < 20; ++i)
                compare(boxes, items, choose_point(random, boxes), infinity);
            compare(boxes, items, {0.0, -1.0, 0.0}, infinity);
        });
        ASSERT_FALSE(HasFatalFailure());
        EXPECT_GT(plain.get_depth(), 40u);
    }
}

TEST_F(ClosestItemBruteForce, AsksForFewItems) {
    constexpr unsigned count = support::scale_in_release(30000, 4000);
    constexpr unsigned point_count = 200;
    SeededRandom random(12);
    const Boxes boxes = make_uniform(count, 0.5f, random);
    support::build(plain, boxes);
    support::build(compressed, boxes);
    const Items items(boxes, random);
    std::size_t plain_calls = 0;
    std::size_t compressed_calls = 0;
    const auto count_calls = [&](const auto& tree, const ClosestPoint& point) {
        const ItemDistance get_distance = items.get_callbacks()[0];
        AskedItems asked = {get_distance, {}};
        EXPECT_EQ(find_closest(tree, ctx, point, infinity, asked),
                  support::search_closest(count, point, infinity, get_distance));
        return asked.items.size();
    };
    for (unsigned i = 0; i < point_count; ++i) {
        const ClosestPoint point = {64.0 * random.uniform_double(), 64.0 * random.uniform_double(),
                                    64.0 * random.uniform_double()};
        plain_calls += count_calls(plain, point);
        compressed_calls += count_calls(compressed, point);
    }
    std::printf("%.1f calls a query of %u items, in the compressed tree %.1f\n",
                static_cast<double>(plain_calls) / point_count, count,
                static_cast<double>(compressed_calls) / point_count);
    EXPECT_LT(plain_calls, 6u * point_count);
    EXPECT_LT(compressed_calls, 6u * point_count);
}
