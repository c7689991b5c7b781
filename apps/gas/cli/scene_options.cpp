// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/scene_options.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/help_text.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/shown_progress.h>

namespace gas_app {

void SceneOptions::add_to(CLI::App& command, std::vector<std::string>* meshes) {
    const char* const files = "A Wavefront OBJ, PLY or STL file; without one the procedural scene";
    CLI::Option* mesh = meshes ? command.add_option("mesh", *meshes, files)
                               : command.add_option("mesh", mesh_path, files);
    mesh->type_name("FILE");
    CLI::Option* items =
        command
            .add_option("--items", item_count,
                        "In place of the procedural scene a forest of so many leaves, whose boxes "
                        "are computed when they are asked for")
            ->check(whole_number(1, largest_item_count))
            ->excludes(mesh);
    command.add_option("--build", build_method, "How trees are built")
        ->type_name(list_choices(build_method_names))
        ->capture_default_str();
    command
        .add_option("--tree", tree_kind,
                    "The kind of trees: plain; compressed to a quarter of the memory; or grid: of "
                    "shapes, built cell by cell when rays reach them (instances have a plain one)")
        ->type_name(list_choices(tree_kind_names))
        ->capture_default_str();
    command
        .add_option("--wide", wide_nodes,
                    "Whether plain trees have wide nodes, which rays walk faster for more memory")
        ->type_name("on|off")
        ->capture_default_str();
    command
        .add_option("--cells", cell_count,
                    "With --tree grid: about how many cells each shape is divided into, but no "
                    "more than it has items; usually its items / 128")
        ->check(whole_number(1, largest_item_count));
    command.add_flag("--cell-progress", cell_bars,
                     "With --tree grid: give the tree of each cell a progress bar, which is not "
                     "shown. Without bars grids are built by sah-fast, so any other --build "
                     "implies them");
    command
        .add_option("--threads", threads,
                    "Threads that build trees and render; 0: one for each processor. The tree of a "
                    "grid's cell is built by the thread whose ray reaches it")
        ->check(whole_number(0, 1024))
        ->capture_default_str();
    command.add_flag("--motion", motion, "Let things move while the shutter is open");
    command
        .add_option("--up", up_axis,
                    "The mesh's axis that points up; without it a picture's mesh with a flat foot "
                    "along another axis is pointed out")
        ->type_name("x|y|z")
        ->capture_default_str()
        ->each([this](const std::string&) { has_up_axis = true; })
        ->excludes(items);
    command
        .add_option("--detail", detail,
                    "Items of the procedural scene, compared with the usual: 0.001 to 20")
        ->type_name("FACTOR")
        ->capture_default_str()
        ->excludes(items);
    command.add_flag("--json", json, "Write results to standard output as JSON");
    command.add_flag("--quiet", quiet,
                     "Show no progress on standard error, and no results unless as JSON");
}

void SceneOptions::apply(StageSettings& settings, AppBase& application) const {
    settings.up_axis = parse_axis(up_axis);
    settings.motion = motion;
    settings.detail = parse_number(detail, "--detail", 0.001, 20.0);
    application.set_build_method(parse_build_method(build_method));
}

TreeSettings SceneOptions::get_tree_settings() const {
    TreeSettings settings;
    settings.kind = parse_tree_kind(tree_kind);
    settings.has_wide_nodes = parse_switch(wide_nodes, "--wide");
    settings.cell_count = cell_count;
    settings.thread_count = get_thread_count();
    settings.has_cell_bars = cell_bars || build_method != usual_build_method;
    if (settings.kind != TreeKind::grid && cell_count > 0)
        throw OptionError("--cells: only the trees of --tree grid have cells");
    if (settings.kind != TreeKind::grid && cell_bars)
        throw OptionError("--cell-progress: only the trees of --tree grid have cells");
    return settings;
}

unsigned SceneOptions::get_thread_count() const {
    return threads > 0 ? threads : std::max(1u, std::thread::hardware_concurrency());
}

std::string SceneOptions::get_name() const {
    if (!mesh_path.empty())
        return std::filesystem::path(mesh_path).filename().string();
    return item_count > 0 ? "forest" : "procedural scene";
}

Stage SceneOptions::make_stage(StageSettings settings, AppBase& application) const {
    ShownProgress progress(application, mesh_path.empty() ? "Making the scene" : "Reading the mesh",
                           shows_progress());
    settings.progress_bar = &progress.get_bar();
    return make_stage(settings);
}

Stage SceneOptions::make_stage(const StageSettings& settings) const {
    if (item_count > 0)
        return make_forest_stage(settings, item_count);
    return mesh_path.empty() ? make_default_stage(settings) : make_mesh_stage(settings, mesh_path);
}

void SceneOptions::build_trees(const Stage& stage, const TreeSettings& settings,
                               AppBase& application) const {
    constexpr bool is_logged = true;
    ShownProgress progress(application, "Building trees", shows_progress(), is_logged);
    stage.scene->build(stage.camera.get_position(), progress.get_bar(), settings);
}

} // namespace gas_app
