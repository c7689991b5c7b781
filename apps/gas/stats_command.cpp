#include "stats_command.h"

#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace gas_app {

StatsCommand::StatsCommand(CLI::App& app)
    : m_command(app.add_subcommand(
          "stats", "Say what the trees of a mesh or of the procedural scene are like")) {
    m_scene.add_to(*m_command);
}

void StatsCommand::run() const {
    AppBase application(m_scene.json ? stderr : stdout);
    StageSettings settings;
    m_scene.apply(settings, application);
    const Stage stage = m_scene.make_stage(settings);
    AppProgressBar& bar =
        *application.create_progress_bar("Building trees", m_scene.shows_progress());
    stage.scene->build(stage.camera.get_position(), bar);
    bar.finish();

    std::vector<Entry> entries;
    const auto add = [&entries](const std::string& name, const TracedTree& tree) {
        entries.push_back({name, &tree.get_tree(), tree.get_build_seconds(),
                           get_tree_statistics(tree.get_tree())});
    };
    for (const auto& shape : stage.scene->get_shapes())
        add(shape->get_name(), shape->get_tree());
    add("instances", stage.scene->get_tree());
    // Of a mesh file, the mesh alone: the floor under it is the program's.
    if (!m_scene.mesh_path.empty())
        entries.resize(1);

    if (m_scene.json)
        print_json(entries);
    else if (!m_scene.quiet)
        for (const Entry& entry : entries)
            print_text(entry);
}

void StatsCommand::print_json(const std::vector<Entry>& entries) const {
    nlohmann::ordered_json trees = nlohmann::ordered_json::array();
    for (const Entry& entry : entries) {
        const TreeStatistics& tree = entry.statistics;
        trees.push_back({{"name", entry.name},
                         {"leaves", tree.leaf_count},
                         {"nodes", tree.node_count},
                         {"depth", tree.depth},
                         {"mean_leaf_depth", tree.mean_leaf_depth},
                         {"memory_bytes", tree.memory_bytes},
                         {"node_bytes", tree.node_bytes},
                         {"bytes_per_item", tree.bytes_per_item},
                         {"sah_cost", tree.sah_cost},
                         {"build_seconds", entry.build_seconds},
                         {"leaves_per_level", tree.leaves_per_level}});
    }
    const nlohmann::ordered_json report = {{"mesh", m_scene.mesh_path},
                                           {"build_method", m_scene.build_method},
                                           {"sah_inner_node_cost", TreeStatistics::inner_node_cost},
                                           {"sah_leaf_cost", TreeStatistics::leaf_cost},
                                           {"trees", std::move(trees)}};
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void StatsCommand::print_text(const Entry& entry) {
    const TreeStatistics& tree = entry.statistics;
    std::printf("%s\n", entry.name.c_str());
    entry.tree->print(); // to standard output, too
    std::printf("  leaves           %u\n", tree.leaf_count);
    std::printf("  nodes            %u\n", tree.node_count);
    std::printf("  depth            %u, leaves at %.2f on average\n", tree.depth,
                tree.mean_leaf_depth);
    std::printf("  memory           %zu bytes, %zu of them nodes; %.1f per item\n",
                tree.memory_bytes, tree.node_bytes, tree.bytes_per_item);
    std::printf("  SAH cost         %.3f (inner node %g, leaf %g)\n", tree.sah_cost,
                TreeStatistics::inner_node_cost, TreeStatistics::leaf_cost);
    std::printf("  build            %.1f ms\n", 1e3 * entry.build_seconds);
    std::printf("  leaves per level\n");

    constexpr double widest_bar = 50.0;
    unsigned most = 1;
    for (const unsigned count : tree.leaves_per_level)
        most = std::max(most, count);
    for (std::size_t level = 0; level < tree.leaves_per_level.size(); ++level) {
        const unsigned count = tree.leaves_per_level[level];
        if (count == 0)
            continue;
        const double share = static_cast<double>(count) / most;
        const std::string bar(static_cast<std::size_t>(std::lround(widest_bar * share)), '#');
        std::printf("  %8zu  %9u  %s\n", level + 1, count, bar.c_str());
    }
    std::printf("\n");
}

} // namespace gas_app
