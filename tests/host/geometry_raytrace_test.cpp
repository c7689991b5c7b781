// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

#include <gas/host/host.h>

namespace {

// Four rays and their arrays, as a renderer would own them.
struct Rays {
    Rays() {
        GeometryRaytraceData::Arrays arrays;
        arrays.rays = rays.data();
        arrays.near_distances = near_distances.data();
        arrays.far_distances = far_distances.data();
        arrays.hit_flags = hit_flags.data();
        map.init(4, far_distances.data());
        data.set_rays(arrays, 4, &map);
    }

    std::vector<GeometryRay> rays = std::vector<GeometryRay>(4);
    std::vector<double> near_distances = {0.0, 0.5, 0.0, 0.0};
    std::vector<double> far_distances = {10.0, 20.0, 30.0, 40.0};
    std::vector<unsigned char> hit_flags = {0, 0, 0, 0};
    GeometryIntersectionMap map;
    GMathFrustum frustum;
    GeometryRaytraceData data;
};

} // namespace

TEST(GeometryRaytraceData, ADefaultBatchIsEmpty) {
    GeometryRaytraceData data;
    EXPECT_EQ(data.get_ray_count(), 0u);
    EXPECT_GT(data.get_first_ray(), data.get_last_ray());
    EXPECT_EQ(data.get_intersection_map(), nullptr);
    EXPECT_EQ(data.get_frustum(), nullptr);
    EXPECT_EQ(&data.get_ctx().get_data(), &data);
}

TEST(GeometryRaytraceData, SettingRaysMakesTheRangeAllOfThem) {
    Rays rays;
    EXPECT_EQ(rays.data.get_ray_count(), 4u);
    EXPECT_EQ(rays.data.get_first_ray(), 0);
    EXPECT_EQ(rays.data.get_last_ray(), 3);
    EXPECT_EQ(rays.data.get_intersection_map(), &rays.map);
}

TEST(GeometryRaytraceData, ACopyNarrowsAlone) {
    Rays rays;
    GeometryRaytraceData copy(rays.data);
    copy.set_range(1, 2);
    EXPECT_EQ(copy.get_ctx().get_first_ray(), 1);
    EXPECT_EQ(copy.get_ctx().get_last_ray(), 2);
    EXPECT_EQ(rays.data.get_ctx().get_first_ray(), 0);
    EXPECT_EQ(rays.data.get_ctx().get_last_ray(), 3);

    rays.data.set_range(3, 3);
    EXPECT_EQ(copy.get_first_ray(), 1);
    EXPECT_EQ(copy.get_ray_count(), 4u);
}

TEST(GeometryRaytraceData, TheContextOfACopyRefersToTheCopy) {
    Rays rays;
    GeometryRaytraceData copy(rays.data);
    EXPECT_EQ(&copy.get_ctx().get_data(), &copy);

    GeometryRaytraceData assigned;
    GeometryRaytraceCtx& ctx = assigned.get_ctx();
    assigned = rays.data;
    EXPECT_EQ(&assigned.get_ctx(), &ctx);
    EXPECT_EQ(&ctx.get_data(), &assigned);
    EXPECT_EQ(&rays.data.get_ctx().get_data(), &rays.data);
}

TEST(GeometryRaytraceData, HitsThroughACopyReachTheCaller) {
    Rays rays;
    GeometryRaytraceData copy;
    copy = rays.data;
    copy.set_range(2, 2);
    copy.get_ctx().set_hit(2);
    copy.get_ctx().set_tfar(2, 7.0);
    EXPECT_TRUE(copy.get_ctx().record_nearest_hit(3, 5.0, 42));

    EXPECT_EQ(rays.hit_flags, (std::vector<unsigned char>{0, 0, 1, 1}));
    EXPECT_EQ(rays.data.get_ctx().get_tfar(2), 7.0);
    EXPECT_EQ(rays.map.get_path(3).get_hit_distance(), 5.0);
    EXPECT_EQ(rays.map.get_path(3).get_item(), 42u);
}

TEST(GeometryRaytraceData, ACopySharesMapAndFrustum) {
    Rays rays;
    rays.data.set_frustum(&rays.frustum);
    const GeometryRaytraceData copy(rays.data);
    EXPECT_EQ(copy.get_intersection_map(), &rays.map);
    EXPECT_EQ(copy.get_frustum(), &rays.frustum);
}

TEST(GeometryRaytraceData, TheQuerysPointerGoesWithCopiesAndContexts) {
    Rays rays;
    EXPECT_EQ(rays.data.get_query_data(), nullptr);
    int hits = 0;
    rays.data.set_query_data(&hits);
    EXPECT_EQ(rays.data.get_ctx().get_query_data(), &hits);
    GeometryRaytraceData copy(rays.data);
    GeometryRaytraceData assigned;
    assigned = rays.data;
    EXPECT_EQ(copy.get_ctx().get_query_data(), &hits);
    EXPECT_EQ(assigned.get_ctx().get_query_data(), &hits);
    copy.set_query_data(nullptr);
    EXPECT_EQ(rays.data.get_query_data(), &hits);
}

TEST(GeometryIntersectionMap, AMovedOneTakesThePathsAlong) {
    static_assert(std::is_nothrow_move_constructible_v<GeometryIntersectionMap>);
    static_assert(std::is_nothrow_move_assignable_v<GeometryIntersectionMap>);
    const double distances[] = {1.0, 2.0, 3.0};
    for (const unsigned count : {0u, 1u, 3u}) {
        GeometryIntersectionMap maps[3];
        GeometryIntersectionMap& source = maps[0];
        source.init(count, distances);
        source.intersection_flags = 5;
        const GeometryIntersectionPath* const paths = count > 1 ? &source.get_path(0) : nullptr;
        maps[1] = GeometryIntersectionMap(std::move(maps[0]));
        EXPECT_EQ(source.get_count(), 0u);
        GeometryIntersectionMap& assigned = maps[2];
        assigned.init(2, distances);
        assigned = std::move(maps[1]);
        EXPECT_EQ(maps[1].get_count(), 0u);
        ASSERT_EQ(assigned.get_count(), count);
        EXPECT_EQ(assigned.intersection_flags, 5u);
        for (unsigned ray = 0; ray < count; ++ray)
            EXPECT_EQ(assigned.get_path(ray).get_hit_distance(), distances[ray]);
        if (paths) {
            EXPECT_EQ(&assigned.get_path(0), paths) << "nothing is copied";
        }
        source.init(1, distances);
        EXPECT_EQ(source.get_path(0).get_hit_distance(), 1.0);
        source.init(3, distances);
        EXPECT_EQ(source.get_path(2).get_hit_distance(), 3.0);
    }
}

TEST(GeometryRaytraceData, AssigningToItselfChangesNothing) {
    Rays rays;
    rays.data.set_range(1, 3);
    GeometryRaytraceData& same = rays.data;
    rays.data = same;
    EXPECT_EQ(rays.data.get_first_ray(), 1);
    EXPECT_EQ(rays.data.get_last_ray(), 3);
    EXPECT_EQ(&rays.data.get_ctx().get_data(), &rays.data);
}

TEST(GeometryRaytraceData, TheMapComesBackAfterItWasDropped) {
    Rays rays;
    rays.data.use_intersection_map(false);
    EXPECT_EQ(rays.data.get_intersection_map(), nullptr);

    GeometryRaytraceData copy(rays.data);
    EXPECT_EQ(copy.get_intersection_map(), nullptr);
    copy.use_intersection_map(true);
    EXPECT_EQ(copy.get_intersection_map(), &rays.map);
    EXPECT_EQ(rays.data.get_intersection_map(), nullptr);

    rays.data.use_intersection_map(true);
    EXPECT_EQ(rays.data.get_intersection_map(), &rays.map);
}

TEST(GeometryRaytraceData, WithoutAMapThereIsNoneToTake) {
    Rays rays;
    GeometryRaytraceData data;
    data.set_rays(rays.data.get_arrays(), 4, nullptr);
    data.use_intersection_map(true);
    EXPECT_EQ(data.get_intersection_map(), nullptr);
}

TEST(GeometryRaytraceCtx, ReadsTheArraysOfItsBatch) {
    Rays rays;
    rays.rays[1].time = 0.25f;
    rays.rays[1].cache_slot = 5;
    const GeometryRaytraceCtx& ctx = rays.data.get_ctx();
    EXPECT_EQ(ctx.get_tnear(1), 0.5);
    EXPECT_EQ(ctx.get_tfar(1), 20.0);
    EXPECT_EQ(ctx.get_ray(1).time, 0.25f);
    EXPECT_EQ(ctx.get_ray(1).cache_slot, 5);
    EXPECT_FALSE(ctx.is_hit(1));
    ctx.set_hit(1);
    EXPECT_TRUE(ctx.is_hit(1));
    EXPECT_EQ(&ctx.get_intersection_path(1), &rays.map.get_path(1));
}

TEST(GeometryRaytraceCtx, OnlyNearerHitsAreRecorded) {
    Rays rays;
    const GeometryRaytraceCtx& ctx = rays.data.get_ctx();
    EXPECT_FALSE(ctx.record_nearest_hit(0, 10.0, 1)); // the far distance itself is not nearer
    EXPECT_FALSE(ctx.record_nearest_hit(0, 11.0, 2));
    EXPECT_FALSE(ctx.is_hit(0));
    EXPECT_TRUE(ctx.record_nearest_hit(0, 9.0, 3));
    EXPECT_FALSE(ctx.record_nearest_hit(0, 9.0, 4));
    EXPECT_TRUE(ctx.record_nearest_hit(0, 8.0, 5));
    EXPECT_TRUE(ctx.is_hit(0));
    EXPECT_EQ(ctx.get_intersection_path(0).get_hit_distance(), 8.0);
    EXPECT_EQ(ctx.get_intersection_path(0).get_item(), 5u);
    EXPECT_EQ(ctx.get_tfar(0), 10.0);
}

TEST(GeometryIntersectionMap, InitResetsEveryPath) {
    GeometryIntersectionMap map;
    const double distances[3] = {1.0, 2.0, 3.0};
    map.init(3, distances);
    map.get_path(1).set_hit_distance(0.5);
    map.get_path(1).set_item(7);
    const GeometryIntersectionPath* paths = &map.get_path(0);

    map.init(2, distances + 1);
    EXPECT_EQ(map.get_count(), 2u);
    EXPECT_EQ(&map.get_path(0), paths);
    EXPECT_EQ(map.get_path(0).get_hit_distance(), 2.0);
    EXPECT_EQ(map.get_path(1).get_hit_distance(), 3.0);
    EXPECT_EQ(map.get_path(1).get_item(), GeometryIntersectionPath::no_item);
}

TEST(HostAccess, NearestBatchesTakeTheirMapBack) {
    Rays rays;
    gas_host::drop_intersection_map(rays.data);
    EXPECT_EQ(rays.data.get_intersection_map(), nullptr);
    GeometryIntersectionMap& map = gas_host::take_intersection_map(rays.data);
    EXPECT_EQ(&map, &rays.map);
    EXPECT_EQ(&gas_host::get_intersection_map(rays.data), &rays.map);

    gas_host::set_intersection_settings(map, 6, 0.5f);
    EXPECT_EQ(map.intersection_flags, 6u);
    EXPECT_EQ(map.intersection_bias, 0.5f);
}

TEST(HostAccess, ReadsAndNarrowsABatch) {
    Rays rays;
    rays.rays[2].line.set_direction({0.0, -2.0, 1.0});
    rays.rays[2].time = 0.75f;
    rays.rays[2].cache_slot = 3;
    EXPECT_EQ(&gas_host::get_data(gas_host::get_ctx(rays.data)), &rays.data);
    gas_host::set_range(rays.data, 1, 2);
    EXPECT_EQ(gas_host::get_first_ray(rays.data), 1);
    EXPECT_EQ(gas_host::get_last_ray(rays.data), 2);
    EXPECT_EQ(gas_host::get_ray_count(rays.data), 4u);
    EXPECT_EQ(gas_host::get_hit_flags(rays.data), rays.hit_flags.data());
    EXPECT_EQ(gas_host::get_far_distances(rays.data), rays.far_distances.data());
    EXPECT_EQ(gas_host::get_time(rays.data, 2), 0.75f);
    EXPECT_EQ(gas_host::get_cache_slot(rays.data, 2), 3);
    EXPECT_EQ(gas_host::get_sign(gas_host::get_line(rays.data, 2), 1), 1u);
    EXPECT_EQ(gas_host::get_inverse_direction(gas_host::get_line(rays.data, 2)).y, -0.5);
}
