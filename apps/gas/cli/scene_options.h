// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <apps/gas/scene/stage.h>
#include <apps/gas/trees/tree_kind.h>

namespace gas_app {

/// The options that subcommands share: which scene, and how its trees are built.
struct SceneOptions {
    /// The build method of trees without a progress bar.
    static constexpr const char* usual_build_method = "sah-fast";
    static constexpr unsigned largest_item_count = 200'000'000;

    std::string mesh_path;
    std::string up_axis = "y";
    std::string detail = "1";
    std::string build_method = usual_build_method;
    std::string tree_kind = "plain";
    std::string wide_nodes = "on";
    /// 0: not chosen.
    unsigned item_count = 0;
    unsigned cell_count = 0;
    /// 0: one for each processor.
    unsigned threads = 0;
    /// Whether the axis was chosen.
    bool has_up_axis = false;
    bool cell_bars = false;
    bool motion = false;
    bool json = false;
    bool quiet = false;

    /// `meshes`: takes the names of any number of meshes, in place of `mesh_path`; null: there is
    /// one at most.
    void add_to(CLI::App& command, std::vector<std::string>* meshes = nullptr);
    /// Reads the values; throws a UserError.
    void apply(StageSettings& settings, AppBase& application) const;
    TreeSettings get_tree_settings() const;
    /// At least 1.
    unsigned get_thread_count() const;
    /// The stage, without its trees.
    Stage make_stage(const StageSettings& settings) const;
    /// As above, with its progress.
    Stage make_stage(StageSettings settings, AppBase& application) const;
    /// Builds the stage's trees, with their progress.
    void build_trees(const Stage& stage, const TreeSettings& settings, AppBase& application) const;
    /// Of the mesh's file, or of the procedural scene.
    std::string get_name() const;
    /// Whether progress is shown, on standard error.
    bool shows_progress() const { return !quiet; }
};

} // namespace gas_app
