#pragma once

#include <optional>

#include <apps/gas/cli/scene_options.h>
#include <apps/gas/report/compressed_statistics.h>
#include <apps/gas/trees/grid_report.h>

namespace gas_app {

/// `gas stats`: statistics of the trees of a mesh or of the procedural scene.
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

    /// A tree has an entry in one of the two.
    struct Entries {
        std::vector<GridEntry> grids;
        std::vector<Entry> trees;
    };

    static Entry make_entry(const std::string& name, const TracedTree& tree);
    static void add_entry(const std::string& name, const TracedTree& tree, Entries& entries);
    void render_small_picture(const Stage& stage, AppBase& application) const;
    void print_json(const Entries& entries) const;
    static nlohmann::ordered_json as_json(const Entry& entry);
    static void print_text(const Entry& entry);
    static void print_levels(const Entry& entry);

    CLI::App* m_command;
    SceneOptions m_scene;
};

} // namespace gas_app
