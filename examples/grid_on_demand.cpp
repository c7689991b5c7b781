// SPDX-License-Identifier: Apache-2.0
/// Very many items: GasGridTree asks for each item's box once to sort it into a cell, and builds a
/// cell's tree when a ray first reaches it. The items here are computed from their numbers and not
/// stored.

#include <atomic>
#include <cstdio>

#include <gas/grid/gas_grid_tree.h>
#include <gas/object/gas_shader_frames.h>

#include "sphere.h"

namespace {

constexpr unsigned side = 100;
constexpr unsigned item_count = side * side * side;

/// Sphere `item` of a regular block, from its number alone.
Sphere get_sphere(unsigned item) {
    return {{static_cast<float>(item % side), static_cast<float>(item / side % side),
             static_cast<float>(item / side / side)},
            0.3f};
}

/// How many boxes the grid has asked for. It asks from several threads at once.
std::atomic<unsigned> asked_count = 0;

void get_boxes(void*, const unsigned& count, const unsigned* items, GMathBbox3<float>* boxes) {
    for (unsigned i = 0; i < count; ++i)
        boxes[i] = get_box(get_sphere(items[i]));
    asked_count += count;
}

void hit_sphere(void*, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    const Sphere sphere = get_sphere(item);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        double distance;
        if (meets(sphere, ctx.get_ray(ray).line, ctx.get_tnear(ray),
                  ctx.get_intersection_path(ray).get_hit_distance(), distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

} // namespace

int main() {
    GasGridTree grid;
    grid.set_leaf_bbox_callbacks(get_boxes, nullptr, nullptr);
    grid.set_leaf_raytrace_callbacks(nullptr, hit_sphere, nullptr);
    const unsigned target_cell_count = item_count / 128;
    grid.create(item_count, target_cell_count, nullptr, nullptr);
    const unsigned asked_by_create = asked_count;
    const std::size_t size_before = grid.get_memory_size();

    // A thin bundle of rays through one corner of the block.
    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    GeometryRayBatch batch(64);
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const GMathVec3<double> from = {2.0 + 0.1 * (ray % 8), 3.0 + 0.1 * (ray / 8), -10.0};
        batch.set_ray(ray, from, {0.001, 0.002, 1.0}, 0.0, 1000.0);
    }
    grid.ray_hit_nearest_static(eval, shader, batch.get_ctx());

    unsigned built_count = 0;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell)
        built_count += grid.find_sub_tree(cell) ? 1 : 0;
    unsigned hit_count = 0;
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
        hit_count += batch.is_hit(ray) ? 1 : 0;
    std::printf("%u items in %u cells\n", item_count, grid.get_cell_count());
    std::printf("boxes asked for: %u to sort the items, %u for the rays\n", asked_by_create,
                asked_count - asked_by_create);
    std::printf("%u rays hit; %u cells built, %zu bytes before and %zu after\n", hit_count,
                built_count, size_before, grid.get_memory_size());
    return hit_count > 0 && built_count > 0 && built_count < grid.get_cell_count() / 10 &&
                   asked_by_create == item_count
               ? 0
               : 1;
}
