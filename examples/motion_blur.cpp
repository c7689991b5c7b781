// SPDX-License-Identifier: Apache-2.0
/// Motion blur: a tree holds the boxes of several moments, and each ray sees them blended to its
/// own time.

#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

/// The shutter opens at 0 and closes at 1; the moments are its ends and its middle.
constexpr unsigned sample_count = 3;

struct MovingSphere {
    GMathVec3<float> centers[sample_count];
    float radius;
};

struct Scene {
    std::vector<MovingSphere> spheres;
    CtxMotionBlur motion_blur = CtxMotionBlur(0.0f, 1.0f, sample_count);
};

/// The sphere at `time`. Between two moments it moves as its boxes do, in a straight line.
Sphere get_sphere(const Scene& scene, unsigned item, float time) {
    const MovingSphere& moving = scene.spheres[item];
    unsigned sample;
    float fraction;
    scene.motion_blur.get_time_spanf(time, sample, fraction);
    const GMathVec3<float> center =
        moving.centers[sample] * (1.0f - fraction) + moving.centers[sample + 1] * fraction;
    return {center, moving.radius};
}

void hit_moving_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                       GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const GeometryRay& shot = ctx.get_ray(ray);
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        if (meets(get_sphere(scene, item, shot.time), shot.line, ctx.get_tnear(ray), bound,
                  distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

CoreArray<GMathBbox3<float>> get_boxes(const Scene& scene, unsigned sample) {
    CoreArray<GMathBbox3<float>> boxes(static_cast<unsigned>(scene.spheres.size()));
    for (unsigned i = 0; i < boxes.get_count(); ++i)
        boxes[i] = get_box({scene.spheres[i].centers[sample], scene.spheres[i].radius});
    return boxes;
}

} // namespace

int main() {
    // Spheres in a row; each jumps up and comes down again, the later ones higher.
    Scene scene;
    for (unsigned i = 0; i < 8; ++i) {
        const float x = 3.0f * static_cast<float>(i);
        const float height = 1.0f + static_cast<float>(i);
        scene.spheres.push_back({{{x, 0.0f, 0.0f}, {x, 0.0f, height}, {x, 0.0f, 0.0f}}, 0.5f});
    }

    // The topology comes from one set of boxes, here those of the middle; the boxes of each moment
    // are filled in afterwards.
    GasTree tree;
    tree.create(get_boxes(scene, 1), nullptr, nullptr, 1.0f);
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample)
        tree.refit_motion_blur_sample(get_boxes(scene, sample), sample);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_moving_sphere, &scene);

    // The shader maps the shutter to those moments.
    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    shader.set_motion_blur(scene.motion_blur);

    // A camera below shoots straight through each column at many times and heights, and counts how
    // long the sphere covers each height: that is its blur.
    constexpr unsigned time_count = 64;
    constexpr unsigned height_count = 10;
    unsigned wrong_count = 0;
    std::puts("share of the shutter for which a sphere covers a height, from the ground up:");
    for (unsigned item = 0; item < scene.spheres.size(); ++item) {
        std::printf("sphere %u:", item);
        for (unsigned row = 0; row < height_count; ++row) {
            GeometryRayBatch batch(time_count);
            for (unsigned ray = 0; ray < time_count; ++ray) {
                const float time = (static_cast<float>(ray) + 0.5f) / time_count;
                batch.set_ray(ray, {3.0 * item, -10.0, static_cast<double>(row)}, {0.0, 1.0, 0.0},
                              0.0, 100.0, time);
            }
            tree.ray_hit_nearest_motion(eval, shader, batch.get_ctx(), false);

            unsigned hit_count = 0;
            for (unsigned ray = 0; ray < time_count; ++ray) {
                const GeometryRay& shot = batch.get_ctx().get_ray(ray);
                double distance;
                const bool expected =
                    meets(get_sphere(scene, item, shot.time), shot.line, 0.0, 100.0, distance);
                wrong_count += batch.is_hit(ray) != expected ? 1 : 0;
                hit_count += batch.is_hit(ray) ? 1 : 0;
            }
            std::printf(" %3u%%", 100 * hit_count / time_count);
        }
        std::puts("");
    }

    std::printf("%u answers differ from testing the spheres themselves\n", wrong_count);
    return wrong_count == 0 ? 0 : 1;
}
