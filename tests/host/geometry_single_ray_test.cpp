// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <gas/host/host.h>

// One ray and its hit as values.

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

} // namespace

TEST(GeometrySingleRay, IsABatchOfOneRay) {
    GeometrySingleRay ray({1.0, 2.0, 3.0}, {0.0, -2.0, 4.0}, 0.25, 100.0, 0.5f, 5);
    const GeometryRaytraceCtx& ctx = ray.get_ctx();
    EXPECT_EQ(&ctx.get_data(), &ray.get_data());
    EXPECT_EQ(ray.get_data().get_ray_count(), 1u);
    EXPECT_EQ(ctx.get_first_ray(), 0);
    EXPECT_EQ(ctx.get_last_ray(), 0);
    EXPECT_EQ(ctx.get_ray(0).line.get_origin(), (GMathVec3<double>{1.0, 2.0, 3.0}));
    EXPECT_EQ(ctx.get_ray(0).line.get_direction(), (GMathVec3<double>{0.0, -2.0, 4.0}));
    EXPECT_EQ(ctx.get_ray(0).time, 0.5f);
    EXPECT_EQ(ctx.get_ray(0).cache_slot, 5);
    EXPECT_EQ(ctx.get_tnear(0), 0.25);
    EXPECT_EQ(ctx.get_tfar(0), 100.0);
    EXPECT_EQ(ray.get_hit_distance(), 100.0);
    EXPECT_EQ(ray.get_item(), GeometryIntersectionPath::no_item);
    EXPECT_FALSE(ray.is_hit());
    EXPECT_TRUE(gas_host::has_intersection_map(ray.get_data()));
}

TEST(GeometrySingleRay, AHitIsReadBackAndForgotten) {
    GeometrySingleRay ray({0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    for (unsigned i = 0; i < 2; ++i) {
        EXPECT_TRUE(ray.get_ctx().record_nearest_hit(0, 4.0, 9));
        ray.get_ctx().set_tfar(0, 5.0);
        EXPECT_TRUE(ray.is_hit());
        EXPECT_EQ(ray.get_hit_distance(), 4.0);
        EXPECT_EQ(ray.get_item(), 9u);
        ray.get_data().use_intersection_map(false);
        ray.reset_hit();
        EXPECT_FALSE(ray.is_hit());
        EXPECT_EQ(ray.get_hit_distance(), 10.0);
        EXPECT_EQ(ray.get_ctx().get_tfar(0), 10.0);
        EXPECT_EQ(ray.get_item(), GeometryIntersectionPath::no_item);
    }
}

TEST(GeometrySingleRay, ANaNHitsNothing) {
    const double nan = std::nan("");
    for (unsigned place = 0; place < 8; ++place) {
        double values[8] = {0.0, 0.0, 0.0, 1.0, 1.0, 1.0, 0.0, 1.0};
        values[place] = nan;
        GeometrySingleRay ray({values[0], values[1], values[2]}, {values[3], values[4], values[5]},
                              values[6], values[7]);
        EXPECT_EQ(ray.get_ctx().get_tnear(0), infinity) << place;
        EXPECT_EQ(ray.get_ctx().get_tfar(0), -infinity) << place;
        EXPECT_EQ(ray.get_hit_distance(), -infinity) << place;
    }
}

TEST(GeometryIntersectionMap, CopiesHavePathsOfTheirOwn) {
    const double distances[] = {1.0, 2.0, 3.0};
    for (const unsigned count : {0u, 1u, 3u}) {
        GeometryIntersectionMap map;
        map.intersection_flags = 7;
        map.intersection_bias = 0.5f;
        map.init(count, distances);
        GeometryIntersectionMap assigned;
        assigned.init(2, distances);
        assigned = map;
        const GeometryIntersectionMap copy(map);
        map.init(count, distances + 3 - count);
        for (const GeometryIntersectionMap* other :
             {static_cast<const GeometryIntersectionMap*>(&assigned), &copy}) {
            EXPECT_EQ(other->get_count(), count);
            EXPECT_EQ(other->intersection_flags, 7u);
            EXPECT_EQ(other->intersection_bias, 0.5f);
            for (unsigned i = 0; i < count; ++i) {
                EXPECT_NE(&other->get_path(i), &map.get_path(i));
                EXPECT_EQ(other->get_path(i).get_hit_distance(), distances[i]);
            }
        }
    }
}

TEST(GeometryIntersectionMap, GoesFromOnePathToSeveralAndBack) {
    const double distances[] = {1.0, 2.0, 3.0};
    GeometryIntersectionMap map;
    for (const unsigned count : {1u, 3u, 1u, 0u, 2u, 3u}) {
        map.init(count, distances);
        ASSERT_EQ(map.get_count(), count);
        for (unsigned i = 0; i < count; ++i) {
            EXPECT_EQ(map.get_path(i).get_hit_distance(), distances[i]);
            EXPECT_EQ(map.get_path(i).get_item(), GeometryIntersectionPath::no_item);
            map.get_path(i).set_item(i);
        }
    }
}
