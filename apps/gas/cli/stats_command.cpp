// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <cmath>
#include <cstdio>

#include <gas/diagnostics/gas_validate.h>
#include <nlohmann/json.hpp>

#include <apps/common/instruction_set.h>
#include <apps/common/user_error.h>
#include <apps/common/walk_name.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

namespace {

// The small picture that is rendered for statistics, in the proportions of the usual one.
constexpr unsigned picture_width = 160;
constexpr unsigned picture_height = 100;

} // namespace

StatsCommand::StatsCommand(CLI::App& app)
    : Command(app, "stats", "Say what the trees of a mesh or scene are like, or a saved tree",
              "A file whose name ends in .gastree is a saved tree; any other is a mesh unless it "
              "begins as one.") {
    m_scene.add_to(*m_command);
    m_command->add_flag("--validate", m_validates,
                        "Look for what is wrong with boxes, trees, their motion samples and wide "
                        "nodes, or with a saved tree, and say it; exits with 1 if anything is");
}

bool StatsCommand::is_saved_tree() const {
    constexpr std::string_view ending = ".gastree";
    GasTreeFileInfo info;
    return !m_scene.mesh_path.empty() && (m_scene.mesh_path.ends_with(ending) ||
                                          gas_read_tree_info(m_scene.mesh_path.c_str(), info));
}

/// Of a saved tree the items are not known. One in which anything is wrong may not load.
void StatsCommand::print_saved_tree() const {
    if (m_validates) {
        std::vector<Flaw> flaws;
        for (const std::string& sentence : gas_validate_tree_file(m_scene.mesh_path.c_str()))
            flaws.push_back({m_scene.mesh_path, sentence});
        if (!flaws.empty())
            return print({}, flaws);
    }
    TracedTree tree;
    TreeSettings settings;
    settings.thread_count = m_scene.get_thread_count();
    tree.load(m_scene.mesh_path, settings);
    Entries entries;
    add_entry("saved tree", tree, entries);
    print(entries, {});
}

void StatsCommand::run() const {
    if (is_saved_tree())
        return print_saved_tree();
    AppBase application(stderr);
    StageSettings settings;
    m_scene.apply(settings, application);
    settings.width = picture_width;
    settings.height = picture_height;
    TreeSettings tree_settings = m_scene.get_tree_settings();
    tree_settings.measures_memory = true;
    const Stage stage = m_scene.make_stage(settings, application);
    m_scene.build_trees(stage, tree_settings, application);

    Entries entries = measure_trees(*stage.scene, application);
    if (!entries.grids.empty())
        render_small_picture(stage, application);
    for (GridEntry& grid : entries.grids)
        grid.look_again();
    print(entries, m_validates ? find_flaws(entries, application) : std::vector<Flaw>());
}

StatsCommand::Entries StatsCommand::measure_trees(const Scene& scene, AppBase& application) const {
    // Of a mesh file, the mesh alone: the floor under it belongs to the program.
    const bool is_mesh = !m_scene.mesh_path.empty();
    const std::size_t count = is_mesh ? 1 : scene.get_shapes().size();
    ShownProgress progress(application, "Measuring trees", m_scene.shows_progress());
    Entries entries;
    for (std::size_t index = 0; index < count; ++index) {
        const Shape& shape = *scene.get_shapes()[index];
        add_entry(shape.get_name(), shape.get_tree(), entries);
        progress.get_bar().set_value(static_cast<float>(index + 1) / static_cast<float>(count));
    }
    if (!is_mesh)
        add_entry("instances", scene.get_tree(), entries);
    return entries;
}

std::vector<StatsCommand::Flaw> StatsCommand::find_flaws(const Entries& entries,
                                                         AppBase& application) const {
    ShownProgress progress(application, "Looking for flaws", m_scene.shows_progress());
    const auto count = static_cast<float>(entries.grids.size() + entries.trees.size());
    std::vector<Flaw> flaws;
    const auto look = [&](const std::string& name, const TracedTree& tree) {
        for (const std::string& sentence : tree.validate())
            flaws.push_back({name, sentence});
        progress.get_bar().set_value(progress.get_bar().get_value() + 1.0f / count);
    };
    for (const GridEntry& grid : entries.grids)
        look(grid.name, *grid.tree);
    for (const Entry& entry : entries.trees)
        look(entry.name, *entry.tree);
    return flaws;
}

/// Flaws go to standard error, and fail the command.
void StatsCommand::print(const Entries& entries, const std::vector<Flaw>& flaws) const {
    if (m_scene.json) {
        print_json(entries, flaws);
    } else if (!m_scene.quiet) {
        for (const GridEntry& grid : entries.grids)
            grid.print_text();
        for (const Entry& entry : entries.trees)
            print_text(entry);
        if (m_validates && flaws.empty())
            std::puts("Nothing is wrong.");
    }
    for (const Flaw& flaw : flaws)
        std::fprintf(stderr, "gas: %s: %s\n", flaw.name.c_str(), flaw.sentence.c_str());
    if (!flaws.empty())
        throw UserError("--validate: something is wrong");
}

void StatsCommand::add_entry(const std::string& name, const TracedTree& tree, Entries& entries) {
    if (tree.get_kind() == TreeKind::grid)
        entries.grids.emplace_back(name, tree);
    else
        entries.trees.push_back(make_entry(name, tree));
}

/// Sends the same rays into the grids each time.
void StatsCommand::render_small_picture(const Stage& stage, AppBase& application) const {
    RenderSettings settings;
    settings.width = picture_width;
    settings.height = picture_height;
    settings.samples = 1;
    settings.ambient_rays = 1;
    settings.threads = m_scene.get_thread_count();
    settings.packet_size = 64;
    ShownProgress progress(application, "Rendering", m_scene.shows_progress());
    Picture picture(settings.width, settings.height);
    render_picture(stage, settings, progress.get_bar(), picture);
}

StatsCommand::Entry StatsCommand::make_entry(const std::string& name, const TracedTree& tree) {
    Entry entry{name, &tree, {}, std::nullopt};
    if (const auto* compressed = std::get_if<GasCompressedTree>(&tree.get_tree())) {
        entry.statistics = get_tree_statistics(*compressed);
        if (!tree.is_loaded())
            entry.tightness = get_tightness(*compressed, tree.get_built_boxes());
    } else {
        entry.statistics = get_tree_statistics(std::get<GasTree>(tree.get_tree()));
    }
    return entry;
}

namespace {

nlohmann::ordered_json as_json(const std::optional<std::size_t>& number) {
    return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json(nullptr);
}

} // namespace

nlohmann::ordered_json StatsCommand::as_json(const Entry& entry) {
    const TreeStatistics& tree = entry.statistics;
    nlohmann::ordered_json report = {
        {"name", entry.name},
        {"tree", get_name(entry.tree->get_kind())},
        {"leaves", tree.leaf_count},
        {"nodes", tree.node_count},
        {"node_width", get_node_width(tree.wide_bytes > 0)},
        {"depth", tree.depth},
        {"mean_leaf_depth", tree.mean_leaf_depth},
        {"memory_bytes", tree.memory_bytes},
        {"node_bytes", tree.node_bytes},
        {"bytes_per_item", tree.bytes_per_item},
        {"motion_samples", tree.motion_sample_count},
        {"motion_bytes", tree.motion_bytes},
        {"wide_bytes", tree.wide_bytes},
        {"wide_bytes_per_item", tree.wide_bytes_per_item},
        {"total_bytes", tree.total_bytes},
        {"build_peak_bytes", gas_app::as_json(entry.tree->get_build_peak())},
        {"sah_cost", tree.sah_cost},
        {entry.tree->is_loaded() ? "load_seconds" : "build_seconds",
         entry.tree->get_build_seconds()},
        {"leaves_per_level", tree.leaves_per_level}};
    if (entry.tightness) {
        report["scale"] = entry.tree->get_scale();
        report["exact_sah_cost"] = entry.tightness->exact_sah_cost;
        report["tightness"] = entry.tightness->mean_ratio;
        report["tightness_per_level"] = entry.tightness->mean_ratio_per_level;
    }
    return report;
}

void StatsCommand::print_json(const Entries& entries, const std::vector<Flaw>& flaws) const {
    nlohmann::ordered_json trees = nlohmann::ordered_json::array();
    for (const GridEntry& grid : entries.grids)
        trees.push_back(grid.as_json());
    for (const Entry& entry : entries.trees)
        trees.push_back(as_json(entry));
    nlohmann::ordered_json report = {{"mesh", m_scene.mesh_path},
                                     {"tree", m_scene.tree_kind},
                                     {"build_method", m_scene.build_method},
                                     {"threads", m_scene.get_thread_count()},
                                     {"instruction_set", get_instruction_set_name()},
                                     {"sah_inner_node_cost", TreeStatistics::inner_node_cost},
                                     {"sah_leaf_cost", TreeStatistics::leaf_cost},
                                     {"trees", std::move(trees)}};
    if (m_validates) {
        report["flaws"] = nlohmann::ordered_json::array();
        for (const Flaw& flaw : flaws)
            report["flaws"].push_back({{"tree", flaw.name}, {"flaw", flaw.sentence}});
    }
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void StatsCommand::print_text(const Entry& entry) {
    const TreeStatistics& tree = entry.statistics;
    std::printf("%s\n", entry.name.c_str());
    if (const auto* plain = std::get_if<GasTree>(&entry.tree->get_tree()))
        plain->print(); // to standard output, too
    std::printf("  tree             %s\n", get_name(entry.tree->get_kind()).data());
    std::printf("  leaves           %u\n", tree.leaf_count);
    std::printf("  nodes            %u\n", tree.node_count);
    std::printf("  node width       %u boxes to a ray, %s\n", get_node_width(tree.wide_bytes > 0),
                get_instruction_set_name());
    std::printf("  depth            %u, leaves at %.2f on average\n", tree.depth,
                tree.mean_leaf_depth);
    std::printf("  memory           %zu bytes, %zu of them nodes; %.1f per item\n",
                tree.memory_bytes, tree.node_bytes, tree.bytes_per_item);
    if (tree.motion_sample_count > 0)
        std::printf("  motion           %zu bytes for %u samples\n", tree.motion_bytes,
                    tree.motion_sample_count);
    if (tree.wide_bytes > 0)
        std::printf("  wide nodes       %zu bytes, %.1f per item\n", tree.wide_bytes,
                    tree.wide_bytes_per_item);
    if (tree.total_bytes > tree.memory_bytes)
        std::printf("  in all           %zu bytes, %.1f per item\n", tree.total_bytes,
                    static_cast<double>(tree.total_bytes) / tree.leaf_count);
    if (const std::optional<std::size_t> peak = entry.tree->get_build_peak())
        std::printf("  build peak       %zu bytes, %.1f per item\n", *peak,
                    static_cast<double>(*peak) / tree.leaf_count);
    std::printf("  SAH cost         %.3f (inner node %g, leaf %g)\n", tree.sah_cost,
                TreeStatistics::inner_node_cost, TreeStatistics::leaf_cost);
    if (entry.tightness) {
        std::printf("  of exact boxes   %.3f\n", entry.tightness->exact_sah_cost);
        std::printf("  tightness        %.4f, decoded over exact area on average\n",
                    entry.tightness->mean_ratio);
        std::printf("  scale            %g\n", entry.tree->get_scale());
    }
    std::printf("  %s            %.1f ms\n", entry.tree->is_loaded() ? "load " : "build",
                1e3 * entry.tree->get_build_seconds());
    print_levels(entry);
    std::printf("\n");
}

/// A bar for the leaves of each level that has any; for compressed trees the tightness of each
/// level.
void StatsCommand::print_levels(const Entry& entry) {
    const std::vector<unsigned>& leaves = entry.statistics.leaves_per_level;
    std::printf("  leaves per level%s\n", entry.tightness ? ", with its tightness" : "");
    constexpr double widest_bar = 50.0;
    unsigned most = 1;
    for (const unsigned count : leaves)
        most = std::max(most, count);
    for (std::size_t level = 0; level < leaves.size(); ++level) {
        if (leaves[level] == 0 && !entry.tightness)
            continue;
        const double share = static_cast<double>(leaves[level]) / most;
        const std::string bar(static_cast<std::size_t>(std::lround(widest_bar * share)), '#');
        std::printf("  %8zu  %9u  ", level + 1, leaves[level]);
        if (entry.tightness)
            std::printf("%7.4f  ", entry.tightness->mean_ratio_per_level[level]);
        std::printf("%s\n", bar.c_str());
    }
}

} // namespace gas_app
