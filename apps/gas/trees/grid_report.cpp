// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/grid_report.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

#include <apps/common/instruction_set.h>
#include <apps/common/walk_name.h>

namespace gas_app {

namespace {

nlohmann::ordered_json get_state(const GridStatistics& grid) {
    return {{"built_cells", grid.built_cell_count},
            {"memory_bytes", grid.memory_bytes},
            {"list_bytes", grid.list_bytes},
            {"motion_bytes", grid.motion_bytes},
            {"total_bytes", grid.get_total_bytes()}};
}

void print_state(const char* when, const GridStatistics& grid) {
    std::printf("  %s\n", when);
    std::printf("    built cells    %u of %u (%.2f %%)\n", grid.built_cell_count, grid.cell_count,
                100.0 * grid.built_cell_count / std::max(1u, grid.cell_count));
    std::printf("    memory         %zu bytes, and %zu of lists", grid.memory_bytes,
                grid.list_bytes);
    if (grid.motion_sample_count > 0)
        std::printf(", and %zu for %u motion samples", grid.motion_bytes, grid.motion_sample_count);
    std::printf("; %zu in all, %.1f per item\n", grid.get_total_bytes(),
                static_cast<double>(grid.get_total_bytes()) / std::max(1u, grid.item_count));
}

/// A bar for the cells of each size.
void print_sizes(const std::vector<unsigned>& cells_per_size) {
    std::printf("  cells by the number of their items\n");
    constexpr double widest_bar = 50.0;
    unsigned most = 1;
    for (const unsigned count : cells_per_size)
        most = std::max(most, count);
    for (std::size_t entry = 0; entry < cells_per_size.size(); ++entry) {
        if (cells_per_size[entry] == 0)
            continue;
        const double share = static_cast<double>(cells_per_size[entry]) / most;
        const std::string bar(static_cast<std::size_t>(std::lround(widest_bar * share)), '#');
        const std::size_t low = std::size_t{1} << entry;
        std::printf("  %8zu to %8zu  %9u  %s\n", low, 2 * low - 1, cells_per_size[entry],
                    bar.c_str());
    }
}

} // namespace

nlohmann::ordered_json GridEntry::as_json() const {
    nlohmann::ordered_json report = {{"name", name},
                                     {"tree", "grid"},
                                     {"items", after.item_count},
                                     {"node_width", get_node_width(false)},
                                     {"cells", after.cell_count},
                                     {"largest_cell", after.largest_cell},
                                     {"cells_per_size", after.cells_per_size},
                                     {"motion_samples", after.motion_sample_count},
                                     {"scale", tree->get_scale()},
                                     {"build_seconds", tree->get_build_seconds()},
                                     {"build_peak_bytes", nullptr},
                                     {"boxes_asked_by_build", tree->get_boxes_asked_by_build()},
                                     {"boxes_asked_by_rays", tree->get_boxes_asked_by_rays()},
                                     {"before_picture", get_state(before)},
                                     {"after_picture", get_state(after)}};
    if (const std::optional<std::size_t> peak = tree->get_build_peak())
        report["build_peak_bytes"] = *peak;
    return report;
}

void GridEntry::print_text() const {
    std::printf("%s\n", name.c_str());
    std::printf("  tree             grid\n");
    std::printf("  items            %u\n", after.item_count);
    std::printf("  node width       %u boxes to a ray, %s\n", get_node_width(false),
                get_instruction_set_name());
    std::printf("  cells            %u with items, %.1f on average, at most %u\n", after.cell_count,
                static_cast<double>(after.item_count) / std::max(1u, after.cell_count),
                after.largest_cell);
    print_state("before a picture", before);
    print_state("after a picture", after);
    std::printf("  boxes asked for  %llu by the build, %llu by rays\n",
                static_cast<unsigned long long>(tree->get_boxes_asked_by_build()),
                static_cast<unsigned long long>(tree->get_boxes_asked_by_rays()));
    if (const std::optional<std::size_t> peak = tree->get_build_peak())
        std::printf("  build peak       %zu bytes, %.1f per item\n", *peak,
                    static_cast<double>(*peak) / std::max(1u, after.item_count));
    std::printf("  scale            %g\n", tree->get_scale());
    std::printf("  build            %.1f ms\n", 1e3 * tree->get_build_seconds());
    print_sizes(after.cells_per_size);
    std::printf("\n");
}

} // namespace gas_app
