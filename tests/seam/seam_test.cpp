// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/object/gas_object_empty.h>
#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>
#include <tests/seam/seam_scene.h>

// The library over a host with other layouts: it builds, traces, moves and releases as it does over
// the reference host.

using namespace seam;

TEST(Seam, ShaderSettingsReachTheMapOfTheBatch) {
    SeamRays rays = make_rays();
    rays.hits.assign(ray_count, 1);
    GeometryRaytraceData data;
    data.rays = &rays;
    CtxShader shader;
    shader.settings[0] = 5.0f;
    shader.settings[1] = 0.25f;
    GasObjectEmpty::get_gas().ray_hit_nearest(CtxEval(), shader, data);
    EXPECT_EQ(rays.map.settings[0], 5.0);
    EXPECT_EQ(rays.map.settings[1], 0.25);
    EXPECT_EQ(rays.map.paths[3].distance, 1000.0);
    EXPECT_EQ(rays.hits, std::vector<unsigned char>(ray_count, 0));
    EXPECT_EQ(data.map, &rays.map);
}

TEST(Seam, ObjectsAreResourcesOfTheirHost) {
    const ResourceData& resource = GasObjectEmpty::get_gas();
    EXPECT_EQ(resource.get_class_info().number, 1);
    EXPECT_FALSE(resource.is_serializable());
    EXPECT_EQ(GasObjectEmpty::get_gas().get_bbox().max.z, 0.0);
}

TEST(Seam, RefitMovesTheTree) {
    const Scene before;
    const Scene after(4.0f);
    SeamRays rays = make_rays();
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasTree tree;
        tree.create(before.tree_boxes, nullptr, nullptr, 1.0f);
        EXPECT_FALSE(tree.refit(Boxes()));
        EXPECT_TRUE(tree.refit(after.tree_boxes));
        attach(tree, after);
        expect_same_as_search(tree, after.boxes, shader, rays);
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(Seam, APlaneOfTheFrustumDropsWhatLiesBeyondIt) {
    const Scene scene;
    SeamRays rays = make_rays();
    // Rays that miss every box ahead of those that hit: boxes are then held against the frustum.
    for (unsigned ray = 0; ray < 4; ++ray)
        rays.set(ray, {{0.0f, 0.0f, 1.0f}, {50.0f, 50.0f, -20.0f}}, 0.0f, 0);
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasTree tree;
        tree.create(scene.tree_boxes, nullptr, nullptr, 1.0f);
        attach(tree, scene);
        rays.has_frustum = true;
        rays.frustum.add(0.0, 0.0, -1.0, 25.0); // all boxes are inside
        expect_same_as_search(tree, scene.boxes, shader, rays);

        rays.frustum.add(0.0, 0.0, 1.0, -15.0); // none is
        GeometryRaytraceData data;
        data.rays = &rays;
        gas_host::set_range(data, 0, static_cast<int>(ray_count) - 1);
        SceneObject(tree).ray_hit_nearest(CtxEval(), shader, data);
        EXPECT_EQ(rays.hits, std::vector<unsigned char>(ray_count, 0));
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(Seam, RaysInFacesHitWhateverTheSignOfTheirInfiniteInverses) {
    const Scene scene;
    constexpr unsigned count = 40;
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasTree tree;
        tree.create(scene.boxes, nullptr, nullptr, 1.0f);
        attach(tree, scene);
        for (const bool together : {true, false}) {
            SeamRays rays(count);
            for (unsigned ray = 0; ray < count; ++ray) {
                const GMathBbox3<float>& box = scene.boxes.items[ray];
                const float x = ray % 2 ? box.max.x : box.min.x;
                const float zero = ray % 4 < 2 ? 0.0f : -0.0f;
                rays.set(ray, {{zero, -0.0f, 1.0f}, {x, box.min.y, -20.0f}}, 0.0f, 0);
            }
            GeometryRaytraceData data;
            data.rays = &rays;
            data.map = &rays.map;
            const int length = together ? static_cast<int>(count) : 1;
            for (int ray = 0; ray < static_cast<int>(count); ray += length) {
                gas_host::set_range(data, ray, ray + length - 1);
                tree.ray_hit_nearest_static(CtxEval(), shader, data.ctx, false);
            }
            for (unsigned ray = 0; ray < count; ++ray) {
                const float own = enter(data, ray, scene.boxes.items[ray]);
                EXPECT_LE(rays.map.get_path(ray).distance, static_cast<double>(own)) << ray;
                EXPECT_EQ(rays.hits[ray], 1) << ray;
            }
        }
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(Seam, SpatialQueriesFindWhatASearchFinds) {
    const Scene scene;
    {
        GasTree tree;
        tree.create(scene.boxes, nullptr, nullptr, 1.0f);
        GasTreeCtx ctx;
        const GMathBbox3<float> query = {{-3.0f, -2.0f, -4.0f}, {1.0f, 5.0f, 2.0f}};
        CoreVector<unsigned> leaves;
        leaves.push(4711);
        tree.get_leaves_in_bbox(ctx, query, leaves);
        std::vector<unsigned> expected;
        for (unsigned item = 0; item < item_count; ++item) {
            const GMathBbox3<float>& box = scene.boxes.items[item];
            bool overlaps = true;
            for (unsigned axis = 0; axis < 3; ++axis)
                overlaps = overlaps && box.min[axis] <= query.max[axis] &&
                           query.min[axis] <= box.max[axis];
            if (overlaps)
                expected.push_back(item);
        }
        std::sort(leaves.first, leaves.end);
        EXPECT_EQ(std::vector<unsigned>(leaves.first, leaves.end), expected);
        EXPECT_GT(expected.size(), 3u);

        const GMathBbox3<float>& box = scene.boxes.items[17];
        const GMathVec3<float> center = {(box.min.x + box.max.x) * 0.5f,
                                         (box.min.y + box.max.y) * 0.5f,
                                         (box.min.z + box.max.z) * 0.5f};
        unsigned nearest[2];
        float distances[2];
        EXPECT_EQ(tree.get_nearest_leaves(ctx, center, 5.0f, 2, nearest, distances), 2u);
        EXPECT_EQ(nearest[0], 17u);
        EXPECT_EQ(distances[0], 0.0f);

        GasCompressedTree compressed;
        compressed.create(scene.boxes, nullptr, nullptr);
        const GasClosestItemCallback get_distance = [](void*, const unsigned& item,
                                                       const GMathVec3<double>&, const double&) {
            return item == 17 ? 1.0 : 1e6;
        };
        const GMathVec3<double> point = {static_cast<double>(center.x),
                                         static_cast<double>(center.y),
                                         static_cast<double>(center.z)};
        for (const bool is_compressed : {false, true}) {
            unsigned item = 0;
            double distance = 0.0;
            EXPECT_TRUE(is_compressed ? compressed.get_closest_item(ctx, point, 1e3, get_distance,
                                                                    nullptr, item, distance)
                                      : tree.get_closest_item(ctx, point, 1e3, get_distance,
                                                              nullptr, item, distance));
            EXPECT_EQ(item, 17u);
            EXPECT_EQ(distance, 1.0);
        }
    }
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(Seam, ABuildRunsOnTheHostsTasks) {
    CoreArray<GMathBbox3<float>> boxes = Scene().boxes;
    while (boxes.items.size() < 20000)
        boxes.items.push_back(boxes.items[boxes.items.size() - 7]);
    GasTree expected;
    expected.create(boxes, nullptr, nullptr, 1.0f);
    SysThreadTaskManager manager(nullptr);
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f, manager, 3);
    ASSERT_EQ(tree.get_node_count(), expected.get_node_count());
    EXPECT_EQ(std::memcmp(tree.get_nodes(), expected.get_nodes(),
                          tree.get_node_count() * sizeof(GasTree::Node)),
              0);
}

TEST(Seam, PrintingGoesToTheHostsLog) {
    std::vector<std::string>& messages = core_main_log_handler().messages;
    messages.clear();
    const GasTree empty;
    empty.print();
    EXPECT_EQ(messages, std::vector<std::string>{"---- empty\n"});
    GasTree tree;
    tree.create(Scene().boxes, nullptr, nullptr, 1.0f);
    tree.print();
    ASSERT_EQ(messages.size(), 12u);
    EXPECT_EQ(messages[6], "---- nodes 399\n");
}
