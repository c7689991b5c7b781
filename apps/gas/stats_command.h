#pragma once

#include <optional>

#include "compressed_statistics.h"
#include "scene_options.h"

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
        const TracedTree* tree;
        TreeStatistics statistics;
        /// Of compressed trees.
        std::optional<Tightness> tightness;
    };

    static Entry make_entry(const std::string& name, const TracedTree& tree);
    void print_json(const std::vector<Entry>& entries) const;
    static void print_text(const Entry& entry);
    static void print_levels(const Entry& entry);

    CLI::App* m_command;
    SceneOptions m_scene;
};

} // namespace gas_app
