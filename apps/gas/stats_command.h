#pragma once

#include "scene_options.h"
#include "tree_statistics.h"

namespace gas_app {

/// `gas stats`: what the trees of a mesh or of the procedural scene are like.
class StatsCommand {
  public:
    explicit StatsCommand(CLI::App& app);

    bool is_chosen() const { return m_command->parsed(); }
    void run() const;

  private:
    struct Entry {
        std::string name;
        const GasTree* tree;
        double build_seconds;
        TreeStatistics statistics;
    };

    void print_json(const std::vector<Entry>& entries) const;
    static void print_text(const Entry& entry);

    CLI::App* m_command;
    SceneOptions m_scene;
};

} // namespace gas_app
