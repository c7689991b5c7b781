// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

namespace support {

/// Traces through one tree, and from its callbacks through another. Everything that it needs is
/// made at once, so that allocations can be counted from then on.
template <typename Tree> struct NestedTracer {
    static constexpr unsigned ray_count = 32;

    explicit NestedTracer(unsigned seed) : rays(ray_count), nested_rays(2) {
        const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::grid, 343, seed);
        build(tree, boxes);
        fill_samples(tree, {boxes, boxes, boxes});
        build(nested_tree, boxes, naive::Split::median);
        fill_samples(nested_tree, {boxes, boxes, boxes});
        tree.set_leaf_raytrace_callbacks(trace_nested, trace_nested, this);
        nested_tree.set_leaf_raytrace_callbacks(hit_some, hit_some, this);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        for (unsigned ray = 0; ray < ray_count; ++ray) {
            rays.set_ray(ray, {-1.0, 0.2 * ray, 3.1}, {1.0, 0.01, 0.02}, 0.0, 1000.0,
                         static_cast<float>(ray) / 31.0f, static_cast<int>(ray % 6));
        }
        for (unsigned ray = 0; ray < 2; ++ray)
            nested_rays.set_ray(ray, {8.0, 1.5, 2.5}, {-1.0, 0.01, 0.02}, 0.0, 1000.0);
    }

    static void hit_some(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                         GeometryRaytraceCtx& ctx) {
        ++static_cast<NestedTracer*>(user)->called;
        if (item % 7 == 0)
            for_each_ray(ctx, [&](unsigned ray) { ctx.record_nearest_hit(ray, 100.0, item); });
    }

    static void trace_nested(void* user, const unsigned& item, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
        NestedTracer& self = *static_cast<NestedTracer*>(user);
        self.nested_rays.reset_hits();
        self.nested_rays.get_data().set_range(0, item % 2 ? 1 : 0);
        trace(self.nested_tree, self.query, shader, self.nested_rays.get_ctx());
        hit_some(user, item, eval, shader, ctx);
    }

    void run() {
        for (const RayQuery each : all_ray_queries) {
            query = each;
            rays.reset_hits();
            rays.get_data().set_range(0, static_cast<int>(ray_count) - 1);
            trace(tree, query, shader, rays.get_ctx());
            rays.reset_hits();
            for (int ray = 0; ray < static_cast<int>(ray_count); ++ray) {
                rays.get_data().set_range(ray, ray);
                trace(tree, query, shader, rays.get_ctx());
            }
        }
    }

    Tree tree;
    Tree nested_tree;
    TestShader shader;
    GeometryRayBatch rays;
    GeometryRayBatch nested_rays;
    RayQuery query = RayQuery::hit_static;
    unsigned called = 0;
};

} // namespace support
