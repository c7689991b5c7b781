// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/tree_scale.h>

#include <gtest/gtest.h>

#include <gas/compressed/gas_box_codec.h>

#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

/// The largest coordinate or extent.
double get_measure(const Box& box) {
    const Vec3 size = box.max - box.min;
    return std::max({get_reach(box), size.x, size.y, size.z});
}

TEST(TreeScale, BringsEveryBoxToTheSameRange) {
    support::SeededRandom random(5);
    for (int exponent = -100; exponent <= 100; ++exponent) {
        const double size = std::ldexp(0.5 + random.uniform_double(), exponent);
        const Box box{{-0.7 * size, 0.0, 0.1 * size}, {size, 0.5 * size, 0.2 * size}};
        const double scale = get_tree_scale(box);
        int unused = 0;
        EXPECT_EQ(std::frexp(scale, &unused), 0.5) << "a power of two";
        EXPECT_GE(scale * get_measure(box), 32.0);
        EXPECT_LT(scale * get_measure(box), 64.0);
    }
}

TEST(TreeScale, LooksAtPlaceAndExtent) {
    EXPECT_EQ(get_tree_scale({{0.0, 0.0, 0.0}, {32.0, 1.0, 1.0}}), 1.0);
    EXPECT_EQ(get_tree_scale({{-20.0, 0.0, 0.0}, {20.0, 1.0, 1.0}}), 1.0);
    EXPECT_EQ(get_tree_scale({{1e3, 0.0, 0.0}, {1e3, 0.0, 0.0}}), 0.0625);
}

TEST(TreeScale, LeavesBoxesAloneThatHaveNoSize) {
    EXPECT_EQ(get_tree_scale({{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}), 1.0);
    EXPECT_EQ(get_tree_scale(empty_box()), 1.0);
}

SimdF to_lanes(const Vec3f& corner) { return SimdF(corner.x, corner.y, corner.z, 0.0f); }

void expect_inside(const GMathBbox3<float>& box, const SimdF& min, const SimdF& max) {
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
GMathBbox3<float> make_child(support::SeededRandom& random, const GMathBbox3<float>& parent) {
    GMathBbox3<float> child;
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

TEST(TreeScale, DecodedBoxesHoldTheExactOnesInThatRange) {
    support::SeededRandom random(17);
    for (unsigned round = 0; round < 200000; ++round) {
        const double extent = 64.0 * std::pow(10.0, -3.0 * random.uniform_double());
        GMathBbox3<float> parent;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double low = (64.0 - extent) * (2.0 * random.uniform_double() - 1.0);
            parent.min[axis] = static_cast<float>(low);
            parent.max[axis] = static_cast<float>(low + extent);
        }
        const GMathBbox3<float> first = make_child(random, parent);
        const GMathBbox3<float> second = make_child(random, parent);
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
