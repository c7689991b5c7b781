// SPDX-License-Identifier: Apache-2.0
/// Items that move between frames: a refit keeps the tree's topology and recomputes its boxes,
/// which takes a small part of the time of a build. The tree stays right, and stays good while
/// neighbours stay neighbours.

#include <cmath>
#include <cstdio>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

/// A sheet of spheres through which a wave runs.
constexpr unsigned side = 50;

void set_frame(SphereScene& scene, unsigned frame) {
    scene.spheres.resize(side * side);
    for (unsigned i = 0; i < side * side; ++i) {
        const auto x = static_cast<float>(i % side);
        const auto y = static_cast<float>(i / side);
        const float phase = 0.3f * x + 0.2f * y + 0.5f * static_cast<float>(frame);
        scene.spheres[i] = {{x, y, 4.0f * std::sin(phase)}, 0.4f};
    }
}

void set_rays(GeometryRayBatch& batch) {
    batch.resize(side * side);
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
        batch.set_ray(ray, {-20.0 + 0.9 * (ray % side), 0.4 + 0.9 * (ray / side), 15.0},
                      {1.0, 0.1, -0.6}, 0.0, 1000.0);
}

} // namespace

int main() {
    SphereScene scene;
    set_frame(scene, 0);
    GasTree tree;
    tree.create(scene.get_boxes(), nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_nearest_sphere, &scene);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    GeometryRayBatch batch;
    GeometryRayBatch expected;
    bool right = true;
    for (unsigned frame = 1; frame <= 6; ++frame) {
        set_frame(scene, frame);
        right = right && tree.refit(scene.get_boxes());
        set_rays(batch);
        scene.call_count = 0;
        tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);
        const unsigned refit_calls = scene.call_count;

        // A tree built for this very frame finds the same hits.
        GasTree rebuilt;
        rebuilt.create(scene.get_boxes(), nullptr, nullptr, 1.0f);
        rebuilt.set_leaf_raytrace_callbacks(nullptr, hit_nearest_sphere, &scene);
        set_rays(expected);
        scene.call_count = 0;
        rebuilt.ray_hit_nearest_static(eval, shader, expected.get_ctx(), false);

        unsigned hit_count = 0;
        for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
            hit_count += batch.is_hit(ray) ? 1 : 0;
            right = right && batch.is_hit(ray) == expected.is_hit(ray) &&
                    batch.get_hit_distance(ray) == expected.get_hit_distance(ray);
        }
        std::printf("frame %u: %u hits; spheres tried per ray: %.2f refitted, %.2f rebuilt\n",
                    frame, hit_count, static_cast<double>(refit_calls) / batch.get_ray_count(),
                    static_cast<double>(scene.call_count) / batch.get_ray_count());
    }

    // New or removed items need a new build: another number of boxes is refused.
    scene.spheres.pop_back();
    right = right && !tree.refit(scene.get_boxes());

    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
