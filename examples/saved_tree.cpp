// SPDX-License-Identifier: Apache-2.0
/// A tree that is built once, saved, and mapped when the program starts again: what the file says
/// is checked, and the number that stands for the boxes tells whether it is a tree over these.

#include <cstdio>

#include <gas/files/gas_tree_files.h>
#include <gas/object/gas_shader_frames.h>

#include "sphere.h"

namespace {

constexpr unsigned side = 60;

void fill(SphereScene& scene) {
    for (unsigned i = 0; i < side * side; ++i)
        scene.spheres.push_back(
            {{static_cast<float>(i % side), static_cast<float>(i / side), 0.0f}, 0.4f});
}

/// Maps the tree of the file if there is one over these boxes; else builds it and saves it.
bool get_tree(const CoreArray<GMathBbox3<float>>& boxes, const char* path, GasTree& tree) {
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], boxes.get_count());
    GasFileSettings settings;
    settings.boxes_hash = hash;
    const GasFileResult mapped = gas_map_tree(path, tree, settings);
    if (mapped) {
        std::printf("%s: mapped\n", path);
        return true;
    }
    std::printf("%s\n", mapped.text.c_str());
    tree.set_wide_nodes(true);
    tree.create(boxes, nullptr, nullptr, 1.0f);
    const GasFileResult saved = gas_save_tree(tree, path, hash);
    if (!saved)
        std::printf("%s\n", saved.text.c_str());
    return false;
}

/// The sphere below a point.
unsigned find_below(const GasTree& tree, double x, double y) {
    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    GeometrySingleRay ray({x, y, 10.0}, {0.0, 0.0, -1.0}, 0.0, 1000.0);
    tree.ray_hit_nearest_static(eval, shader, ray.get_ctx(), false);
    return ray.is_hit() ? ray.get_item() : side * side;
}

} // namespace

int main() {
    SphereScene scene;
    fill(scene);
    const CoreArray<GMathBbox3<float>> boxes = scene.get_boxes();
    const char* const path = "gas_example_saved_tree.gastree";
    std::remove(path);

    bool right = true;
    for (unsigned start = 0; start < 2; ++start) {
        GasTree tree;
        right = get_tree(boxes, path, tree) == (start > 0) && right;
        // Callbacks are not saved.
        tree.set_leaf_raytrace_callbacks(nullptr, hit_nearest_sphere, &scene);
        const unsigned sphere = find_below(tree, 17.1, 40.2);
        std::printf("sphere %u\n", sphere);
        right = right && sphere == 40 * side + 17;
    }
    std::remove(path);
    return right ? 0 : 1;
}
