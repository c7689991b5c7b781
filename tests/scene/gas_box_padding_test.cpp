// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_box_padding.h>

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <tests/support/seeded_random.h>

namespace {

using Point = GMathVec3<double>;
using Box = GMathBbox3<double>;
using FloatBox = GMathBbox3<float>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr float largest = std::numeric_limits<float>::max();

TEST(Reach, IsTheLargestCoordinate) {
    EXPECT_EQ(gas_get_reach(Point{1.0, -3.0, 2.0}), 3.0);
    EXPECT_EQ(gas_get_reach(Point{0.0, -0.0, 0.0}), 0.0);
    EXPECT_EQ(gas_get_reach(Box{{-1.0, -7.0, 2.0}, {6.0, 5.0, 3.0}}), 7.0);
    EXPECT_EQ(gas_get_reach(Box{{-1.0, -7.0, 2.0}, {6.0, 5.0, 30.0}}), 30.0);
    EXPECT_EQ(gas_get_reach(FloatBox{{-1.0f, 0.0f, 0.0f}, {0.1f, 0.0f, 0.5f}}), 1.0);
}

TEST(Reach, OfNothingIsZero) {
    EXPECT_EQ(gas_get_reach(Box{{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}}),
              0.0);
    EXPECT_EQ(gas_get_reach(FloatBox{{0.0f, 0.0f, 5.0f}, {1.0f, 1.0f, 4.0f}}), 0.0);
    EXPECT_EQ(gas_get_reach(Point{std::nan(""), 2.0, std::nan("")}), 2.0);
    EXPECT_EQ(gas_get_reach(Box{{-infinity, 0.0, 0.0}, {0.0, 0.0, 0.0}}), infinity);
}

TEST(BoxPadding, GrowsWithTheReach) {
    EXPECT_EQ(gas_get_box_padding(0.0), 0.0);
    EXPECT_EQ(gas_get_box_padding(524288.0), 1.0);
    EXPECT_EQ(gas_get_ray_reach(1.0), 524288.0);
    for (const double reach : {0.1, 1e5, 6.4e6, 3.3e-12})
        EXPECT_EQ(gas_get_ray_reach(gas_get_box_padding(reach)), reach) << "to the bit";
}

TEST(BoxPadding, MovesEverySideOutward) {
    const FloatBox padded = gas_pad_box(Box{{-1.0, 2.0, 0.5}, {-1.0, 4.0, 8.0}}, 0.25);
    EXPECT_EQ(padded, (FloatBox{{-1.25f, 1.75f, 0.25f}, {-0.75f, 4.25f, 8.25f}}));
    EXPECT_EQ(gas_pad_box(FloatBox{{-1.0f, 2.0f, 0.5f}, {-1.0f, 4.0f, 8.0f}}, 0.25), padded);
}

TEST(BoxPadding, RoundsOutward) {
    const Box point = {{0.1, -0.1, 1.0}, {0.1, -0.1, 1.0}};
    const FloatBox rounded = gas_pad_box(point, 0.0);
    EXPECT_EQ(rounded.min, (GMathVec3<float>{0x1.999998p-4f, -0x1.99999ap-4f, 1.0f}));
    EXPECT_EQ(rounded.max, (GMathVec3<float>{0x1.99999ap-4f, -0x1.999998p-4f, 1.0f}));
    // A padding below the rounding of floats still moves a side that is a float.
    const FloatBox moved = gas_pad_box(point, 0x1p-40);
    EXPECT_EQ(moved.min.z, 0x1.fffffep-1f);
    EXPECT_EQ(moved.max.z, 0x1.000002p0f);
}

TEST(BoxPadding, BoxesOfFloatsStayWithoutPadding) {
    const FloatBox boxes[] = {
        {{0.1f, -0.3f, 7.7f}, {0.2f, 1e-7f, 9.1f}},
        {{0x1p-149f, -0x1p-149f, 0.0f}, {0x1p-148f, 0x1p-149f, 0x1p-130f}},
        {{-largest, -largest, 0.0f}, {largest, 0.0f, largest}},
    };
    for (const FloatBox& box : boxes)
        EXPECT_EQ(gas_pad_box(box, 0.0), box);
}

TEST(BoxPadding, KeepsInfinitiesAndNaN) {
    const double nan = std::nan("");
    const FloatBox padded =
        gas_pad_box(Box{{-infinity, nan, infinity}, {infinity, nan, -infinity}}, 1.0, 0x1p-20);
    EXPECT_EQ(padded.min.x, -INFINITY);
    EXPECT_EQ(padded.max.x, INFINITY);
    EXPECT_TRUE(std::isnan(padded.min.y) && std::isnan(padded.max.y));
    // A box that holds nothing still does.
    EXPECT_EQ(padded.min.z, INFINITY);
    EXPECT_EQ(padded.max.z, -INFINITY);
}

TEST(BoxPadding, HoldsWhatNoFloatReaches) {
    const FloatBox padded =
        gas_pad_box(Box{{-1e300, 1e300, -1e-300}, {-1e300, 1e300, 1e-300}}, 0.0);
    EXPECT_EQ(padded,
              (FloatBox{{-INFINITY, largest, -0x1p-149f}, {-largest, INFINITY, 0x1p-149f}}));
    const double edge = static_cast<double>(largest);
    const FloatBox beyond = gas_pad_box(Box{{-edge, 0.0, 0.0}, {edge, 0.0, 0.0}}, 1e30);
    EXPECT_EQ(beyond.min.x, -INFINITY);
    EXPECT_EQ(beyond.max.x, INFINITY);
    // As long as the scale brings them into floats, they lose nothing.
    const FloatBox scaled =
        gas_pad_box(Box{{-0x1p200, 0.0, 0.0}, {0x1p200, 0.0, 0.0}}, 0.0, 0x1p-195);
    EXPECT_EQ(scaled, (FloatBox{{-32.0f, 0.0f, 0.0f}, {32.0f, 0.0f, 0.0f}}));
}

TEST(BoxPadding, PadsEverySideByAllOfIt) {
    support::SeededRandom random(3);
    for (unsigned round = 0; round < 1000; ++round) {
        const double size = 1e3 * random.uniform_double();
        const Point corner{size * random.uniform_double(), -size * random.uniform_double(), size};
        const double padding = gas_get_box_padding(size);
        const FloatBox padded = gas_pad_box(Box{corner, corner}, padding);
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_LE(static_cast<double>(padded.min[axis]), corner[axis] - padding);
            EXPECT_GE(static_cast<double>(padded.max[axis]), corner[axis] + padding);
        }
    }
}

TEST(BoxPadding, KeepsEveryBitAtAScale) {
    const Box box{{0.1, -0.3, 7.7}, {0.2, 1e-7, 9.1}};
    const FloatBox padded = gas_pad_box(box, 1e-5);
    for (const float scale : {0.25f, 4096.0f}) {
        const FloatBox scaled = gas_pad_box(box, 1e-5, static_cast<double>(scale));
        EXPECT_EQ(scaled.min, padded.min * scale);
        EXPECT_EQ(scaled.max, padded.max * scale);
    }
}

TEST(BoxPadding, PromisesHitsWithinAQuarter) {
    const Box box{{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}};
    EXPECT_TRUE(gas_is_within_padding(box, {1.0, 0.0, 0.5}, 0.0));
    EXPECT_TRUE(gas_is_within_padding(box, {1.25, -0.25, 0.5}, 1.0));
    EXPECT_FALSE(gas_is_within_padding(box, {1.3, 0.0, 0.5}, 1.0));
    EXPECT_FALSE(gas_is_within_padding(box, {0.5, 0.5, -0.3}, 1.0));
    EXPECT_FALSE(gas_is_within_padding(box, {0.5, std::nan(""), 0.5}, 1.0));
}

} // namespace
