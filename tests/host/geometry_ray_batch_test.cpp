// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <gas/host/host.h>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

void expect_hits_nothing(GeometryRayBatch& batch, unsigned ray) {
    EXPECT_EQ(batch.get_ctx().get_tnear(ray), infinity) << ray;
    EXPECT_EQ(batch.get_ctx().get_tfar(ray), -infinity) << ray;
    EXPECT_EQ(batch.get_hit_distance(ray), -infinity) << ray;
    EXPECT_FALSE(batch.is_hit(ray)) << ray;
}

} // namespace

TEST(GeometryRayBatch, ThreeLinesFillIt) {
    GeometryRayBatch batch(1);
    batch.set_ray(0, {1.0, 2.0, 3.0}, {0.0, -2.0, 4.0}, 0.25, 100.0, 0.5f, 5);
    const GeometryRaytraceCtx& ctx = batch.get_ctx();

    EXPECT_EQ(batch.get_ray_count(), 1u);
    EXPECT_EQ(ctx.get_first_ray(), 0);
    EXPECT_EQ(ctx.get_last_ray(), 0);
    EXPECT_EQ(ctx.get_ray(0).line.get_origin(), (GMathVec3<double>{1.0, 2.0, 3.0}));
    EXPECT_EQ(ctx.get_ray(0).line.get_inverse_direction(),
              (GMathVec3<double>{infinity, -0.5, 0.25}));
    EXPECT_EQ(ctx.get_ray(0).time, 0.5f);
    EXPECT_EQ(ctx.get_ray(0).cache_slot, 5);
    EXPECT_EQ(ctx.get_tnear(0), 0.25);
    EXPECT_EQ(ctx.get_tfar(0), 100.0);
    EXPECT_EQ(batch.get_hit_distance(0), 100.0);
    EXPECT_EQ(batch.get_item(0), GeometryIntersectionPath::no_item);
    EXPECT_FALSE(batch.is_hit(0));
}

TEST(GeometryRayBatch, RaysThatWereNotSetHitNothing) {
    GeometryRayBatch batch(3);
    for (unsigned ray = 0; ray < 3; ++ray)
        expect_hits_nothing(batch, ray);
}

TEST(GeometryRayBatch, AnEmptyBatchHasAnEmptyRange) {
    GeometryRayBatch batch;
    EXPECT_EQ(batch.get_ray_count(), 0u);
    EXPECT_GT(batch.get_data().get_first_ray(), batch.get_data().get_last_ray());
    batch.reset_hits();
}

TEST(GeometryRayBatch, RaysWithANanHitNothing) {
    const double nan = std::nan("");
    GeometryRayBatch batch(8);
    batch.set_ray(0, {nan, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 1.0);
    batch.set_ray(1, {0.0, nan, 0.0}, {0.0, 0.0, 1.0}, 0.0, 1.0);
    batch.set_ray(2, {0.0, 0.0, nan}, {0.0, 0.0, 1.0}, 0.0, 1.0);
    batch.set_ray(3, {0.0, 0.0, 0.0}, {nan, 0.0, 1.0}, 0.0, 1.0);
    batch.set_ray(4, {0.0, 0.0, 0.0}, {0.0, nan, 1.0}, 0.0, 1.0);
    batch.set_ray(5, {0.0, 0.0, 0.0}, {0.0, 0.0, nan}, 0.0, 1.0);
    batch.set_ray(6, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, nan, 1.0);
    batch.set_ray(7, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, nan);
    for (unsigned ray = 0; ray < 8; ++ray)
        expect_hits_nothing(batch, ray);

    batch.reset_hits();
    for (unsigned ray = 0; ray < 8; ++ray)
        expect_hits_nothing(batch, ray);
}

TEST(GeometryRayBatch, HitsAreReadBack) {
    GeometryRayBatch batch(2);
    batch.set_ray(0, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    batch.set_ray(1, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    EXPECT_TRUE(batch.get_ctx().record_nearest_hit(1, 4.0, 9));
    EXPECT_FALSE(batch.is_hit(0));
    EXPECT_TRUE(batch.is_hit(1));
    EXPECT_EQ(batch.get_hit_distance(1), 4.0);
    EXPECT_EQ(batch.get_item(1), 9u);
}

TEST(GeometryRayBatch, ResettingHitsGivesEveryRayItsStartBack) {
    GeometryRayBatch batch(2);
    batch.set_ray(0, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    batch.set_ray(1, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 20.0);
    const GeometryRaytraceCtx& ctx = batch.get_ctx();
    ctx.set_tfar(0, 3.0);
    ctx.set_hit(0);
    ctx.record_nearest_hit(1, 4.0, 9);
    batch.get_data().use_intersection_map(false);

    batch.reset_hits();
    EXPECT_FALSE(batch.is_hit(0));
    EXPECT_FALSE(batch.is_hit(1));
    EXPECT_EQ(ctx.get_tfar(0), 10.0);
    EXPECT_EQ(batch.get_hit_distance(0), 10.0);
    EXPECT_EQ(batch.get_hit_distance(1), 20.0);
    EXPECT_EQ(batch.get_item(1), GeometryIntersectionPath::no_item);
    EXPECT_NE(batch.get_data().get_intersection_map(), nullptr);
}

TEST(GeometryRayBatch, SettingARayResetsItsHitAlone) {
    GeometryRayBatch batch(2);
    for (unsigned ray = 0; ray < 2; ++ray) {
        batch.set_ray(ray, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
        batch.get_ctx().record_nearest_hit(ray, 4.0, ray);
    }
    batch.set_ray(0, {0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, 0.0, 30.0);
    EXPECT_FALSE(batch.is_hit(0));
    EXPECT_EQ(batch.get_hit_distance(0), 30.0);
    EXPECT_EQ(batch.get_item(0), GeometryIntersectionPath::no_item);
    EXPECT_TRUE(batch.is_hit(1));
    EXPECT_EQ(batch.get_item(1), 1u);
}

TEST(GeometryRayBatch, ResizingStartsAfresh) {
    GeometryRayBatch batch(2);
    batch.set_ray(0, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    batch.get_ctx().record_nearest_hit(0, 4.0, 0);
    batch.get_data().set_range(1, 1);

    for (const unsigned count : {5u, 1u, 5u}) {
        batch.resize(count);
        EXPECT_EQ(batch.get_ray_count(), count);
        EXPECT_EQ(batch.get_data().get_ray_count(), count);
        EXPECT_EQ(batch.get_data().get_first_ray(), 0);
        EXPECT_EQ(batch.get_data().get_last_ray(), static_cast<int>(count) - 1);
        for (unsigned ray = 0; ray < count; ++ray)
            expect_hits_nothing(batch, ray);
    }
}

TEST(GeometryRayBatch, ResizingWithinTheLargestSizeKeepsTheArrays) {
    GeometryRayBatch batch(16);
    const GeometryRay* rays = batch.get_data().get_arrays().rays;
    batch.resize(3);
    batch.resize(16);
    EXPECT_EQ(batch.get_data().get_arrays().rays, rays);
}

TEST(GeometryRayBatch, SettingARayBringsTheIntersectionMapBack) {
    GeometryRayBatch batch(1);
    batch.get_data().use_intersection_map(false); // as an all-hits query leaves it
    EXPECT_FALSE(batch.get_ctx().record_nearest_hit(0, 1.0, 7));
    EXPECT_FALSE(batch.is_hit(0));

    batch.set_ray(0, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    EXPECT_TRUE(batch.get_ctx().record_nearest_hit(0, 1.0, 7));
    EXPECT_EQ(batch.get_item(0), 7u);
}

TEST(GeometryRayBatch, TheFrustumIsAnOption) {
    GeometryRayBatch batch(1);
    EXPECT_EQ(batch.get_data().get_frustum(), nullptr);

    GMathFrustum frustum;
    frustum.add_plane({1.0, 0.0, 0.0}, 2.0);
    batch.set_frustum(frustum);
    frustum.clear();
    ASSERT_NE(batch.get_data().get_frustum(), nullptr);
    EXPECT_EQ(batch.get_data().get_frustum()->get_plane_count(), 1u);
    EXPECT_EQ(batch.get_data().get_frustum()->get_plane(0).offset, 2.0);

    batch.clear_frustum();
    EXPECT_EQ(batch.get_data().get_frustum(), nullptr);

    batch.set_frustum(frustum);
    batch.resize(2); // the new rays may lie elsewhere
    EXPECT_EQ(batch.get_data().get_frustum(), nullptr);
}

TEST(GeometryRayBatch, TheQuerysPointerStaysUntilTheBatchIsResized) {
    GeometryRayBatch batch(1);
    int hits = 0;
    batch.get_data().set_query_data(&hits);
    batch.set_ray(0, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    batch.reset_hits();
    EXPECT_EQ(batch.get_ctx().get_query_data(), &hits);
    batch.resize(2);
    EXPECT_EQ(batch.get_ctx().get_query_data(), nullptr);
}

TEST(GMathFrustum, TakesSixPlanesAndNoMore) {
    GMathFrustum frustum;
    EXPECT_EQ(frustum.get_plane_count(), 0u);
    for (unsigned i = 0; i < 7; ++i)
        frustum.add_plane({0.0, 0.0, 1.0}, static_cast<double>(i));
    EXPECT_EQ(frustum.get_plane_count(), 6u);
    EXPECT_EQ(frustum.get_plane(5).offset, 5.0);
}
