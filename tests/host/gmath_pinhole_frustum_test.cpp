// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <gas/host/host.h>

#include <tests/support/pinhole_tile.h>
#include <tests/support/seeded_random.h>

namespace {

using support::PinholeTile;
using support::SeededRandom;
using Vector = GMathVec3<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

/// How far inside all planes a point is; negative: outside.
double depth_inside(const GMathFrustum& frustum, const Vector& point) {
    double least = infinity;
    for (unsigned i = 0; i < frustum.get_plane_count(); ++i) {
        const GMathFrustum::Plane& plane = frustum.get_plane(i);
        least = std::min(least, dot(plane.normal, point) + plane.offset);
    }
    return least;
}

/// Looks along -z from (0, 0, 5), a quarter turn wide and high.
const PinholeTile square = {
    {0.0, 0.0, 5.0}, {{-1.0, 1.0, -1.0}, {1.0, 1.0, -1.0}, {1.0, -1.0, -1.0}, {-1.0, -1.0, -1.0}}};

GMathFrustum make(const PinholeTile& tile, double near = 0.0, double far = infinity) {
    return gmath_make_pinhole_frustum(tile.eye, tile.corners, near, far);
}

} // namespace

TEST(GmathPinholeFrustum, FourSidesThroughTheEyeHoldTheTileAndLittleMore) {
    const GMathFrustum frustum = make(square);
    EXPECT_EQ(frustum.get_plane_count(), 4u);
    EXPECT_GT(depth_inside(frustum, {0.0, 0.0, 0.0}), 1.0);
    EXPECT_GT(depth_inside(frustum, {5.0, 5.0, 0.0}), 0.0);
    EXPECT_GT(depth_inside(frustum, {0.0, 0.0, 5.0}), 0.0); // the eye itself
    EXPECT_GT(depth_inside(frustum, {5.0 + 1e-5, 0.0, 0.0}), 0.0);
    for (const Vector& aside : {Vector{5.001, 0.0, 0.0}, Vector{-5.001, 0.0, 0.0},
                                Vector{0.0, 5.001, 0.0}, Vector{0.0, -5.001, 0.0}})
        EXPECT_LT(depth_inside(frustum, aside), 0.0);
    EXPECT_LT(depth_inside(frustum, {0.0, 0.0, 5.001}), 0.0); // behind
}

TEST(GmathPinholeFrustum, TheSenseOfTheCornersAndTheirLengthsDoNotMatter) {
    PinholeTile turned = square;
    std::swap(turned.corners[1], turned.corners[3]);
    turned.corners[0] = turned.corners[0] * 1e200;
    turned.corners[2] = turned.corners[2] * 1e-250;
    const GMathFrustum frustum = make(turned);
    EXPECT_EQ(frustum.get_plane_count(), 4u);
    EXPECT_GT(depth_inside(frustum, {4.999, -4.999, 0.0}), 0.0);
    EXPECT_LT(depth_inside(frustum, {5.001, 0.0, 0.0}), 0.0);
    EXPECT_LT(depth_inside(frustum, {0.0, -5.001, 0.0}), 0.0);
}

TEST(GmathPinholeFrustum, NearAndFarDistancesBoundWhatEveryRayReaches) {
    const GMathFrustum frustum = make(square, 1.0, 10.0);
    EXPECT_EQ(frustum.get_plane_count(), 6u);
    const double corner = 1.0 / std::sqrt(3.0); // of a unit direction through a corner
    EXPECT_GT(depth_inside(frustum, {corner, corner, 5.0 - corner}), 0.0);
    EXPECT_GT(depth_inside(frustum, {0.0, 0.0, -5.0}), 0.0);
    EXPECT_LT(depth_inside(frustum, {0.0, 0.0, 4.5}), 0.0);
    EXPECT_LT(depth_inside(frustum, {0.0, 0.0, -5.001}), 0.0);
    EXPECT_EQ(make(square, 0.0, 10.0).get_plane_count(), 5u);
    EXPECT_EQ(make(square, 1.0).get_plane_count(), 5u);
    EXPECT_EQ(make(square, -1.0, std::nan("")).get_plane_count(), 4u);
}

TEST(GmathPinholeFrustum, EveryPointOfEveryRayIsInsideWithAMargin) {
    SeededRandom random(3);
    const auto coordinate = [&] { return random.uniform_double() * 2.0 - 1.0; };
    for (unsigned i = 0; i < 2000; ++i) {
        const double offset = std::exp2(static_cast<double>(random.below(40)) - 20.0);
        const Vector eye = {coordinate() * offset, coordinate() * offset, coordinate() * offset};
        const double away = std::exp2(static_cast<double>(random.below(40)) - 20.0);
        const Vector target =
            eye + Vector{coordinate() * away, coordinate() * away, coordinate() * away};
        const double size = std::exp2(2.0 - static_cast<double>(random.below(14)));
        const PinholeTile tile = support::make_tile(random, eye, target, size);
        const double near = away * 0.01;
        const double far = away * 8.0;
        const GMathFrustum frustum = make(tile, near, far);
        ASSERT_EQ(frustum.get_plane_count(), 6u) << i;
        for (unsigned ray = 0; ray < 25; ++ray) {
            const Vector direction = tile.get_direction(0.25 * (ray % 5), 0.25 * (ray / 5));
            const double length = std::sqrt(dot(direction, direction));
            for (const double distance : {near, away, far}) {
                const Vector point = eye + direction * (distance / length);
                ASSERT_GT(depth_inside(frustum, point), 3e-6 * distance * 0.01) << i;
                if (distance == away) { // clear of the near and far planes
                    ASSERT_GT(depth_inside(frustum, point), 3e-6 * distance) << i;
                }
            }
        }
        // Wide enough to be a bound at all.
        const Vector middle = tile.get_direction(0.5, 0.5);
        const Vector aside = middle + (tile.get_direction(1.0, 0.5) - middle) * 1.1;
        EXPECT_LT(depth_inside(frustum, eye + aside), 1e-5 * offset) << i;
    }
}

TEST(GmathPinholeFrustum, DegenerateTilesHaveNoWrongPlane) {
    PinholeTile tile = square;
    std::fill(tile.corners, tile.corners + 4, Vector{0.0, 0.0, -1.0}); // one direction
    EXPECT_EQ(make(tile).get_plane_count(), 0u);

    tile = square;
    tile.corners[2] = tile.corners[1]; // no area
    tile.corners[3] = tile.corners[0];
    EXPECT_EQ(make(tile).get_plane_count(), 0u);

    tile = square;
    tile.corners[2] = tile.corners[1]; // a triangle
    const GMathFrustum triangle = make(tile);
    EXPECT_EQ(triangle.get_plane_count(), 3u);
    EXPECT_GT(depth_inside(triangle, {4.9, 4.9, 0.0}), 0.0);
    EXPECT_LT(depth_inside(triangle, {4.9, -4.9, 0.0}), 0.0);

    tile = square;
    std::swap(tile.corners[1], tile.corners[2]); // crossed over: the crossing sides have no plane
    const GMathFrustum crossed = make(tile);
    EXPECT_EQ(crossed.get_plane_count(), 2u);
    for (const Vector& corner : square.corners)
        EXPECT_GT(depth_inside(crossed, square.eye + corner), 0.0);

    tile = square;
    tile.corners[3] = {0.0, 0.0, -1.0}; // dented: what the dent cuts off stays inside
    const GMathFrustum dented = make(tile);
    for (const Vector& corner : tile.corners)
        EXPECT_GT(depth_inside(dented, tile.eye + corner), 0.0);

    for (Vector& corner : tile.corners)
        corner.z = -0.001; // nearly a half-space
    EXPECT_EQ(make(tile, 1.0, 10.0).get_plane_count(), 0u);
    for (Vector& corner : tile.corners)
        corner.z = 1.0; // all around
    tile.corners[0] = tile.corners[2] * -1.0;
    EXPECT_EQ(make(tile).get_plane_count(), 0u);
}

TEST(GmathPinholeFrustum, NumbersThatAreNotFiniteGiveNoPlanes) {
    for (const double number : {infinity, -infinity, std::nan("")}) {
        PinholeTile tile = square;
        tile.eye.y = number;
        EXPECT_EQ(make(tile, 1.0, 2.0).get_plane_count(), 0u);
        tile = square;
        tile.corners[2].x = number;
        EXPECT_EQ(make(tile, 1.0, 2.0).get_plane_count(), 0u);
    }
    PinholeTile tile = square;
    tile.corners[1] = {0.0, 0.0, 0.0};
    EXPECT_EQ(make(tile, 1.0, 2.0).get_plane_count(), 0u);
}
