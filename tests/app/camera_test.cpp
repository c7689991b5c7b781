// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/camera.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

void expect_near(const Vec3& a, const Vec3& b) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_NEAR(a[axis], b[axis], 1e-12);
}

TEST(Camera, LooksAtItsTargetThroughTheMiddle) {
    const Vec3 target{1.0, 2.0, 3.0};
    for (const double azimuth : {-170.0, 0.0, 33.0, 90.0})
        for (const double elevation : {-90.0, -20.0, 0.0, 45.0, 90.0}) {
            const Camera camera({azimuth, elevation, 1.0}, target, 7.0, 0.5, 640, 400);
            expect_near(camera.get_position() + camera.get_direction(320.0, 200.0) * 7.0, target);
        }
}

TEST(Camera, PutsAnglesWhereTheyAreMeant) {
    expect_near(Camera({0.0, 0.0, 1.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10).get_position(),
                {0.0, 0.0, 2.0});
    expect_near(Camera({90.0, 0.0, 1.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10).get_position(),
                {2.0, 0.0, 0.0});
    expect_near(Camera({0.0, 90.0, 1.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10).get_position(),
                {0.0, 2.0, 0.0});
}

TEST(Camera, HasRightAndUpWhereTheyBelong) {
    const Camera camera({0.0, 0.0, 1.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10);
    EXPECT_GT(camera.get_direction(9.0, 5.0).x, 0.0);
    EXPECT_GT(camera.get_direction(5.0, 1.0).y, 0.0);
    EXPECT_NEAR(length(camera.get_direction(9.0, 1.0)), 1.0, 1e-15);
}

TEST(Camera, FramesEveryPointTightly) {
    std::vector<Vec3> points;
    for (unsigned corner = 0; corner < 8; ++corner)
        points.push_back(get_corner({{-1.0, 5.0, 2.0}, {0.5, 9.0, 2.25}}, corner));
    for (const double azimuth : {0.0, 40.0, 200.0})
        for (const unsigned width : {100u, 400u, 1600u}) {
            const double field_of_view = 0.6;
            const Camera camera =
                Camera::frame({azimuth, 25.0, 1.0}, points, field_of_view, width, 400);
            const Vec3 forward = camera.get_direction(0.5 * width, 200.0);
            double extent = 0.0;
            for (const Vec3& point : points) {
                const Vec3 offset = point - camera.get_position();
                const double depth = dot(offset, forward);
                ASSERT_GT(depth, 0.0);
                const Vec3 right = normalized(cross(forward, {0.0, 1.0, 0.0}));
                const Vec3 up = cross(right, forward);
                const double slope = std::tan(0.5 * field_of_view);
                extent = std::max({extent, std::abs(dot(offset, up)) / (depth * slope),
                                   std::abs(dot(offset, right)) / (depth * slope * width / 400)});
            }
            EXPECT_LT(extent, 1.0);
            EXPECT_GT(extent, 0.7);
        }
}

TEST(Camera, ZoomsIn) {
    const Camera plain({0.0, 0.0, 1.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10);
    const Camera close({0.0, 0.0, 4.0}, {0.0, 0.0, 0.0}, 2.0, 0.5, 10, 10);
    EXPECT_DOUBLE_EQ(close.get_pixel_size() * 4.0, plain.get_pixel_size());
}

TEST(Camera, SeesTheSameInCoarserPixels) {
    const Camera camera({20.0, 10.0, 1.5}, {1.0, 2.0, 3.0}, 7.0, 0.5, 643, 401);
    const Camera coarse = camera.coarsen(8);
    expect_near(coarse.get_position(), camera.get_position());
    for (const double x : {0.0, 3.25, 80.0})
        expect_near(coarse.get_direction(x, 11.5), camera.get_direction(8.0 * x, 92.0));
}

TEST(Camera, MovesWithItsFieldOfView) {
    const Camera camera({20.0, 10.0, 1.5}, {1.0, 2.0, 3.0}, 7.0, 0.5, 643, 401);
    const Camera moved = camera.move({-5.0, 3.0, 1.0}, {0.0, 1.0, 0.0}, 2.0, 64, 40);
    const Camera made({-5.0, 3.0, 1.0}, {0.0, 1.0, 0.0}, 2.0, 0.5, 64, 40);
    expect_near(moved.get_position(), made.get_position());
    expect_near(moved.get_direction(3.0, 7.0), made.get_direction(3.0, 7.0));
    EXPECT_EQ(moved.get_pixel_size(), made.get_pixel_size());
}

} // namespace
