// SPDX-License-Identifier: Apache-2.0
/// A quarter of the memory: GasCompressedTree answers the ray queries of GasTree with the same
/// callbacks. Decoded boxes are a little larger than the items' own, so a few more items are
/// tried; the hits are the same.

#include <cstdio>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

int main() {
    constexpr unsigned side = 32;
    SphereScene scene;
    for (unsigned i = 0; i < side * side * side; ++i) {
        const float x = static_cast<float>(i % side);
        const float y = static_cast<float>(i / side % side);
        const float z = static_cast<float>(i / side / side);
        scene.spheres.push_back({{x, y, z}, 0.1f + 0.2f * static_cast<float>(i * 7 % 11) / 11.0f});
    }
    const CoreArray<GMathBbox3<float>> boxes = scene.get_boxes();
    GasTree plain;
    plain.create(boxes, nullptr, nullptr, 1.0f);
    plain.set_leaf_raytrace_callbacks(nullptr, hit_nearest_sphere, &scene);
    GasCompressedTree compressed;
    compressed.create(boxes, nullptr, nullptr);
    compressed.set_leaf_raytrace_callbacks(nullptr, hit_nearest_sphere, &scene);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    constexpr unsigned ray_count = 2000;
    unsigned hit_count = 0;
    unsigned difference_count = 0;
    unsigned calls[2] = {0, 0};
    for (unsigned i = 0; i < ray_count; ++i) {
        // From one face of the block towards the opposite one.
        const GMathVec3<double> from = {0.37 * (i % 80), 0.29 * (i / 25), -5.0};
        const GMathVec3<double> direction = {0.11 * (i % 7) - 0.3, 0.13 * (i % 5) - 0.2, 1.0};
        GeometryRayBatch batches[2] = {GeometryRayBatch(1), GeometryRayBatch(1)};
        for (unsigned tree = 0; tree < 2; ++tree) {
            batches[tree].set_ray(0, from, direction, 0.0, 1000.0);
            scene.call_count = 0;
            if (tree == 0)
                plain.ray_hit_nearest_static(eval, shader, batches[tree].get_ctx(), true);
            else
                compressed.ray_hit_nearest_static(eval, shader, batches[tree].get_ctx());
            calls[tree] += scene.call_count;
        }
        hit_count += batches[0].is_hit(0) ? 1 : 0;
        difference_count += batches[0].get_hit_distance(0) != batches[1].get_hit_distance(0);
    }

    const double item_count = static_cast<double>(scene.spheres.size());
    std::printf("plain tree       %5.1f bytes per item, %5.2f items tried per ray\n",
                static_cast<double>(plain.get_memory_size()) / item_count,
                static_cast<double>(calls[0]) / ray_count);
    std::printf("compressed tree  %5.1f bytes per item, %5.2f items tried per ray\n",
                static_cast<double>(compressed.get_memory_size()) / item_count,
                static_cast<double>(calls[1]) / ray_count);
    std::printf("%u of %u rays hit, %u answers differ\n", hit_count, ray_count, difference_count);
    return difference_count == 0 && hit_count > 0 ? 0 : 1;
}
