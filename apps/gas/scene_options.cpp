#include "scene_options.h"

#include "option_values.h"

namespace gas_app {

void SceneOptions::add_to(CLI::App& command) {
    command.add_option("mesh", mesh_path, "A Wavefront OBJ file; without one the procedural scene");
    command
        .add_option("--build", build_method, "How trees are built: median, hybrid, sah-fast or sah")
        ->capture_default_str();
    command
        .add_option("--tree", tree_kind,
                    "The kind of trees: plain, or compressed to a quarter of the memory")
        ->capture_default_str();
    command.add_flag("--motion", motion, "Let things move while the shutter is open");
    command.add_option("--up", up_axis, "The mesh's axis that points up: x, y or z")
        ->capture_default_str();
    command
        .add_option("--detail", detail,
                    "Items of the procedural scene, compared with the usual: 0.001 to 20")
        ->capture_default_str();
    command.add_flag("--json", json, "Write results to standard output as JSON");
    command.add_flag("--quiet", quiet, "Show no progress, and no results unless as JSON");
}

void SceneOptions::apply(StageSettings& settings, AppBase& application) const {
    settings.up_axis = parse_axis(up_axis);
    settings.motion = motion;
    settings.detail = parse_number(detail, "--detail", 0.001, 20.0);
    application.set_build_method(parse_build_method(build_method));
}

TreeKind SceneOptions::get_tree_kind() const { return parse_tree_kind(tree_kind); }

Stage SceneOptions::make_stage(const StageSettings& settings) const {
    return mesh_path.empty() ? make_default_stage(settings) : make_mesh_stage(settings, mesh_path);
}

} // namespace gas_app
