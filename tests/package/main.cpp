// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/files/gas_tree_files.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/object/gas_object.h>
#include <gas/tree/gas_tree.h>
#include <gas/version.h>

namespace {

// Calls the front of item i's box a hit: the boxes below start at z = i.
void hit_front(void*, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    for (int ray = ctx.get_first_ray(); ray <= ctx.get_last_ray(); ++ray)
        ctx.record_nearest_hit(static_cast<unsigned>(ray), 10.0 + item, item);
}

// Answers a grid's requests from the boxes.
void give_bboxes(void* user, const unsigned& count, const unsigned* items,
                 GMathBbox3<float>* bboxes) {
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = static_cast<const GMathBbox3<float>*>(user)[items[i]];
}

void ignore(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

void trace(const GasTree& tree, CtxShader& shader, GeometryRayBatch& batch) {
    tree.ray_hit_nearest_static(CtxEval(), shader, batch.get_ctx(), false);
}
void trace(const GasGridTree& grid, CtxShader& shader, GeometryRayBatch& batch) {
    grid.ray_hit_nearest_static(CtxEval(), shader, batch.get_ctx());
}
void trace(const GasCompressedTree& tree, CtxShader& shader, GeometryRayBatch& batch) {
    tree.ray_hit_nearest_static(CtxEval(), shader, batch.get_ctx());
}

// Whether a ray towards three boxes in a row finds the first of them.
template <typename Tree> bool finds_first_box(Tree& tree) {
    tree.set_leaf_raytrace_callbacks(ignore, hit_front, nullptr);
    GeometryRayBatch batch(1);
    batch.set_ray(0, {0.0, 0.0, -10.0}, {0.0, 0.0, 1.0}, 0.0, 100.0);
    CtxShader shader;
    GasObject::create_ctx(shader);
    trace(tree, shader, batch);
    GasObject::destroy_ctx(shader);
    std::printf("hit item %u at %g\n", batch.get_item(0), batch.get_hit_distance(0));
    return batch.is_hit(0) && batch.get_item(0) == 0 && batch.get_hit_distance(0) == 10.0;
}

// Visits every leaf by the traversal interface, nearer children first, and sums their positions.
unsigned sum_leaves(const GasCompressedTree& tree) {
    GasTreeCtx ctx;
    ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
    tree.init_traversal(ctx);
    const GMathBasicRay ray({0.0, 0.0, -10.0}, {0.0, 0.0, 1.0});
    std::vector<unsigned> pending = {0};
    unsigned sum = 0;
    while (!pending.empty()) {
        const unsigned slot = pending.back();
        pending.pop_back();
        GasBbox bbox;
        tree.get_node_bbox(ctx, slot, bbox);
        if (tree.is_node_a_leaf(ctx, slot)) {
            const unsigned leaf = tree.get_leaf_value(ctx, slot);
            std::printf("leaf %u from z = %g\n", leaf, static_cast<double>(bbox.min[2]));
            sum += leaf;
        } else {
            const unsigned order = tree.get_node_traversal_order(ctx, slot, ray);
            unsigned children[2];
            tree.get_node_children(ctx, slot, children[0], children[1]);
            pending.push_back(children[1 - order]);
            pending.push_back(children[order]);
        }
        tree.free_node(ctx, slot);
    }
    tree.deinit_traversal(ctx);
    return sum;
}

/// Whether a tree comes back from a file.
template <typename Tree> bool comes_back(const Tree& tree) {
    const char* const path = "package_user.gastree";
    Tree mapped;
    const bool is_mapped = gas_save_tree(tree, path) && gas_map_tree(path, mapped);
    std::remove(path);
    return is_mapped && finds_first_box(mapped);
}

} // namespace

int main() {
    GMathBbox3<float> bboxes[] = {
        {{-1.0f, -1.0f, 0.0f}, {1.0f, 1.0f, 0.5f}},
        {{-1.0f, -1.0f, 1.0f}, {1.0f, 1.0f, 1.5f}},
        {{-1.0f, -1.0f, 2.0f}, {1.0f, 1.0f, 2.5f}},
    };
    GasTree tree;
    tree.create(bboxes, 3, nullptr, nullptr, 1.0f);
    GasCompressedTree compressed;
    compressed.create(bboxes, 3, nullptr, nullptr);
    GasGridTree grid;
    grid.set_leaf_bbox_callbacks(give_bboxes, nullptr, bboxes);
    grid.create(3, 8, nullptr, nullptr);
    const bool is_found =
        finds_first_box(tree) && finds_first_box(compressed) && finds_first_box(grid);
    const bool is_saved = comes_back(tree) && comes_back(compressed);
    const GasGridSubTree* const cell = grid.find_sub_tree(0);
    std::printf("version %s\n", gas_get_version_string());
    const bool is_of_this_version = gas_get_version() == unsigned{GAS_VERSION};
    return is_of_this_version && is_found && is_saved && cell && !cell->is_empty() &&
                   sum_leaves(compressed) == 3
               ? 0
               : 1;
}
