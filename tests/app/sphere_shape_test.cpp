// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/sphere_shape.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

const Vec3 white{1.0, 1.0, 1.0};

LocalRay make_ray(const Vec3& origin, const Vec3& direction, const Moment& moment = {}) {
    LocalRay ray;
    ray.origin = origin;
    ray.direction = direction;
    ray.shear = RayShear(direction);
    ray.moment = moment;
    return ray;
}

TEST(SphereShape, FindsEntryThenExit) {
    const SphereShape shape("spheres", {{{{0.0, 0.0, -5.0}, 1.0, white}}});
    ItemHit hit;
    const LocalRay ray = make_ray({0.0, 0.0, 0.0}, {0.0, 0.0, -2.0});
    ASSERT_TRUE(shape.get_item_at(0, {}).intersect(ray, 0.0, hit));
    EXPECT_DOUBLE_EQ(hit.distance, 2.0);
    ASSERT_TRUE(shape.get_item_at(0, {}).intersect(ray, 2.5, hit));
    EXPECT_DOUBLE_EQ(hit.distance, 3.0);
    EXPECT_FALSE(
        shape.get_item_at(0, {}).intersect(make_ray({1.01, 0.0, 0.0}, {0.0, 0.0, -1.0}), 0.0, hit));
}

TEST(SphereShape, IsExactFromFarAway) {
    const SphereShape shape("spheres", {{{{0.0, 0.0, -1e6}, 1e-3, white}}});
    ItemHit hit;
    ASSERT_TRUE(
        shape.get_item_at(0, {}).intersect(make_ray({0.0, 0.0, 0.0}, {0.0, 0.0, -1.0}), 0.0, hit));
    EXPECT_NEAR(hit.distance, 1e6 - 1e-3, 1e-9);
}

TEST(SphereShape, MovesInAStraightLine) {
    const SphereShape shape("spheres", {{{{0.0, 0.0, 0.0}, 1.0, white}},
                                        {{{4.0, 0.0, 0.0}, 3.0, white}},
                                        {{{4.0, 8.0, 0.0}, 3.0, white}}});
    EXPECT_EQ(shape.get_sample_count(), 3u);
    EXPECT_EQ(shape.get_item_at(0, {0, 0.5}).get_box(), (Box{{0.0, -2.0, -2.0}, {4.0, 2.0, 2.0}}));
    EXPECT_EQ(shape.get_item_at(0, {1, 1.0}).get_box(), shape.get_item_box(0, 2));
}

TEST(SphereShape, TurnsNormalsToTheRay) {
    const SphereShape shape("spheres", {{{{0.0, 0.0, 0.0}, 2.0, white}}});
    const Vec3 point{0.0, 2.0, 0.0};
    const SceneHit hit{0, 0, 0.0, 0.0};
    EXPECT_EQ(shape.get_surface(hit, {}, point, {0.0, -1.0, 0.0}).shading_normal.y, 1.0);
    EXPECT_EQ(shape.get_surface(hit, {}, point, {0.0, 1.0, 0.0}).geometric_normal.y, -1.0);
}

} // namespace
