// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/isa/gas_instruction_set.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/test_shader.h>

// Trees over more items than a float counts: 2^24 boxes on a lattice, and others beyond. Checks
// that every item is in one leaf, that threads make no difference, and what rays along the lattice
// reach by every way. `run` builds and starts it.

namespace {

using Boxes = CoreArray<GMathBbox3<float>>;

constexpr unsigned side = 256;
constexpr unsigned lattice_count = side * side * side;
constexpr float spacing = 0.25f;

unsigned failures = 0;

void check(bool holds, const std::string& what) {
    std::printf("%s: %s\n", holds ? "ok" : "FAILED", what.c_str());
    std::fflush(stdout);
    failures += !holds;
}

float get_low(unsigned place) { return (static_cast<float>(place) - 128.0f) * spacing; }

GMathBbox3<float> get_lattice_box(unsigned item) {
    GMathBbox3<float> box;
    const unsigned places[3] = {item % side, item / side % side, item / side / side};
    for (unsigned axis = 0; axis < 3; ++axis) {
        box.min[axis] = get_low(places[axis]);
        box.max[axis] = box.min[axis] + 0.5f * spacing;
    }
    return box;
}

/// The lattice, and behind it `more` boxes like its first and one at x = `end`.
Boxes make_boxes(unsigned more, float end) {
    Boxes boxes(lattice_count + more + 1);
    for (unsigned item = 0; item < boxes.get_count(); ++item)
        boxes[item] = get_lattice_box(item < lattice_count ? item : 0);
    GMathBbox3<float>& last = boxes[boxes.get_count() - 1];
    last.min.x = end;
    last.max.x = end + 1.0f;
    return boxes;
}

void give_boxes(void* user, const unsigned& count, const unsigned* items,
                GMathBbox3<float>* bboxes) {
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = (*static_cast<const Boxes*>(user))[items[i]];
}

/// Items that rays reached, each as often as it was.
struct Calls {
    static void receive(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                        GeometryRaytraceCtx& rays) {
        Calls& calls = *static_cast<Calls*>(user);
        for (int ray = rays.get_first_ray(); ray <= rays.get_last_ray(); ++ray)
            calls.items[static_cast<std::size_t>(ray)].push_back(item);
    }
    std::vector<std::vector<unsigned>> items;
};

/// Rays along x through the middles of rows of the lattice, the first through the last box as well.
constexpr unsigned row_count = 64;
unsigned get_row(unsigned ray) { return ray * (side * side - 1) / (row_count - 1); }

/// Traces by `trace(shader, rays)` and holds the calls against the rows.
template <typename Trace>
void check_rows(const std::string& name, unsigned item_count, bool is_exact, Calls& calls,
                const Trace& trace) {
    support::TestShader shader;
    GeometryRayBatch batch(row_count);
    for (unsigned ray = 0; ray < row_count; ++ray) {
        const unsigned row = get_row(ray);
        const auto middle = [](unsigned place) {
            return static_cast<double>(get_low(place) + 0.25f * spacing);
        };
        batch.set_ray(ray, {-100.0, middle(row % side), middle(row / side)}, {1.0, 0.0, 0.0}, 0.0,
                      1e6);
    }
    calls.items.assign(row_count, {});
    trace(shader, batch);
    bool holds = true;
    for (unsigned ray = 0; ray < row_count; ++ray) {
        std::vector<unsigned> expected;
        for (unsigned place = 0; place < side; ++place)
            expected.push_back(get_row(ray) * side + place);
        for (unsigned item = lattice_count; ray == 0 && item < item_count; ++item)
            expected.push_back(item);
        std::vector<unsigned>& items = calls.items[ray];
        std::sort(items.begin(), items.end());
        holds = holds && (is_exact ? items == expected
                                   : std::includes(items.begin(), items.end(), expected.begin(),
                                                   expected.end()));
    }
    check(holds, name);
}

template <typename Tree, typename... Shortcut>
void check_ways(const std::string& name, Tree& tree, unsigned item_count, bool is_exact,
                Shortcut... shortcut) {
    Calls calls;
    tree.set_leaf_raytrace_callbacks(Calls::receive, Calls::receive, &calls);
    const CtxEval eval;
    for (const auto set : {GasInstructionSet::baseline, GasInstructionSet::avx2}) {
        if (!gas_set_instruction_set(set))
            continue;
        const std::string with = name + ", " + gas_get_instruction_set_name(set) + ", ";
        check_rows(with + "one by one", item_count, is_exact, calls, [&](auto& shader, auto& rays) {
            for (int ray = 0; ray < static_cast<int>(row_count); ++ray) {
                rays.get_data().set_range(ray, ray);
                tree.ray_hit_static(eval, shader, rays.get_ctx(), shortcut...);
            }
        });
        check_rows(with + "packets", item_count, false, calls, [&](auto& shader, auto& rays) {
            tree.ray_hit_nearest_static(eval, shader, rays.get_ctx(), shortcut...);
        });
        check_rows(with + "stream", item_count, is_exact, calls, [&](auto& shader, auto& rays) {
            tree.ray_stream_static(eval, shader, rays.get_ctx(), shortcut...);
        });
    }
}

/// Every item in one leaf of a tree.
bool has_all_items(const GasTree& tree) {
    std::vector<bool> seen(tree.get_leaf_count());
    unsigned count = 0;
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        const GasTree::Node& each = tree.get_nodes()[node];
        if ((each.flags & 1) == 0)
            continue;
        if (each.index >= seen.size() || seen[each.index])
            return false;
        seen[each.index] = true;
        ++count;
    }
    return count == tree.get_leaf_count();
}

bool has_all_items(const GasCompressedTree& tree) {
    std::vector<bool> seen(tree.get_leaf_count());
    unsigned count = 0;
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        const GasCompressedNode& each = tree.get_nodes()[node];
        for (unsigned child = 0; child < 2; ++child) {
            if ((each.flags & GasCompressedNode::first_leaf << child) == 0)
                continue;
            const unsigned item = each.children[child];
            if (item >= seen.size() || seen[item])
                return false;
            seen[item] = true;
            ++count;
        }
    }
    return count == tree.get_leaf_count();
}

template <typename Tree>
void check_tree(const std::string& kind, const Boxes& boxes, GasBuildMethod method,
                SysThreadTaskManager& tasks) {
    const std::string name = kind + ", " + std::to_string(boxes.get_count()) + " items, method " +
                             std::to_string(static_cast<unsigned>(method));
    Tree tree;
    tree.create(boxes, nullptr, method, tasks, 2);
    check(tree.get_leaf_count() == boxes.get_count(), name + ": leaves");
    check(has_all_items(tree), name + ": every item in one leaf");
    if (method == GasBuildMethod::sah_fast) {
        Tree alone;
        alone.create(boxes, nullptr, method);
        check(tree.get_node_count() == alone.get_node_count() &&
                  std::memcmp(tree.get_nodes(), alone.get_nodes(),
                              tree.get_node_count() * sizeof(*tree.get_nodes())) == 0,
              name + ": the same tree by one thread");
    }
    if constexpr (std::is_same_v<Tree, GasTree>) {
        check_ways(name, tree, boxes.get_count(), true, false);
        tree.set_wide_nodes(true);
        check_ways(name + ", wide", tree, boxes.get_count(), true, false);
    } else {
        check_ways(name, tree, boxes.get_count(), false);
    }
}

void check_grid(Boxes& boxes) {
    const std::string name = "grid, " + std::to_string(boxes.get_count()) + " items";
    GasGridTree grid;
    grid.set_leaf_bbox_callbacks(give_boxes, nullptr, &boxes);
    grid.create(boxes, 20000, nullptr, GasBuildMethod::sah_fast);
    unsigned count = 0;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell)
        count += grid.get_cell_item_count(cell);
    check(count == boxes.get_count(), name + ": every item in a cell");
    check_ways(name, grid, boxes.get_count(), false);
}

} // namespace

int main() {
    SysThreadTaskManager tasks(nullptr);
    {
        // One more than a float counts, within a compressed tree's range.
        Boxes boxes = make_boxes(0, 36.0f);
        for (const GasBuildMethod method : {GasBuildMethod::median, GasBuildMethod::hybrid,
                                            GasBuildMethod::sah_fast, GasBuildMethod::sah})
            check_tree<GasTree>("plain", boxes, method, tasks);
        for (const GasBuildMethod method : {GasBuildMethod::median, GasBuildMethod::sah_fast})
            check_tree<GasCompressedTree>("compressed", boxes, method, tasks);
        check_grid(boxes);
    }
    // One bin has more boxes than a float counts, because one box is far away from all others.
    const Boxes boxes = make_boxes(2, 1e4f);
    for (const GasBuildMethod method : {GasBuildMethod::sah_fast, GasBuildMethod::sah})
        check_tree<GasTree>("plain", boxes, method, tasks);
    std::printf("%u failed\n", failures);
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
