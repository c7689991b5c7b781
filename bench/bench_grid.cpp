// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_grid.h>

#include <bench/bench_triangle.h>

namespace gas_bench {

namespace {

const Scene& get_scene(void* user) { return *static_cast<const Scene*>(user); }

Triangle get_triangle_at(const Scene& scene, unsigned item, double time) {
    return blend(scene.triangles[item], scene.later_triangles[item], static_cast<float>(time));
}

void give_boxes(void* user, const unsigned& count, const unsigned* items,
                GMathBbox3<float>* boxes) {
    const Scene& scene = get_scene(user);
    for (unsigned i = 0; i < count; ++i)
        boxes[i] = get_box(scene.triangles[items[i]]);
}

void give_boxes_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>* boxes) {
    const Scene& scene = get_scene(user);
    for (unsigned i = 0; i < count; ++i)
        boxes[i] = get_box(get_triangle_at(scene, items[i], time));
}

void give_union_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>& bounds) {
    const Scene& scene = get_scene(user);
    for (unsigned i = 0; i < count; ++i) {
        const GMathBbox3<float> box = get_box(get_triangle_at(scene, items[i], time));
        if (i == 0)
            bounds = box;
        grow(bounds, box.min);
        grow(bounds, box.max);
    }
}

} // namespace

void create_grid(GasGridTree& grid, const Scene& scene) {
    void* const user = const_cast<Scene*>(&scene); // only read
    grid.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at, user);
    const unsigned count = scene.boxes.get_count();
    grid.create(count, count / items_per_cell + 1, nullptr, nullptr);
}

} // namespace gas_bench
