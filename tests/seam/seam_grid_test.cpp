// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <tests/seam/seam_scene.h>

// A grid over the second host: boxes on request, tasks, locks, bars and motion.

using namespace seam;

namespace {

constexpr float speed = 4.0f;

/// Answers box requests for the scene's boxes, which move along x.
struct MovingBoxes {
    static GMathBbox3<float> get_box(const MovingBoxes& self, unsigned item, double time) {
        GMathBbox3<float> box = self.scene.tree_boxes.items[item];
        const float way = speed * static_cast<float>(time);
        box.min.x += way;
        box.max.x += way;
        return box;
    }
    static void give(void* user, const unsigned& count, const unsigned* items,
                     GMathBbox3<float>* bboxes) {
        give_at(user, 0.0, count, items, bboxes);
    }
    static void give_at(void* user, const double& time, const unsigned& count,
                        const unsigned* items, GMathBbox3<float>* bboxes) {
        MovingBoxes& self = *static_cast<MovingBoxes*>(user);
        self.asked_count += count;
        for (unsigned i = 0; i < count; ++i)
            bboxes[i] = get_box(self, items[i], time);
    }
    static void give_union_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>& bbox) {
        const MovingBoxes& self = *static_cast<const MovingBoxes*>(user);
        bbox = get_box(self, items[0], time);
        for (unsigned i = 1; i < count; ++i) {
            const GMathBbox3<float> box = get_box(self, items[i], time);
            bbox = {{std::min(bbox.min.x, box.min.x), std::min(bbox.min.y, box.min.y),
                     std::min(bbox.min.z, box.min.z)},
                    {std::max(bbox.max.x, box.max.x), std::max(bbox.max.y, box.max.y),
                     std::max(bbox.max.z, box.max.z)}};
        }
    }

    void attach(GasGridTree& grid) {
        grid.set_leaf_bbox_callbacks(give, give_at, nullptr, give_union_at, this);
    }

    Scene scene;
    unsigned asked_count = 0;
};

using Query = void (GasGridTree::*)(const CtxEval&, CtxShader&, GeometryRaytraceCtx&) const;

void expect_both(const GasGridTree& grid, Query any, Query nearest, const Boxes& boxes,
                 CtxShader& shader, SeamRays& rays) {
    for (const Query query : {any, nearest}) {
        expect_same_as_search(
            [&](GeometryRaytraceCtx& ctx) { (grid.*query)(CtxEval(), shader, ctx); },
            query == nearest, boxes, rays);
    }
}

void expect_static(const GasGridTree& grid, const Boxes& boxes, CtxShader& shader, SeamRays& rays) {
    expect_both(grid, &GasGridTree::ray_hit_static, &GasGridTree::ray_hit_nearest_static, boxes,
                shader, rays);
}

void expect_motion(const GasGridTree& grid, const Boxes& boxes, CtxShader& shader, SeamRays& rays) {
    expect_both(grid, &GasGridTree::ray_hit_motion, &GasGridTree::ray_hit_nearest_motion, boxes,
                shader, rays);
}

} // namespace

TEST(SeamGrid, BuiltFromTheBoxCallbackItFindsWhatASearchFinds) {
    MovingBoxes moving;
    SeamRays rays = make_rays();
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasGridTree grid;
        moving.attach(grid);
        grid.set_leaf_raytrace_callbacks(hit_any, hit_nearest, &moving.scene.boxes);
        for (const unsigned target : {1u, 27u, 1000u}) {
            moving.asked_count = 0;
            grid.create(item_count, target, nullptr, nullptr);
            EXPECT_EQ(moving.asked_count, item_count);
            expect_static(grid, moving.scene.boxes, shader, rays);
            EXPECT_LE(moving.asked_count, 2 * item_count);
            const GasGridTree copy(grid);
            expect_static(copy, moving.scene.boxes, shader, rays);
        }
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(SeamGrid, MotionRaysSeeTheBoxesOfTheirTime) {
    MovingBoxes moving;
    SeamRays rays = make_rays();
    CtxMotionBlur motion_blur = {3};
    CtxShader shader;
    shader.motion_blur = &motion_blur;
    GasObject::create_ctx(shader);
    for (const float time : {0.0f, 0.375f, 1.0f}) {
        rays.times.assign(ray_count, time);
        Scene between(speed * time);
        GasGridTree grid;
        moving.attach(grid);
        grid.set_leaf_raytrace_callbacks(hit_any, hit_nearest, &between.boxes);
        grid.create(moving.scene.tree_boxes, 27, nullptr, nullptr);
        grid.update_motion_blur(motion_blur);
        EXPECT_EQ(grid.get_motion_blur_sample_count(), 3u);
        expect_motion(grid, between.boxes, shader, rays);
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}

// Enough boxes for requests in pieces.
TEST(SeamGrid, LargeCellsAskThroughTheHostsTasks) {
    constexpr unsigned count = 1000;
    MovingBoxes moving;
    moving.scene.tree_boxes = make_boxes(count, 0.0f);
    CtxMotionBlur motion_blur = {2};
    CtxShader shader;
    shader.motion_blur = &motion_blur;
    {
        GasGridTree grid;
        moving.attach(grid);
        grid.create(count, 1, nullptr, nullptr);
        ASSERT_EQ(grid.get_cell_count(), 1u);
        grid.update_motion_blur(motion_blur);
        SeamRays no_rays(0);
        GeometryRaytraceData data;
        data.rays = &no_rays;
        gas_host::set_range(data, 0, -1);
        grid.ray_hit_motion(CtxEval(), shader, data.ctx);
        EXPECT_EQ(moving.asked_count, count * 4) << "for the grid, the cell, and two samples";
        const GasGridSubTree* const tree = grid.find_sub_tree(0);
        ASSERT_TRUE(tree);
        EXPECT_EQ(tree->get_leaf_count(), count);
        EXPECT_EQ(std::memcmp(&tree->get_bbox(), &grid.get_top_tree().get_nodes()->bbox_min, 12),
                  0);
        EXPECT_FALSE(tree->is_motion_update_pending());
    }
    EXPECT_EQ(seam_live_blocks, 0);
}

// A bar for each cell's tree, hidden, with the grid's label and the cell's number; finished and
// handed back.
TEST(SeamGrid, CellsShowBarsWhenTheGridWasGivenOne) {
    MovingBoxes moving;
    SeamRays rays = make_rays();
    AppBase app;
    std::strcpy(app.bar.title, "Hair");
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasGridTree grid;
        moving.attach(grid);
        grid.set_leaf_raytrace_callbacks(hit_any, hit_nearest, &moving.scene.boxes);
        grid.create(moving.scene.tree_boxes, 27, nullptr, &app.bar);
        const unsigned cell_count = grid.get_cell_count();
        ASSERT_GT(cell_count, 8u);
        EXPECT_NEAR(app.bar.fraction, 1.0f, 0.05f);
        EXPECT_TRUE(app.titles.empty());
        EXPECT_FALSE(app.bar.done) << "the caller's own bar stays his";

        // A copy builds half of them.
        const GasGridTree copy(grid);
        for (unsigned cell = 0; cell < cell_count; ++cell) {
            app.bar.fraction = 0.0f;
            app.bar.done = false;
            const GasGridTree& builder = cell % 2 ? grid : copy;
            GeometryRaytraceData data;
            SeamRays ray(1);
            const GMathBbox3<float>& box =
                moving.scene.boxes.items[builder.get_cell_items(cell)[0]];
            ray.set(0, {{0.0f, 0.0f, 1.0f}, {box.min.x, box.min.y, -20.0f}}, 0.0f, 0);
            data.rays = &ray;
            gas_host::set_range(data, 0, 0);
            const std::size_t before = app.titles.size();
            builder.ray_hit_static(CtxEval(), shader, data.ctx);
            if (app.titles.size() == before)
                continue; // built on the way to another, or behind a hit
            EXPECT_EQ(app.bar.fraction, 1.0f);
            EXPECT_TRUE(app.bar.done);
        }
        for (const std::string& title : app.titles) {
            const std::size_t digits = std::strlen("Hair (");
            const unsigned cell =
                static_cast<unsigned>(std::strtoul(title.c_str() + digits, nullptr, 10));
            EXPECT_EQ(title, "Hair (" + std::to_string(cell) + "), hidden");
            ASSERT_LT(cell, cell_count);
            EXPECT_TRUE(grid.find_sub_tree(cell));
        }
        std::vector<std::string> titles = app.titles;
        std::sort(titles.begin(), titles.end());
        EXPECT_EQ(std::adjacent_find(titles.begin(), titles.end()), titles.end());
        unsigned built_count = 0;
        for (unsigned cell = 0; cell < cell_count; ++cell)
            built_count += grid.find_sub_tree(cell) != nullptr;
        EXPECT_EQ(titles.size(), built_count);
        EXPECT_GT(built_count, cell_count / 2);

        // Without a bar: none, whatever there was before.
        app.titles.clear();
        grid.create(moving.scene.tree_boxes, 27, nullptr, nullptr);
        expect_static(grid, moving.scene.boxes, shader, rays);
        EXPECT_TRUE(app.titles.empty());
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}
