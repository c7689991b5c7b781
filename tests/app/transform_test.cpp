// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/math/transform.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

void expect_near(const Vec3& a, const Vec3& b) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_NEAR(a[axis], b[axis], 1e-12);
}

const Transform placement =
    translate({3.0, -1.0, 2.0}) * rotate(normalized({1.0, 2.0, -0.5}), 0.8) * scale(0.5, 2.0, 1.5);

TEST(Transform, AppliesTheRightmostFirst) {
    const Transform moved = translate({1.0, 0.0, 0.0}) * scale(2.0);
    expect_near(moved.apply_to_point({1.0, 1.0, 1.0}), {3.0, 2.0, 2.0});
    expect_near(moved.apply_to_vector({1.0, 1.0, 1.0}), {2.0, 2.0, 2.0});
}

TEST(Transform, TurnsAgainstTheClock) {
    expect_near(rotate({0.0, 0.0, 1.0}, 0.5 * pi).apply_to_point({1.0, 0.0, 0.0}), {0.0, 1.0, 0.0});
    expect_near(rotate({0.0, 1.0, 0.0}, 0.5 * pi).apply_to_point({0.0, 0.0, 1.0}), {1.0, 0.0, 0.0});
}

TEST(Transform, HasAnInverse) {
    const Transform inverse = placement.get_inverse();
    const Vec3 point{0.3, -7.0, 4.0};
    expect_near(inverse.apply_to_point(placement.apply_to_point(point)), point);
    expect_near(placement.apply_to_point(inverse.apply_to_point(point)), point);
}

TEST(Transform, KeepsNormalsUpright) {
    const Transform inverse = placement.get_inverse();
    const Vec3 tangent{1.0, 2.0, 0.0};
    const Vec3 bitangent{0.0, 1.0, -3.0};
    const Vec3 normal = inverse.apply_inverse_to_normal(cross(tangent, bitangent));
    EXPECT_NEAR(dot(normal, placement.apply_to_vector(tangent)), 0.0, 1e-12);
    EXPECT_NEAR(dot(normal, placement.apply_to_vector(bitangent)), 0.0, 1e-12);
}

TEST(Transform, BlendsAlongStraightLines) {
    const Transform other = rotate({0.0, 1.0, 0.0}, 0.7) * placement;
    const Vec3 point{1.0, 2.0, 3.0};
    expect_near(blend(placement, other, 0.3).apply_to_point(point),
                mix(placement.apply_to_point(point), other.apply_to_point(point), 0.3));
}

TEST(Transform, PutsABoxAroundTheImage) {
    const Box image = placement.apply_to_box({{-1.0, 0.0, 2.0}, {1.0, 3.0, 4.0}});
    for (const Vec3& point : {Vec3{-1.0, 0.0, 2.0}, Vec3{1.0, 3.0, 4.0}, Vec3{0.5, 1.0, 3.0}}) {
        const Vec3 moved = placement.apply_to_point(point);
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_GE(moved[axis], image.min[axis]);
            EXPECT_LE(moved[axis], image.max[axis]);
        }
    }
}

} // namespace
