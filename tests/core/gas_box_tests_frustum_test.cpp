// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <gas/core/gas_box_tests.h>

#include <tests/support/pinhole_tile.h>
#include <tests/support/seeded_random.h>

// The tests of one box: against a ray, another box, and a batch's frustum.

namespace {

using support::PinholeTile;
using support::SeededRandom;

constexpr float infinity = std::numeric_limits<float>::infinity();
const float not_a_number = std::numeric_limits<float>::quiet_NaN();

struct LaneBox {
    SimdF min;
    SimdF max;
};

LaneBox make_box(const float (&min)[3], const float (&max)[3]) {
    return {SimdF(min[0], min[1], min[2], 0.0f), SimdF(max[0], max[1], max[2], 0.0f)};
}

const LaneBox unit = make_box({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f});

bool is_outside(const GMathFrustum& frustum, const LaneBox& box) {
    return gas_is_outside(frustum, box.min, box.max);
}

bool overlap(const LaneBox& a, const LaneBox& b) {
    const bool result = gas_test_overlap(a.min, a.max, b.min, b.max);
    EXPECT_EQ(gas_test_overlap(b.min, b.max, a.min, a.max), result);
    return result;
}

/// A number some floats away.
float step(float value, int floats) {
    for (; floats > 0; --floats)
        value = std::nextafter(value, infinity);
    for (; floats < 0; ++floats)
        value = std::nextafter(value, -infinity);
    return value;
}

/// The planes through the eye and the tile's edges, without any margin.
GMathFrustum make_exact_sides(const PinholeTile& tile) {
    const auto dot = [](const GMathVec3<double>& a, const GMathVec3<double>& b) {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    };
    GMathFrustum frustum;
    for (unsigned side = 0; side < 4; ++side) {
        const GMathVec3<double>& a = tile.corners[side];
        const GMathVec3<double>& b = tile.corners[(side + 1) % 4];
        GMathVec3<double> normal = {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z,
                                    a.x * b.y - a.y * b.x};
        if (dot(normal, tile.corners[(side + 2) % 4]) < 0.0)
            normal = normal * -1.0;
        frustum.add_plane(normal, -dot(normal, tile.eye));
    }
    return frustum;
}

} // namespace

TEST(BoxTestsFrustum, TheCornerFurthestAlongTheNormalDecides) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const double sign : {1.0, -1.0}) {
            GMathVec3<double> normal = {0.0, 0.0, 0.0};
            normal[axis] = sign;
            const double edge = sign > 0.0 ? 1.0 : 0.0;
            const auto beyond = [&](double place) {
                GMathFrustum frustum;
                frustum.add_plane(normal, -sign * place);
                return is_outside(frustum, unit);
            };
            EXPECT_FALSE(beyond(edge)); // touching
            EXPECT_FALSE(beyond(edge - sign * 0.5));
            EXPECT_TRUE(beyond(edge + sign * 1e-12));
        }
    }
    GMathFrustum diagonal;
    diagonal.add_plane({1.0, -1.0, 1.0}, -2.0);
    EXPECT_FALSE(is_outside(diagonal, unit));
    diagonal.clear();
    diagonal.add_plane({1.0, -1.0, 1.0}, -2.0 - 1e-15);
    EXPECT_TRUE(is_outside(diagonal, unit));
}

TEST(BoxTestsFrustum, AnyPlaneWillDoAndNoPlanesHoldEverything) {
    GMathFrustum frustum;
    EXPECT_FALSE(is_outside(frustum, unit));
    for (unsigned i = 0; i < 5; ++i)
        frustum.add_plane({1.0, 1.0, 1.0}, 10.0);
    EXPECT_FALSE(is_outside(frustum, unit));
    frustum.add_plane({0.0, 0.0, 1.0}, -2.0);
    EXPECT_TRUE(is_outside(frustum, unit));
}

TEST(BoxTestsFrustum, WhatDoesNotCompareIsNotOutside) {
    GMathFrustum frustum;
    frustum.add_plane({1.0, 0.0, 0.0}, -2.0);
    EXPECT_FALSE(is_outside(frustum, make_box({0.0f, -infinity, 0.0f}, {1.0f, infinity, 1.0f})));
    EXPECT_FALSE(is_outside(frustum, make_box({0.0f, 0.0f, 0.0f}, {not_a_number, 1.0f, 1.0f})));
    EXPECT_FALSE(is_outside(frustum, make_box({0.0f, 0.0f, 0.0f}, {infinity, 1.0f, 1.0f})));
    // Floats would lose the 1 beside the 1e8, and the plane with it.
    frustum.clear();
    frustum.add_plane({1.0, 1.0, 0.0}, -1e8);
    EXPECT_FALSE(is_outside(frustum, make_box({0.0f, 0.0f, 0.0f}, {1e8f, 1.0f, 1.0f})));
    frustum.clear();
    frustum.add_plane({1.0, 1.0, 0.0}, -1e8 - 2.0);
    EXPECT_TRUE(is_outside(frustum, make_box({0.0f, 0.0f, 0.0f}, {1e8f, 1.0f, 1.0f})));
}

TEST(BoxTestsFrustum, TouchingBoxesOverlap) {
    EXPECT_TRUE(overlap(unit, unit));
    EXPECT_TRUE(overlap(unit, make_box({1.0f, 1.0f, 1.0f}, {2.0f, 2.0f, 2.0f})));
    EXPECT_TRUE(overlap(unit, make_box({0.5f, -3.0f, 0.5f}, {0.5f, 3.0f, 0.5f})));
    for (unsigned axis = 0; axis < 3; ++axis) {
        float min[3] = {0.0f, 0.0f, 0.0f};
        float max[3] = {1.0f, 1.0f, 1.0f};
        min[axis] = step(1.0f, 1);
        max[axis] = 2.0f;
        EXPECT_FALSE(overlap(unit, make_box(min, max)));
    }
    EXPECT_TRUE(overlap(unit, make_box({not_a_number, 0.0f, 0.0f}, {not_a_number, 1.0f, 1.0f})));
    // The fourth lanes take no part.
    EXPECT_TRUE(gas_test_overlap(unit.min, unit.max, SimdF(0.0f, 0.0f, 0.0f, 5.0f),
                                 SimdF(1.0f, 1.0f, 1.0f, 6.0f)));
}

TEST(BoxTestsFrustum, OneBoxIsTestedAsEitherOfAPair) {
    SeededRandom random(17);
    const auto number = [&] {
        constexpr float special[] = {0.0f, 1.0f, -1.0f, infinity, -infinity, 1e38f};
        return random.below(6) == 0 ? special[random.below(6)] : random.between(-3.0f, 3.0f);
    };
    unsigned hits = 0;
    for (unsigned i = 0; i < 100000; ++i) {
        float corners[4][3];
        GMathVec3<double> origin;
        GMathVec3<double> direction;
        for (unsigned axis = 0; axis < 3; ++axis) {
            for (float(&corner)[3] : corners)
                corner[axis] = number();
            origin[axis] = static_cast<double>(random.below(3) ? number() : corners[0][axis]);
            direction[axis] =
                random.below(4) ? static_cast<double>(random.between(-1.0f, 1.0f)) : 0;
        }
        const LaneBox first = make_box(corners[0], corners[1]);
        const LaneBox second = make_box(corners[2], corners[3]);
        const GasLaneRay ray(GMathBasicRay(origin, direction),
                             static_cast<double>(random.between(-1.0f, 1.0f)));
        const float far = random.below(5) ? random.between(0.0f, 9.0f) : not_a_number;
        SimdF entries;
        const int mask = gas_test_box_pair(
            ray, SimdF(far), {{first.min, first.max}, {second.min, second.max}}, entries);
        ASSERT_EQ(gas_test_box(ray, far, first.min, first.max), (mask & 1) != 0) << i;
        ASSERT_EQ(gas_test_box(ray, far, second.min, second.max), (mask & 2) != 0) << i;
        hits += mask == 1 || mask == 2;
    }
    EXPECT_GT(hits, 1000u);
}

// A camera anywhere, rays through the border and corners of its tile, and boxes that the rays touch
// with an edge, give or take a few floats: what the box test lets pass, the frustum keeps.
TEST(BoxTestsFrustum, NoBoxThatABorderRayHitsIsOutsideItsTilesFrustum) {
    SeededRandom random(29);
    unsigned grazed = 0;
    unsigned hits = 0;
    unsigned exact_misses = 0;
    for (unsigned i = 0; i < 200000; ++i) {
        const auto coordinate = [&] { return random.uniform_double() * 2.0 - 1.0; };
        const double offset = std::exp2(static_cast<double>(random.below(24)) - 12.0);
        const GMathVec3<double> eye = {coordinate() * offset, coordinate() * offset,
                                       coordinate() * offset};
        GMathVec3<double> aim = {coordinate(), coordinate(), coordinate()};
        if (random.below(4) == 0)
            aim[random.below(3)] *= 1e-6; // nearly along an axis or a plane of two
        const PinholeTile tile = support::make_tile(
            random, eye, eye + aim, std::exp2(1.0 - static_cast<double>(random.below(12))));
        const GMathFrustum frustum = tile.make_frustum();
        const double across = random.below(2);
        const double down = random.below(2) ? random.below(2) : random.uniform_double();
        const GMathBasicRay line(eye, tile.get_direction(across, down));
        const GasLaneRay ray(line, 0.0);

        const double distance = std::exp2(static_cast<double>(random.below(16)) - 12.0);
        const GMathVec3<double> point = line.get_point(distance);
        float min[3];
        float max[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float place =
                step(static_cast<float>(point[axis]), static_cast<int>(random.below(9)) - 4);
            const float size = random.uniform() * static_cast<float>(distance);
            const bool is_low = random.below(2);
            min[axis] = is_low ? place : place - size;
            max[axis] = is_low ? place + size : place;
        }
        const LaneBox box = make_box(min, max);
        ++grazed;
        if (!gas_test_box(ray, infinity, box.min, box.max))
            continue;
        ++hits;
        ASSERT_FALSE(is_outside(frustum, box)) << i;
        exact_misses += is_outside(make_exact_sides(tile), box);
    }
    std::printf("%u boxes grazed, %u hit, %u of those lost by planes without margins\n", grazed,
                hits, exact_misses);
    EXPECT_GT(hits, grazed / 10);
    EXPECT_GT(exact_misses, 0u);
}
