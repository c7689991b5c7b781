// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <cstdio>

#include <nlohmann/json.hpp>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>
#include <apps/gas/cli/shown_progress.h>

namespace gas_app {

BuildCommand::BuildCommand(CLI::App& app)
    : Command(app, "build", "Build the tree of a mesh and save it, for gas render --load") {
    m_scene.add_to(*m_command);
    m_command
        ->add_option("-o,--output", m_output_path,
                     "The file for the tree, which is usually named .gastree")
        ->type_name("FILE")
        ->required();
}

void BuildCommand::run() const {
    AppBase application(stderr);
    StageSettings settings;
    m_scene.apply(settings, application);
    const TreeSettings tree_settings = m_scene.get_tree_settings();
    if (m_scene.mesh_path.empty())
        throw OptionError("gas build needs a mesh");
    if (tree_settings.kind == TreeKind::grid)
        throw OptionError("--tree grid: a grid is not saved, for it is built as rays reach it");
    check_output_path(m_output_path, m_scene.mesh_path);
    settings.hints_at_up_axis = !m_scene.has_up_axis && !m_scene.quiet;
    const Stage stage = m_scene.make_stage(settings, application);
    m_scene.build_trees(stage, tree_settings, application);
    const TracedTree& tree = stage.scene->get_shapes().front()->get_tree();
    {
        const ShownProgress progress(application, "Saving the tree", m_scene.shows_progress());
        tree.save(m_output_path);
    }
    if (m_scene.json)
        print_json(tree);
    else if (!m_scene.quiet)
        std::printf("%s: the tree of %u items, built in %.1f ms\n", m_output_path.c_str(),
                    tree.get_item_count(), 1e3 * tree.get_build_seconds());
}

void BuildCommand::print_json(const TracedTree& tree) const {
    GasTreeFileInfo info;
    gas_read_tree_info(m_output_path.c_str(), info);
    const nlohmann::ordered_json report = {
        {"mesh", m_scene.mesh_path},         {"output", m_output_path},
        {"tree", get_name(tree.get_kind())}, {"build_method", m_scene.build_method},
        {"leaves", tree.get_item_count()},   {"motion_samples", info.sample_count},
        {"file_bytes", info.file_size},      {"build_seconds", tree.get_build_seconds()}};
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

} // namespace gas_app
