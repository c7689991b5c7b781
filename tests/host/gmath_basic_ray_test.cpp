// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <gas/host/host.h>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest_float = static_cast<double>(std::numeric_limits<float>::max());

GMathBasicRay along(double x, double y, double z) {
    return GMathBasicRay({0.0, 0.0, 0.0}, {x, y, z});
}

} // namespace

TEST(GMathBasicRay, ADefaultRayPointsUpZ) {
    const GMathBasicRay ray;
    EXPECT_EQ(ray.get_origin(), (GMathVec3<double>{0.0, 0.0, 0.0}));
    EXPECT_EQ(ray.get_direction(), (GMathVec3<double>{0.0, 0.0, 1.0}));
    EXPECT_EQ(ray.get_inverse_direction(), (GMathVec3<double>{infinity, infinity, 1.0}));
}

TEST(GMathBasicRay, InverseIsOneOverTheDirection) {
    const GMathBasicRay ray = along(2.0, -4.0, 3.0);
    EXPECT_EQ(ray.get_inverse_direction(), (GMathVec3<double>{0.5, -0.25, 1.0 / 3.0}));
}

TEST(GMathBasicRay, SignIsOneForNegativeComponentsOnly) {
    const GMathBasicRay ray = along(-1.0, -1e-300, 2.0);
    EXPECT_EQ(ray.get_sign(0), 1u);
    EXPECT_EQ(ray.get_sign(1), 1u);
    EXPECT_EQ(ray.get_sign(2), 0u);
}

TEST(GMathBasicRay, AZeroOfEitherSignInvertsToPositiveInfinity) {
    const GMathBasicRay ray = along(0.0, -0.0, -1.0);
    EXPECT_EQ(ray.get_inverse_direction(), (GMathVec3<double>{infinity, infinity, -1.0}));
    EXPECT_EQ(ray.get_sign(0), 0u);
    EXPECT_EQ(ray.get_sign(1), 0u);
}

TEST(GMathBasicRay, TinyComponentsInvertToTheLargestFloat) {
    const GMathBasicRay ray = along(1e-39, -1e-300, 4.9e-324);
    EXPECT_EQ(ray.get_inverse_direction(),
              (GMathVec3<double>{largest_float, -largest_float, largest_float}));
    EXPECT_EQ(ray.get_sign(1), 1u);
}

TEST(GMathBasicRay, EveryFiniteInverseFitsAFloat) {
    for (int exponent = -1074; exponent < 128; ++exponent)
        for (const double sign : {1.0, -1.0}) {
            const double component = std::ldexp(sign, exponent);
            const double inverse = along(component, 1.0, 1.0).get_inverse_direction().x;
            ASSERT_TRUE(std::isfinite(static_cast<float>(inverse))) << component;
            ASSERT_EQ(std::signbit(inverse), sign < 0.0);
        }
}

TEST(GMathBasicRay, InfiniteComponentsInvertToZeroOfTheirSign) {
    const GMathVec3<double> inverse = along(infinity, -infinity, 1.0).get_inverse_direction();
    EXPECT_EQ(inverse.x, 0.0);
    EXPECT_FALSE(std::signbit(inverse.x));
    EXPECT_EQ(inverse.y, 0.0);
    EXPECT_TRUE(std::signbit(inverse.y));
}

TEST(GMathBasicRay, ANanStaysANanWithoutASign) {
    const GMathBasicRay ray = along(-std::nan(""), 1.0, 1.0);
    EXPECT_TRUE(std::isnan(ray.get_inverse_direction().x));
    EXPECT_EQ(ray.get_sign(0), 0u);
}

TEST(GMathBasicRay, SettingTheDirectionDerivesTheRestAnew) {
    GMathBasicRay ray({1.0, 2.0, 3.0}, {-1.0, 0.0, 2.0});
    ray.set_direction({4.0, -8.0, 0.0});
    EXPECT_EQ(ray.get_inverse_direction(), (GMathVec3<double>{0.25, -0.125, infinity}));
    EXPECT_EQ(ray.get_sign(0), 0u);
    EXPECT_EQ(ray.get_sign(1), 1u);
    EXPECT_EQ(ray.get_origin(), (GMathVec3<double>{1.0, 2.0, 3.0}));

    ray.set_origin({0.0, 1.0, 0.0});
    EXPECT_EQ(ray.get_point(0.5), (GMathVec3<double>{2.0, -3.0, 0.0}));
}
