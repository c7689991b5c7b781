// SPDX-License-Identifier: Apache-2.0
/// Shadow rays (any hit, occluded): is there anything between a point and the light? An all-hits
/// query answers it when its callback sets the ray's hit flag, which ends the ray's walk.

#include <cstdio>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

/// The first sphere in the way is enough, whichever it is. Counts its calls.
void hit_any_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                    GeometryRaytraceCtx& ctx) {
    SphereScene& scene = *static_cast<SphereScene*>(user);
    ++scene.call_count;
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        double distance;
        if (meets(scene.spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), ctx.get_tfar(ray),
                  distance))
            ctx.set_hit(ray);
    }
}

bool is_shadowed(const SphereScene& scene, const GMathBasicRay& line) {
    double distance;
    for (const Sphere& sphere : scene.spheres) {
        if (meets(sphere, line, 0.0, 1.0, distance))
            return true;
    }
    return false;
}

} // namespace

int main() {
    // A sheet of spheres floats above the ground at z = 0; the light hangs above them.
    constexpr unsigned side = 40;
    const GMathVec3<double> light = {0.0, 0.0, 30.0};
    SphereScene scene;
    for (unsigned i = 0; i < side * side; ++i) {
        const float x = static_cast<float>(i % side) - 20.0f;
        const float y = static_cast<float>(i / side) - 20.0f;
        scene.spheres.push_back({{x, y, 5.0f}, 0.35f});
    }
    GasTree tree;
    tree.create(scene.get_boxes(), nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(hit_any_sphere, nullptr, &scene);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);

    // One batch of rays from the ground to the light. With the whole way as direction the light is
    // at distance 1. All of them share a cache slot: the tree first tries the item that stopped the
    // slot's last ray, and neighbours in shadow are often shadowed by the same item. A renderer
    // gives each of its first lights a slot of its own, 0 to 5.
    constexpr int light_slot = 0;
    constexpr unsigned ray_side = 60;
    GeometryRayBatch batch(ray_side * ray_side);
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const GMathVec3<double> ground = {0.31 * (ray % ray_side) - 9.0,
                                          0.31 * (ray / ray_side) - 9.0, 0.0};
        batch.set_ray(ray, ground, light - ground, 0.0, 1.0, 0.0f, light_slot);
    }
    tree.ray_hit_static(eval, shader, batch.get_ctx(), false);

    // The same by trying every sphere.
    unsigned shadowed_count = 0;
    unsigned wrong_count = 0;
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        shadowed_count += batch.is_hit(ray) ? 1 : 0;
        const bool expected = is_shadowed(scene, batch.get_ctx().get_ray(ray).line);
        wrong_count += batch.is_hit(ray) != expected ? 1 : 0;
    }
    std::printf("%u of %u points lie in shadow\n", shadowed_count, batch.get_ray_count());
    std::printf("%.2f spheres were tried per ray, out of %u\n",
                static_cast<double>(scene.call_count) / batch.get_ray_count(), side * side);
    std::printf("%u answers differ from trying all of them\n", wrong_count);
    return wrong_count == 0 && shadowed_count > 0 && shadowed_count < batch.get_ray_count() ? 0 : 1;
}
