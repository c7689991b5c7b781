// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_scene_scale.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include <gas/compressed/gas_box_codec.h>
#include <gas/scene/gas_box_padding.h>

#include <tests/support/seeded_random.h>

namespace {

using Point = GMathVec3<double>;
using Box = GMathBbox3<double>;
using FloatBox = GMathBbox3<float>;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// The largest coordinate or extent.
double get_measure(const Box& box) {
    const Point size = box.max - box.min;
    return std::max({gas_get_reach(box), size.x, size.y, size.z});
}

bool is_power_of_two(double scale) {
    int unused = 0;
    return std::frexp(scale, &unused) == 0.5;
}

TEST(SceneScale, BringsEveryBoxToTheSameRange) {
    support::SeededRandom random(5);
    for (int exponent = -300; exponent <= 1000; ++exponent) {
        const double size = std::ldexp(0.5 + 0.5 * random.uniform_double(), exponent);
        const Box box{{-0.7 * size, 0.0, 0.1 * size}, {size, 0.5 * size, 0.2 * size}};
        const double scale = gas_get_scene_scale(box);
        ASSERT_TRUE(is_power_of_two(scale));
        ASSERT_GE(scale * get_measure(box), 32.0);
        ASSERT_LT(scale * get_measure(box), 64.0);
    }
}

TEST(SceneScale, LooksAtPlaceAndExtent) {
    EXPECT_EQ(gas_get_scene_scale(Box{{0.0, 0.0, 0.0}, {32.0, 1.0, 1.0}}), 1.0);
    EXPECT_EQ(gas_get_scene_scale(Box{{0.0, 0.0, 0.0}, {64.0, 1.0, 1.0}}), 0.5);
    EXPECT_EQ(gas_get_scene_scale(Box{{0.0, 0.0, 0.0}, {std::nextafter(64.0, 0.0), 1.0, 1.0}}),
              1.0);
    EXPECT_EQ(gas_get_scene_scale(FloatBox{{-20.0f, 0.0f, 0.0f}, {20.0f, 1.0f, 1.0f}}), 1.0);
    EXPECT_EQ(gas_get_scene_scale(Box{{1e3, 0.0, 0.0}, {1e3, 0.0, 0.0}}), 0.0625) << "a point";
    EXPECT_EQ(gas_get_scene_scale(Box{{-1.0, 0.0, -1.0}, {1.0, 0.0, 1.0}}), 16.0) << "flat";
}

TEST(SceneScale, LeavesBoxesAloneThatHaveNoSize) {
    EXPECT_EQ(gas_get_scene_scale(Box{{0.0, -0.0, 0.0}, {0.0, 0.0, 0.0}}), 1.0);
    EXPECT_EQ(
        gas_get_scene_scale(Box{{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}}),
        1.0);
    EXPECT_EQ(gas_get_scene_scale(FloatBox{{1e9f, 1e9f, 1e9f}, {-1e9f, -1e9f, -1e9f}}), 1.0);
    for (unsigned axis = 0; axis < 3; ++axis) {
        Box box{{-100.0, -100.0, -100.0}, {100.0, 100.0, 100.0}};
        box.min[axis] = 101.0;
        EXPECT_EQ(gas_get_scene_scale(box), 1.0) << "holds nothing";
    }
    EXPECT_EQ(gas_get_scene_scale(Box{{-infinity, 0.0, 0.0}, {0.0, 1.0, 1.0}}), 1.0);
    const double nan = std::nan("");
    EXPECT_EQ(gas_get_scene_scale(Box{{nan, nan, nan}, {nan, nan, nan}}), 1.0);
    EXPECT_EQ(gas_get_scene_scale(Box{{nan, 0.0, 0.0}, {nan, 16.0, 1.0}}), 2.0) << "does not count";
}

TEST(SceneScale, ReachesFromTheSmallestSceneToTheLargest) {
    constexpr float smallest = std::numeric_limits<float>::denorm_min();
    constexpr float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(gas_get_scene_scale(FloatBox{{0.0f, 0.0f, 0.0f}, {smallest, 0.0f, 0.0f}}), 0x1p154);
    EXPECT_EQ(gas_get_scene_scale(FloatBox{{0.0f, 0.0f, 0.0f}, {largest, 0.0f, 0.0f}}), 0x1p-122);
    EXPECT_EQ(gas_get_scene_scale(FloatBox{{-largest, 0.0f, 0.0f}, {largest, 0.0f, 0.0f}}),
              0x1p-123);
    constexpr double largest_double = std::numeric_limits<double>::max();
    EXPECT_EQ(gas_get_scene_scale(Box{{0.0, 0.0, 0.0}, {1e308, 0.0, 0.0}}), 0x1p-1018);
    EXPECT_EQ(gas_get_scene_scale(Box{{-1e308, 0.0, 0.0}, {1e308, 0.0, 0.0}}), 0x1p-1019)
        << "an extent beyond all doubles";
    EXPECT_EQ(gas_get_scene_scale(Box{{-largest_double, 0.0, 0.0}, {largest_double, 0.0, 0.0}}),
              0x1p-1019);
    // The inverse has to be a number, too.
    const double scale = gas_get_scene_scale(Box{{0.0, 0.0, 0.0}, {0x1p-1074, 0.0, 0.0}});
    EXPECT_EQ(scale, 0x1p1022);
    EXPECT_EQ(1.0 / (1.0 / scale), scale);
}

TEST(SceneScale, ScalingBackIsExact) {
    support::SeededRandom random(9);
    const auto get_coordinate = [&](double size) {
        return size * (2.0 * random.uniform_double() - 1.0);
    };
    for (int exponent = -90; exponent <= 120; ++exponent) {
        const double size = std::ldexp(1.0, exponent);
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = get_coordinate(size);
            box.max[axis] = box.min[axis] + std::abs(get_coordinate(size));
        }
        const double scale = gas_get_scene_scale(box);
        const double back = 1.0 / scale;
        ASSERT_EQ(gas_scale_box(gas_scale_box(box, scale), back), box);
        ASSERT_EQ(gas_scale_vector(gas_scale_vector(box.max, scale), back), box.max);
        const FloatBox floats = gas_pad_box(box, 0.0);
        ASSERT_EQ(gas_scale_box(gas_scale_box(floats, scale), back), floats);
        ASSERT_EQ(gas_scale_box(gas_pad_box(box, 1e-3 * size, scale), back),
                  gas_pad_box(box, 1e-3 * size));
        // A ray's inverse direction and the product with a difference, as box tests take them.
        const GMathBasicRay line(box.min, box.max);
        const GMathBasicRay scaled(gas_scale_vector(box.min, scale),
                                   gas_scale_vector(box.max, scale));
        for (unsigned axis = 0; axis < 3; ++axis) {
            ASSERT_EQ(scaled.get_inverse_direction()[axis],
                      line.get_inverse_direction()[axis] * back);
            const double face = box.min[axis] + 0.5 * size;
            ASSERT_EQ((face * scale - scaled.get_origin()[axis]) *
                          scaled.get_inverse_direction()[axis],
                      (face - line.get_origin()[axis]) * line.get_inverse_direction()[axis]);
        }
    }
}

TEST(SceneScale, BoxesThatLoseBitsAreRoundedOutward) {
    const FloatBox box = {{0x1.8p-148f, -0x1.8p-148f, -1.0f}, {0x1.8p-148f, 0x1.8p-148f, 1.0f}};
    EXPECT_EQ(gas_scale_box(box, 0.5),
              (FloatBox{{0x1p-149f, -0x1p-148f, -0.5f}, {0x1p-148f, 0x1p-148f, 0.5f}}));
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(gas_scale_box(box, 0x1p129).max.z, INFINITY);
    EXPECT_EQ(gas_scale_box(FloatBox{{1.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}}, 0x1p129).min.x,
              largest);
}

TEST(SceneScale, FrustumsKeepTheirPointsInside) {
    GMathFrustum frustum;
    frustum.add_plane({1.0, 0.0, 0.0}, -3.0);
    frustum.add_plane({0.0, -2.0, 1.0}, 0.75);
    GMathFrustum scaled;
    gas_scale_planes(frustum, 0.125,
                     [&](const Point& normal, double offset) { scaled.add_plane(normal, offset); });
    ASSERT_EQ(scaled.get_plane_count(), 2u);
    EXPECT_EQ(scaled.get_plane(0).normal, (Point{1.0, 0.0, 0.0}));
    EXPECT_EQ(scaled.get_plane(0).offset, -0.375);
    EXPECT_EQ(scaled.get_plane(1).normal, (Point{0.0, -2.0, 1.0}));
    EXPECT_EQ(scaled.get_plane(1).offset, 0.09375);
    unsigned call_count = 0;
    gas_scale_planes(GMathFrustum(), 2.0, [&](const Point&, double) { ++call_count; });
    EXPECT_EQ(call_count, 0u);
}

SimdF to_lanes(const GMathVec3<float>& corner) { return SimdF(corner.x, corner.y, corner.z, 0.0f); }

void expect_inside(const FloatBox& box, const SimdF& min, const SimdF& max) {
    float low[4];
    float high[4];
    min.store(low);
    max.store(high);
    for (unsigned axis = 0; axis < 3; ++axis) {
        ASSERT_LE(low[axis], box.min[axis]);
        ASSERT_GE(high[axis], box.max[axis]);
    }
}

/// A box in `parent` with bounds anywhere, or just beside those that whole steps give.
FloatBox make_child(support::SeededRandom& random, const FloatBox& parent) {
    FloatBox child;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double low = static_cast<double>(parent.min[axis]);
        const double extent = static_cast<double>(parent.max[axis]) - low;
        double bounds[2];
        for (double& bound : bounds) {
            double place = random.uniform_double();
            if (random.uniform_double() < 0.5)
                place = std::round(place * 255.0) / 255.0 +
                        (random.uniform_double() - 0.5) * 4.0 * 3.92e-5 / extent;
            bound = low + extent * std::clamp(place, 0.0, 1.0);
        }
        child.min[axis] = static_cast<float>(std::min(bounds[0], bounds[1]));
        child.max[axis] = static_cast<float>(std::max(bounds[0], bounds[1]));
        child.min[axis] = std::max(child.min[axis], parent.min[axis]);
        child.max[axis] = std::min(child.max[axis], parent.max[axis]);
    }
    return child;
}

TEST(SceneScale, DecodedBoxesHoldTheExactOnesInThatRange) {
    support::SeededRandom random(17);
    for (unsigned round = 0; round < 200000; ++round) {
        const double extent = 64.0 * std::pow(10.0, -3.0 * random.uniform_double());
        FloatBox parent;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double low = (64.0 - extent) * (2.0 * random.uniform_double() - 1.0);
            parent.min[axis] = static_cast<float>(low);
            parent.max[axis] = static_cast<float>(low + extent);
        }
        const FloatBox first = make_child(random, parent);
        const FloatBox second = make_child(random, parent);
        const GasQuantizedPair pair = gas_encode_box_pair(parent, first, second);
        unsigned char bytes[sizeof pair + 1] = {};
        std::copy_n(reinterpret_cast<const unsigned char*>(&pair), sizeof pair, bytes);
        GasBoxPair decoded;
        gas_decode_box_pair(bytes, to_lanes(parent.min), to_lanes(parent.max), decoded);
        ASSERT_NO_FATAL_FAILURE(expect_inside(first, decoded.first.min, decoded.first.max));
        ASSERT_NO_FATAL_FAILURE(expect_inside(second, decoded.second.min, decoded.second.max));
    }
}

} // namespace
