// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>
#include <tests/seam/seam_scene.h>

// Padding and scale take the boxes, vectors and frustums of whichever host there is.

TEST(SeamScene, PadsTheBoxesOfAnotherHost) {
    const GMathBbox3<double> bounds = {{-1.0, 0.1, 2.0}, {4.0, 0.1, 3.0}};
    EXPECT_EQ(gas_get_reach(bounds), 4.0);
    const GMathBbox3<float> box = gas_pad_box(bounds, 0.0, 0.5);
    EXPECT_EQ(box.min.x, -0.5f);
    EXPECT_EQ(box.min.y, 0x1.999998p-5f);
    EXPECT_EQ(box.max.y, 0x1.99999ap-5f);
    EXPECT_EQ(box.max.z, 1.5f);
}

TEST(SeamScene, ScalesTheFrustumsOfAnotherHost) {
    EXPECT_EQ(gas_get_scene_scale(GMathBbox3<float>{{0.0f, 0.0f, 0.0f}, {1.0f, 8.0f, 2.0f}}), 4.0);
    EXPECT_EQ(gas_scale_vector(GMathVec3<double>{1.0, -2.0, 3.0}, 4.0).y, -8.0);
    GMathFrustum frustum;
    frustum.add(1.0, 0.0, -2.0, 3.0);
    GMathFrustum scaled;
    gas_scale_planes(frustum, 4.0, [&](const GMathVec3<double>& normal, double offset) {
        scaled.add(-normal.x, -normal.y, -normal.z, offset);
    });
    ASSERT_EQ(scaled.used, 1);
    EXPECT_EQ(scaled.coefficients[0][0], 1.0);
    EXPECT_EQ(scaled.coefficients[2][0], -2.0);
    EXPECT_EQ(scaled.coefficients[3][0], 12.0);
}
