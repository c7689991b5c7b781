// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_nested.h>
#include <bench/bench_scene.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using gas_bench::make_scene;
using gas_bench::Scene;
using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Le;
using testing::SizeIs;

double get_count_over_asked(const std::string& name, unsigned asked) {
    return static_cast<double>(make_scene(name, asked).boxes.get_count()) / asked;
}

TEST(MakeScene, GivesAboutAsManyItemsAsAsked) {
    for (const std::string& name : gas_bench::get_scene_names()) {
        for (const unsigned asked : {20000u, 100000u})
            EXPECT_THAT(get_count_over_asked(name, asked), AllOf(Ge(0.8), Le(1.25))) << name;
    }
}

TEST(MakeScene, GivesTheSameEachTime) {
    for (const std::string& name : gas_bench::get_scene_names()) {
        const Scene first = make_scene(name, 3000);
        const Scene second = make_scene(name, 3000);
        ASSERT_EQ(first.boxes.get_count(), second.boxes.get_count()) << name;
        for (unsigned i = 0; i < first.boxes.get_count(); ++i) {
            EXPECT_EQ(first.boxes[i].min, second.boxes[i].min);
            EXPECT_EQ(first.boxes[i].max, second.boxes[i].max);
        }
    }
}

TEST(MakeScene, FillsTheWorkingRange) {
    for (const std::string& name : gas_bench::get_scene_names()) {
        const Scene scene = make_scene(name, 5000);
        const GMathVec3<float> extent = scene.bounds.max - scene.bounds.min;
        EXPECT_THAT(std::max({extent.x, extent.y, extent.z}), AllOf(Ge(64.0f), Le(128.0f))) << name;
    }
}

TEST(MakeScene, OnlyNestedHasParts) {
    for (const std::string& name : gas_bench::get_scene_names()) {
        const bool has_parts = !make_scene(name, 1000).parts.empty();
        EXPECT_EQ(has_parts, name == gas_bench::nested_scene_name) << name;
    }
}

TEST(MakeScene, NestedMeshesHaveFourHundredToAThousandTriangles) {
    const Scene scene = make_scene(gas_bench::nested_scene_name, 7700);
    std::vector<unsigned> counts;
    for (const Scene& part : scene.parts)
        counts.push_back(part.boxes.get_count());
    EXPECT_THAT(counts, SizeIs(11));
    EXPECT_THAT(counts, Each(AllOf(Ge(390u), Le(1010u))));
}

TEST(MakeScene, PartsHoldTheWholeSceneInOrder) {
    const Scene scene = make_scene(gas_bench::nested_scene_name, 2000);
    unsigned item = 0;
    for (const Scene& part : scene.parts) {
        for (unsigned i = 0; i < part.boxes.get_count(); ++i, ++item) {
            ASSERT_LT(item, scene.boxes.get_count());
            EXPECT_EQ(part.triangles[i].corners[1], scene.triangles[item].corners[1]);
            EXPECT_EQ(part.later_triangles[i].corners[2], scene.later_triangles[item].corners[2]);
            EXPECT_EQ(part.boxes[i].min, scene.boxes[item].min);
            EXPECT_EQ(part.later_boxes[i].max, scene.later_boxes[item].max);
        }
    }
    EXPECT_EQ(item, scene.boxes.get_count());
}

TEST(MakeOutline, HasABoxAroundEachPart) {
    const Scene scene = make_scene(gas_bench::nested_scene_name, 2000);
    const Scene outline = gas_bench::make_outline(scene);
    ASSERT_EQ(outline.boxes.get_count(), scene.parts.size());
    EXPECT_EQ(gas_bench::get_bounds(outline.boxes).min, scene.bounds.min);
    EXPECT_EQ(gas_bench::get_bounds(outline.boxes).max, scene.bounds.max);
    EXPECT_EQ(outline.boxes[3].max, scene.parts[3].bounds.max);
    EXPECT_EQ(outline.later_boxes[3].min, gas_bench::get_bounds(scene.parts[3].later_boxes).min);
}

} // namespace
