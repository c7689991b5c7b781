// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <utility>

#include <gas/host/host.h>

// What records of any host do when they are read through gas_host. They are made by their default
// constructors alone.

TEST(HostAccess, AnEmptyArrayHasNoItems) {
    const CoreArray<GMathBbox3<float>> array;
    const CoreVector<GMathBbox3<float>> vector;
    EXPECT_EQ(gas_host::get_count(array), 0u);
    EXPECT_EQ(gas_host::get_count(vector), 0u);
}

TEST(HostAccess, AVectorKeepsWhatIsAppendedInOrder) {
    constexpr unsigned count = 1000;
    CoreVector<unsigned> vector;
    for (unsigned round = 0; round < 2; ++round) {
        gas_host::clear(vector);
        EXPECT_EQ(gas_host::get_count(vector), 0u);
        for (unsigned i = 0; i < count; ++i)
            gas_host::append(vector, 7 * i + round);
        ASSERT_EQ(gas_host::get_count(vector), count);
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(gas_host::get_items(vector)[i], 7 * i + round);
    }
}

TEST(HostAccess, TextIsCopiedAndAddedTo) {
    const CoreString text = "cells";
    CoreString label = text + " (" + 17u + ")";
    const CoreString copy = label;
    label = CoreString();
    label = copy;
}

TEST(HostAccess, ThereIsOneLog) { EXPECT_EQ(&core_main_log_handler(), &core_main_log_handler()); }

TEST(HostAccess, AShadingContextStartsWithoutFramesAndKeepsThem) {
    CtxShader shader;
    void*& tree_ctx = gas_host::get_tree_ctx_slot(shader);
    void*& ray_frame = gas_host::get_ray_frame_slot(shader);
    EXPECT_EQ(tree_ctx, nullptr);
    EXPECT_EQ(ray_frame, nullptr);
    int frames[2];
    tree_ctx = &frames[0];
    ray_frame = &frames[1];
    EXPECT_EQ(gas_host::get_tree_ctx_slot(shader), &frames[0]);
    EXPECT_EQ(gas_host::get_ray_frame_slot(shader), &frames[1]);
    EXPECT_EQ(&gas_host::get_tree_ctx_slot(shader), &tree_ctx);
    EXPECT_EQ(&gas_host::get_ray_frame_slot(shader), &ray_frame);
    tree_ctx = ray_frame = nullptr;
}

TEST(HostAccess, TheContextOfACopiedBatchRefersToTheCopy) {
    GeometryRaytraceData batch;
    EXPECT_EQ(&gas_host::get_data(gas_host::get_ctx(batch)), &batch);
    GeometryRaytraceData copy;
    copy = std::as_const(batch);
    EXPECT_EQ(&gas_host::get_data(gas_host::get_ctx(copy)), &copy);
    EXPECT_EQ(&gas_host::get_data(gas_host::get_ctx(batch)), &batch);
}

TEST(HostAccess, ACopiedBatchNarrowsAlone) {
    GeometryRaytraceData batch;
    gas_host::set_range(batch, 2, 9);
    GeometryRaytraceData copy;
    copy = std::as_const(batch);
    EXPECT_EQ(gas_host::get_first_ray(copy), 2);
    EXPECT_EQ(gas_host::get_last_ray(copy), 9);
    gas_host::set_range(copy, 5, 5);
    EXPECT_EQ(gas_host::get_first_ray(copy), 5);
    EXPECT_EQ(gas_host::get_last_ray(copy), 5);
    EXPECT_EQ(gas_host::get_first_ray(batch), 2);
    EXPECT_EQ(gas_host::get_last_ray(batch), 9);
}

TEST(HostAccess, AnIntersectionMapStartsEachRayAtItsFarDistance) {
    const double distances[] = {3.0, 1e300, 0.0, -2.5};
    GeometryIntersectionMap map;
    for (const unsigned count : {4u, 1u, 3u}) {
        map.init(count, distances);
        const GeometryIntersectionPath* paths[4];
        for (unsigned ray = 0; ray < count; ++ray) {
            paths[ray] = &map.get_path(ray);
            EXPECT_EQ(gas_host::get_hit_distance(*paths[ray]), distances[ray]) << ray;
        }
        for (unsigned ray = 0; ray < count; ++ray)
            EXPECT_EQ(&map.get_path(ray), paths[ray]) << ray; // they stay
    }
}
