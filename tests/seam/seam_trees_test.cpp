// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include <tests/seam/seam_scene.h>

// Trees of both classes over a host with other layouts: they build, trace and move as they do over
// the reference host.

using namespace seam;

namespace {

template <typename Tree> inline constexpr bool is_plain = std::is_same_v<Tree, GasTree>;

template <typename Tree> class SeamTrees : public testing::Test {
  protected:
    ~SeamTrees() override { EXPECT_EQ(seam_live_blocks, 0); }

    template <typename Items>
    static void create(Tree& tree, const Items& boxes, AppProgressBar* bar = nullptr) {
        if constexpr (is_plain<Tree>)
            tree.create(boxes, nullptr, bar, 1.0f);
        else
            tree.create(boxes, nullptr, bar);
    }
    static void create_of(Tree& tree, const GMathBbox3<float>* boxes, unsigned count) {
        if constexpr (is_plain<Tree>)
            tree.create(boxes, count, nullptr, nullptr, 1.0f);
        else
            tree.create(boxes, count, nullptr, nullptr);
    }
};

struct TreeNames {
    template <typename Tree> static const char* GetName(int) {
        return is_plain<Tree> ? "plain" : "compressed";
    }
};
using BothTrees = testing::Types<GasTree, GasCompressedTree>;
TYPED_TEST_SUITE(SeamTrees, BothTrees, TreeNames);

} // namespace

TYPED_TEST(SeamTrees, EveryBuildMethodFindsWhatASearchFinds) {
    const Scene scene;
    SeamRays rays = make_rays();
    AppBase app;
    CtxShader shader;
    GasObject::create_ctx(shader);
    {
        TypeParam tree;
        attach(tree, scene);
        for (short method = 0; method < 4; ++method) {
            app.build_method = method;
            app.bar.fraction = 0.0f;
            this->create(tree, scene.tree_boxes, &app.bar);
            EXPECT_EQ(tree.get_leaf_count(), item_count);
            EXPECT_NEAR(app.bar.fraction, 1.0f, is_plain<TypeParam> ? 0.02f : 0.0f);
            expect_same_as_search(tree, scene.boxes, shader, rays);
        }
    }
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(shader.slots[7], nullptr);
    EXPECT_EQ(shader.slots[2], nullptr);
}

TYPED_TEST(SeamTrees, EveryContainerGivesTheSameTree) {
    const Scene scene;
    const std::vector<GMathBbox3<float>>& items = scene.tree_boxes.items;
    CoreVector<GMathBbox3<float>> vector;
    CoreArray<GMathBbox3<double>> wide;
    const auto widen = [](const GMathVec3<float>& corner) -> GMathVec3<double> {
        return {static_cast<double>(corner.x), static_cast<double>(corner.y),
                static_cast<double>(corner.z)};
    };
    for (const GMathBbox3<float>& box : items) {
        vector.push(box);
        wide.items.push_back({widen(box.min), widen(box.max)});
    }
    TypeParam trees[4];
    this->create_of(trees[0], items.data(), item_count);
    this->create(trees[1], scene.tree_boxes);
    this->create(trees[2], vector);
    this->create(trees[3], wide);
    for (const TypeParam& tree : trees) {
        ASSERT_EQ(tree.get_node_count(), is_plain<TypeParam> ? 2 * item_count - 1 : item_count - 1);
        EXPECT_EQ(std::memcmp(tree.get_nodes(), trees[0].get_nodes(),
                              tree.get_node_count() * sizeof(*tree.get_nodes())),
                  0);
    }
    this->create(trees[1], Boxes());
    EXPECT_TRUE(trees[1].is_empty());
}

TYPED_TEST(SeamTrees, MotionRaysSeeTheBoxesOfTheirTime) {
    const Scene opening;
    const Scene closing(4.0f);
    SeamRays rays = make_rays();
    MotionShader shader;
    TypeParam tree;
    this->create(tree, opening.tree_boxes);
    tree.set_motion_blur_sample_count(2);
    EXPECT_TRUE(tree.refit_motion_blur_sample(opening.tree_boxes, 0));
    EXPECT_TRUE(tree.refit_motion_blur_sample(closing.tree_boxes, 1));
    EXPECT_FALSE(tree.refit_motion_blur_sample(closing.tree_boxes, 2));
    EXPECT_FALSE(tree.refit_motion_blur_sample(Boxes(), 1));

    for (const float time : {0.0f, 0.5f, 1.0f}) {
        rays.times.assign(ray_count, time);
        // The tree's boxes are blends, a rounding off these: less than their margin.
        const Scene between(4.0f * time);
        attach(tree, between);
        expect_same_as_search(tree, between.boxes, shader, rays);
    }
}
