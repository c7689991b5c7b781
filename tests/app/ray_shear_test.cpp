// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/math/ray_shear.h>

#include <gtest/gtest.h>

#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

constexpr Vec3 a{0.0, 0.0, 0.0};
constexpr Vec3 b{1.0, 0.0, 0.0};
constexpr Vec3 c{0.0, 1.0, 0.0};

bool hits(const Vec3& origin, const Vec3& direction, ItemHit& hit) {
    return RayShear(direction).intersect_triangle(origin, a, b, c, hit);
}

TEST(RayShear, FindsDistanceAndWeights) {
    ItemHit hit;
    ASSERT_TRUE(hits({0.25, 0.5, 3.0}, {0.0, 0.0, -2.0}, hit));
    EXPECT_DOUBLE_EQ(hit.distance, 1.5);
    EXPECT_DOUBLE_EQ(hit.u, 0.25);
    EXPECT_DOUBLE_EQ(hit.v, 0.5);
    ASSERT_TRUE(hits({0.25, 0.5, -3.0}, {0.0, 0.0, 2.0}, hit)) << "from behind";
    EXPECT_DOUBLE_EQ(hit.distance, 1.5);
}

TEST(RayShear, ReportsTrianglesBehindTheOriginAsNegative) {
    ItemHit hit;
    ASSERT_TRUE(hits({0.25, 0.25, 1.0}, {0.0, 0.0, 1.0}, hit));
    EXPECT_DOUBLE_EQ(hit.distance, -1.0);
}

TEST(RayShear, MissesWhatLiesBeside) {
    ItemHit hit;
    EXPECT_FALSE(hits({-0.001, 0.5, 1.0}, {0.0, 0.0, -1.0}, hit));
    EXPECT_FALSE(hits({0.5, -0.001, 1.0}, {0.0, 0.0, -1.0}, hit));
    EXPECT_FALSE(hits({0.501, 0.501, 1.0}, {0.0, 0.0, -1.0}, hit));
    EXPECT_FALSE(hits({0.2, 0.2, 1.0}, {1.0, 0.0, 0.0}, hit)) << "parallel";
}

TEST(RayShear, CountsEdgesAndCorners) {
    ItemHit hit;
    for (const Vec3& point :
         {a, b, c, Vec3{0.5, 0.0, 0.0}, Vec3{0.0, 0.5, 0.0}, Vec3{0.5, 0.5, 0.0}})
        EXPECT_TRUE(hits(point + Vec3{0.0, 0.0, 1.0}, {0.0, 0.0, -1.0}, hit));
}

TEST(RayShear, IgnoresTrianglesWithoutArea) {
    ItemHit hit;
    const RayShear down({0.0, 0.0, -1.0});
    EXPECT_FALSE(down.intersect_triangle({0.5, 0.0, 1.0}, a, b, b, hit));
    EXPECT_FALSE(down.intersect_triangle({0.0, 0.0, 1.0}, a, a, a, hit));
}

TEST(RayShear, WorksAlongEveryAxis) {
    for (unsigned axis = 0; axis < 3; ++axis)
        for (const double sign : {-1.0, 1.0}) {
            Vec3 direction{0.1, -0.2, 0.15};
            direction[axis] = sign;
            const Vec3 inside{0.2, 0.3, 0.0};
            ItemHit hit;
            ASSERT_TRUE(hits(inside - direction * 2.0, direction, hit));
            EXPECT_NEAR(hit.distance, 2.0, 1e-12);
        }
}

TEST(RayShear, LetsNoRayThroughAFan) {
    // Rays through the edges and the middle of a closed fan, where rounding is at its worst.
    support::SeededRandom random(11);
    const auto get_point = [&] {
        return Vec3{random.uniform_double() - 0.5, random.uniform_double() - 0.5,
                    random.uniform_double() - 0.5};
    };
    constexpr unsigned sides = 7;
    for (unsigned fan = 0; fan < 3000; ++fan) {
        const Vec3 origin = get_point() * 1000.0 + Vec3{0.0, 0.0, 2000.0};
        Vec3 ring[sides];
        for (unsigned side = 0; side < sides; ++side) {
            const double angle = 2.0 * pi * side / sides;
            ring[side] = Vec3{std::cos(angle), std::sin(angle), 0.0} + get_point() * 0.2;
        }
        const Vec3 middle = get_point() * 0.2;
        const double along = random.uniform_double() * 0.9;
        const Vec3 target = mix(middle, ring[fan % sides], along);
        const RayShear ray(target - origin);
        bool found = false;
        ItemHit hit;
        for (unsigned side = 0; side < sides; ++side)
            found = found || ray.intersect_triangle(origin, middle, ring[side],
                                                    ring[(side + 1) % sides], hit);
        EXPECT_TRUE(found) << fan;
    }
}

} // namespace
