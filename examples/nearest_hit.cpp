// SPDX-License-Identifier: Apache-2.0
/// The nearest (closest) hit of a ray: a tree is built over boxes, the tree calls back for the
/// items that a ray may meet, and the callback intersects them.

#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

/// Called for each sphere whose box a ray reaches, roughly from near to far. It looks at the rays
/// first..last of the batch.
void hit_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                GeometryRaytraceCtx& ctx) {
    const auto& spheres = *static_cast<const std::vector<Sphere>*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        // The nearest hit so far bounds the search, here as in the tree: items behind it are not
        // visited.
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        if (meets(spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), bound, distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

} // namespace

int main() {
    // A row of spheres along z, each ten units behind the one before.
    std::vector<Sphere> spheres;
    for (unsigned i = 0; i < 10; ++i)
        spheres.push_back({{0.0f, 0.0f, 10.0f * static_cast<float>(i)}, 1.0f});

    // The tree is built over boxes alone, and keeps none of them.
    CoreVector<GMathBbox3<float>> boxes;
    for (const Sphere& sphere : spheres)
        boxes.add(get_box(sphere));
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &spheres);

    // Every thread that traces has a shader of its own, with scratch memory for the walk.
    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);

    // Three rays: along the row, from between two spheres, and past all of them.
    GeometryRayBatch batch(3);
    batch.set_ray(0, {0.0, 0.0, -5.0}, {0.0, 0.0, 1.0}, 0.0, 1000.0);
    batch.set_ray(1, {0.0, 0.0, 45.0}, {0.0, 0.0, 1.0}, 0.0, 1000.0);
    batch.set_ray(2, {3.0, 0.0, -5.0}, {0.0, 0.0, 1.0}, 0.0, 1000.0);
    tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);

    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        if (batch.is_hit(ray))
            std::printf("ray %u meets sphere %u at distance %g\n", ray, batch.get_item(ray),
                        batch.get_hit_distance(ray));
        else
            std::printf("ray %u meets nothing\n", ray);
    }

    const bool right = batch.is_hit(0) && batch.get_item(0) == 0 &&
                       batch.get_hit_distance(0) == 4.0 && batch.is_hit(1) &&
                       batch.get_item(1) == 5 && batch.get_hit_distance(1) == 4.0 &&
                       !batch.is_hit(2);
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
