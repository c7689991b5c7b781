// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include <tests/seam/seam_scene.h>

// Wide nodes and streams over the second host: all of its memory and records by way of its own.

using namespace seam;

namespace {

template <typename Tree, typename... Shortcut>
void expect_streams_find_what_a_search_finds(const Tree& tree, const Boxes& boxes,
                                             CtxShader& shader, SeamRays& rays, bool motion,
                                             Shortcut... shortcut) {
    for (const bool nearest : {true, false}) {
        const auto trace = [&](GeometryRaytraceCtx& ctx) {
            if (nearest && motion)
                tree.ray_stream_nearest_motion(CtxEval(), shader, ctx, shortcut...);
            else if (nearest)
                tree.ray_stream_nearest_static(CtxEval(), shader, ctx, shortcut...);
            else if (motion)
                tree.ray_stream_motion(CtxEval(), shader, ctx, shortcut...);
            else
                tree.ray_stream_static(CtxEval(), shader, ctx, shortcut...);
        };
        expect_same_as_search(trace, nearest, boxes, rays);
    }
}

/// Two samples, and every query and stream of both kinds.
template <typename Tree, typename... Shortcut>
void expect_both_kinds(Tree& tree, Shortcut... shortcut) {
    const Scene opening;
    const Scene closing(4.0f);
    SeamRays rays = make_rays();
    MotionShader shader;
    attach(tree, opening);
    expect_streams_find_what_a_search_finds(tree, opening.boxes, shader, rays, false, shortcut...);
    expect_same_as_search(tree, opening.boxes, shader, rays);
    tree.set_motion_blur_sample_count(2);
    EXPECT_TRUE(tree.refit_motion_blur_sample(opening.tree_boxes, 0));
    EXPECT_TRUE(tree.refit_motion_blur_sample(closing.tree_boxes, 1));
    for (const float time : {0.0f, 0.5f, 1.0f}) {
        rays.times.assign(ray_count, time);
        const Scene between(4.0f * time);
        attach(tree, between);
        expect_streams_find_what_a_search_finds(tree, between.boxes, shader, rays, true,
                                                shortcut...);
        expect_same_as_search(tree, between.boxes, shader, rays);
    }
}

} // namespace

TEST(SeamStreams, FindWhatASearchFindsWithWideNodesAndWithout) {
    const Scene scene;
    for (const bool wide : {true, false}) {
        {
            GasTree tree;
            tree.set_wide_nodes(wide);
            tree.create(scene.tree_boxes, nullptr, nullptr, 1.0f);
            EXPECT_EQ(tree.has_wide_nodes(), wide);
            expect_both_kinds(tree, false);
            EXPECT_EQ(tree.get_wide_nodes_size() > 0, wide);
        }
        EXPECT_EQ(seam_live_blocks, 0);
    }
}

TEST(SeamStreams, FindWhatASearchFindsInACompressedTree) {
    const Scene scene;
    {
        GasCompressedTree tree;
        tree.create(scene.tree_boxes, nullptr, nullptr);
        expect_both_kinds(tree);
    }
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(SeamStreams, FollowARefit) {
    const Scene after(4.0f);
    SeamRays rays = make_rays();
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        GasTree tree;
        tree.set_wide_nodes(true);
        tree.create(Scene().tree_boxes, nullptr, nullptr, 1.0f);
        EXPECT_TRUE(tree.refit(after.tree_boxes));
        attach(tree, after);
        expect_streams_find_what_a_search_finds(tree, after.boxes, shader, rays, false, false);
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(seam_live_blocks, 0);
}
