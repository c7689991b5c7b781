// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/render_report.h>

#include <cstdio>

#include <nlohmann/json.hpp>

#include <apps/common/instruction_set.h>
#include <apps/common/walk_name.h>
#include <apps/gas/report/memory_peak.h>
#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

namespace {

/// Over all shapes.
struct SceneCounts {
    std::uint64_t items = 0;
    /// As often as instances place them.
    std::uint64_t placed_items = 0;
    /// With the tree over the instances: what `get_memory_size` counts, the wide nodes, and the
    /// total.
    std::uint64_t tree_bytes = 0;
    std::uint64_t wide_bytes = 0;
    std::uint64_t tree_total_bytes = 0;

    explicit SceneCounts(const Scene& scene)
        : tree_bytes(scene.get_tree().get_memory_size()),
          wide_bytes(scene.get_tree().get_wide_bytes()),
          tree_total_bytes(scene.get_tree().get_total_bytes()) {
        for (const auto& shape : scene.get_shapes()) {
            items += shape->get_item_count();
            tree_bytes += shape->get_tree().get_memory_size();
            wide_bytes += shape->get_tree().get_wide_bytes();
            tree_total_bytes += shape->get_tree().get_total_bytes();
        }
        for (const Instance& instance : scene.get_instances())
            placed_items += instance.shape->get_item_count();
    }
};

/// Over the grids of all shapes.
struct GridCounts {
    std::uint64_t cells = 0;
    std::uint64_t built_cells = 0;
    std::uint64_t asked_by_build = 0;
    std::uint64_t asked_by_rays = 0;

    explicit GridCounts(const Scene& scene) {
        for (const auto& shape : scene.get_shapes()) {
            const TracedTree& tree = shape->get_tree();
            const auto* grid = std::get_if<GasGridTree>(&tree.get_tree());
            if (!grid)
                continue;
            cells += grid->get_cell_count();
            built_cells += count_built_cells(*grid);
            asked_by_build += tree.get_boxes_asked_by_build();
            asked_by_rays += tree.get_boxes_asked_by_rays();
        }
    }
    double get_built_share() const {
        return static_cast<double>(built_cells) /
               static_cast<double>(std::max(cells, std::uint64_t{1}));
    }
};

nlohmann::ordered_json get_peak_as_json() {
    const std::optional<std::size_t> peak = get_peak_resident_size();
    return peak ? nlohmann::ordered_json(*peak) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json as_json(const GridCounts& grids) {
    return {{"cells", grids.cells},
            {"built_cells", grids.built_cells},
            {"built_share", grids.get_built_share()},
            {"boxes_asked_by_build", grids.asked_by_build},
            {"boxes_asked_by_rays", grids.asked_by_rays}};
}

nlohmann::ordered_json as_json(const RayWalk& walk) {
    const auto get_width = [](unsigned width) {
        return width > 0 ? nlohmann::ordered_json(width) : nlohmann::ordered_json(nullptr);
    };
    return {{"way", walk.way},
            {"node_width", get_width(walk.node_width)},
            {"instance_node_width", get_width(walk.instance_node_width)}};
}

unsigned long long printable(std::uint64_t number) { return number; }

} // namespace

nlohmann::ordered_json RenderReport::get_walks() const {
    nlohmann::ordered_json walks = {{"camera", as_json(get_camera())}};
    // Heat maps are of camera rays alone.
    if (!settings.counts_walks) {
        walks["sun"] = as_json(get_ray_walk(settings.sun_walk, options.get_tree_settings()));
        walks["scattered"] = as_json(get_ray_walk(settings.walk, options.get_tree_settings()));
    }
    return walks;
}

const char* RenderReport::get_instruction_set() const {
    return settings.counts_walks ? get_counted_instruction_set_name() : get_instruction_set_name();
}

RayWalk RenderReport::get_camera() const {
    return get_camera_walk(settings, options.get_tree_settings(),
                           stage.scene->get_sample_count() >= 2);
}

nlohmann::ordered_json RenderReport::get_counts() const {
    const GasWalkCounts& counts = result.walk_counts;
    const auto rays = static_cast<double>(result.ray_counts.camera);
    return {{"visited_nodes", counts.visited_nodes},
            {"leaf_calls", counts.leaf_calls},
            {"nodes_per_ray", static_cast<double>(counts.visited_nodes) / rays},
            {"leaves_per_ray", static_cast<double>(counts.leaf_calls) / rays}};
}

void RenderReport::print_json() const {
    const SceneCounts counts(*stage.scene);
    nlohmann::ordered_json report = {
        {"picture", picture_path},
        {"width", settings.width},
        {"height", settings.height},
        {"samples_per_pixel", settings.samples},
        {"ambient_rays", settings.ambient_rays},
        {"threads", settings.threads},
        {"packet", settings.packet_size},
        {"streams",
         {{"camera", settings.camera_walk == Walk::stream},
          {"sun", settings.sun_walk == Walk::stream},
          {"scattered", settings.walk == Walk::stream}}},
        {"tree", options.tree_kind},
        {"wide_nodes", options.get_tree_settings().has_wide_nodes},
        {"build_method", options.build_method},
        {"motion_samples", stage.scene->get_sample_count()},
        {"walks", get_walks()},
        {"instruction_set", get_instruction_set()},
        {"heat_map", settings.counts_walks},
        {"brute_force", settings.walk == Walk::brute_force},
        {"scene",
         {{"shapes", stage.scene->get_shapes().size()},
          {"instances", stage.scene->get_instances().size()},
          {"items", counts.items},
          {"placed_items", counts.placed_items},
          {"tree_bytes", counts.tree_bytes},
          {"wide_bytes", counts.wide_bytes},
          {"tree_total_bytes", counts.tree_total_bytes}}},
        {"seconds",
         {{"scene", timing.scene},
          {"build", timing.build},
          {"first_pixel", timing.first_pixel},
          {"render", timing.renders.front()},
          {"renders", timing.renders},
          {"write", timing.write},
          {"total", timing.total}}},
        {"peak_resident_bytes", get_peak_as_json()},
        {"rays",
         {{"camera", result.ray_counts.camera},
          {"mirror", result.ray_counts.mirror},
          {"shadow", result.ray_counts.shadow},
          {"ambient", result.ray_counts.ambient},
          {"total", result.ray_counts.get_total()},
          {"per_second",
           static_cast<double>(result.ray_counts.get_total()) / timing.renders.front()}}}};
    if (settings.counts_walks)
        report["counts"] = get_counts();
    if (options.get_tree_settings().kind == TreeKind::grid)
        report["grids"] = as_json(GridCounts(*stage.scene));
    // File names are bytes; those that are not UTF-8 are replaced.
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void RenderReport::print_walks(std::FILE* output) const {
    if (settings.counts_walks) {
        const nlohmann::ordered_json counts = get_counts();
        std::fprintf(output, "camera rays: %.2f nodes and %.2f leaves each (%s)\n",
                     counts["nodes_per_ray"].get<double>(), counts["leaves_per_ray"].get<double>(),
                     get_camera().describe(get_instruction_set()).c_str());
        return;
    }
    const TreeSettings trees = options.get_tree_settings();
    std::fprintf(output, "walks: from the camera %s; to the sun %s; scattered %s\n",
                 get_camera().describe(get_instruction_set()).c_str(),
                 get_ray_walk(settings.sun_walk, trees).describe(get_instruction_set()).c_str(),
                 get_ray_walk(settings.walk, trees).describe(get_instruction_set()).c_str());
}

void RenderReport::print_text(std::FILE* output) const {
    const SceneCounts counts(*stage.scene);
    const double rays = static_cast<double>(result.ray_counts.get_total()) * 1e-6;
    std::fprintf(output,
                 "%s: %u x %u, %zu instances that place %llu items, %s trees, %.2f million rays in "
                 "%.2f s (%.2f million per second)\n",
                 picture_path.c_str(), settings.width, settings.height,
                 stage.scene->get_instances().size(), printable(counts.placed_items),
                 options.tree_kind.c_str(), rays, timing.renders.front(),
                 rays / timing.renders.front());
    for (std::size_t again = 1; again < timing.renders.size(); ++again)
        std::fprintf(output, "once more in %.2f s (%.2f million per second)\n",
                     timing.renders[again], rays / timing.renders[again]);
    std::fprintf(output, "first pixel after %.2f s, everything after %.2f s", timing.first_pixel,
                 timing.total);
    if (const std::optional<std::size_t> peak = get_peak_resident_size())
        std::fprintf(output, ", at most %.1f MB resident", static_cast<double>(*peak) * 1e-6);
    std::fprintf(output, "\n");
    print_walks(output);
    std::fprintf(output, "trees of %.1f MB, %.1f of them wide nodes\n",
                 static_cast<double>(counts.tree_total_bytes) * 1e-6,
                 static_cast<double>(counts.wide_bytes) * 1e-6);
    if (options.get_tree_settings().kind != TreeKind::grid)
        return;
    const GridCounts grids(*stage.scene);
    std::fprintf(output,
                 "grids: %llu cells, %llu of them built (%.2f %%); the build asked for %llu boxes, "
                 "rays for %llu\n",
                 printable(grids.cells), printable(grids.built_cells),
                 100.0 * grids.get_built_share(), printable(grids.asked_by_build),
                 printable(grids.asked_by_rays));
}

} // namespace gas_app
