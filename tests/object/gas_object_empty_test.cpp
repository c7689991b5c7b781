// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>

#include <gas/object/gas_object_empty.h>

namespace {

static_assert(std::is_base_of_v<GasObject, GasObjectEmpty>);
static_assert(sizeof(GasObjectEmpty) == sizeof(GasObject), "the empty object adds no fields");

const GMathBbox3<double> no_box = {{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}};

unsigned counted = 0;

void count(const GasObject*, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) { ++counted; }

TEST(GasObjectEmpty, EveryCallGivesTheSameObject) {
    const GasObjectEmpty& empty = GasObjectEmpty::get_gas();
    EXPECT_EQ(&empty, &GasObjectEmpty::get_gas());
}

TEST(GasObjectEmpty, ItsBoxIsAllZeros) {
    EXPECT_EQ(GasObjectEmpty::get_gas().get_bbox(), no_box);
    const GasObject& base = GasObjectEmpty::get_gas();
    EXPECT_EQ(base.get_bbox(), no_box);
    EXPECT_EQ(GasObjectEmpty().get_bbox(), no_box);
}

/// Runs every ray operation; none may hit.
void expect_rays_pass(const GasObject& object) {
    const CtxEval eval;
    CtxShader shader;
    GeometryRayBatch batch(2);
    for (unsigned ray = 0; ray < 2; ++ray)
        batch.set_ray(ray, {0.0, 0.0, -1.0}, {0.0, 0.0, 1.0}, 0.0, 10.0);
    object.ray_hit_static(eval, shader, batch.get_ctx());
    object.ray_hit_motion(eval, shader, batch.get_ctx());
    object.ray_hit_nearest_static(eval, shader, batch.get_ctx());
    object.ray_hit_nearest_motion(eval, shader, batch.get_ctx());
    for (const unsigned samples : {0u, 2u}) {
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, samples));
        batch.get_ctx().set_hit(0);
        object.ray_hit_nearest(eval, shader, batch.get_data());
        EXPECT_FALSE(batch.is_hit(0));
        batch.get_ctx().set_hit(1);
        object.ray_hit(eval, shader, batch.get_data());
        EXPECT_FALSE(batch.is_hit(1));
        for (unsigned ray = 0; ray < 2; ++ray) {
            EXPECT_EQ(batch.get_hit_distance(ray), 10.0);
            EXPECT_EQ(batch.get_item(ray), GeometryIntersectionPath::no_item);
        }
    }
}

TEST(GasObjectEmpty, RaysPassThrough) { expect_rays_pass(GasObjectEmpty::get_gas()); }

TEST(GasObjectEmpty, CopiesAreEmptyToo) {
    const GasObjectEmpty copy(GasObjectEmpty::get_gas());
    expect_rays_pass(copy);

    GasObjectEmpty assigned;
    assigned.set_raytrace_callbacks(count, count);
    assigned = GasObjectEmpty::get_gas();
    counted = 0;
    expect_rays_pass(assigned);
    EXPECT_EQ(counted, 0u);
}

TEST(GasObjectEmpty, ACopyCarriesCallbacksSetLater) {
    GasObjectEmpty source;
    source.set_raytrace_callbacks(count, nullptr);
    const GasObjectEmpty copy(source);
    const CtxEval eval;
    CtxShader shader;
    GeometryRayBatch batch(1);
    counted = 0;
    copy.ray_hit(eval, shader, batch.get_data());
    copy.ray_hit_nearest(eval, shader, batch.get_data());
    EXPECT_EQ(counted, 1u);
}

} // namespace
