#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "stage.h"
#include "tree_kind.h"

namespace gas_app {

/// What subcommands have in common: which scene, and how its trees are built.
struct SceneOptions {
    std::string mesh_path;
    std::string up_axis = "y";
    std::string detail = "1";
    std::string build_method = "sah-fast";
    std::string tree_kind = "plain";
    bool motion = false;
    bool json = false;
    bool quiet = false;

    void add_to(CLI::App& command);
    /// Reads the values; throws a UserError.
    void apply(StageSettings& settings, AppBase& application) const;
    TreeKind get_tree_kind() const;
    /// The stage, its trees not yet built.
    Stage make_stage(const StageSettings& settings) const;
    /// Whether progress may be shown; with `json` it goes to standard error.
    bool shows_progress() const { return !quiet; }
};

} // namespace gas_app
