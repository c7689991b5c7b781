// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <gas/tree/gas_tree.h>

#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/picture_output.h>
#include <apps/gas/cli/scene_options.h>
#include <apps/gas/farm/frames.h>
#include <apps/gas/math/vector_math.h>
#include <apps/gas/page/report_maker.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/render/renderer.h>
#include <apps/gas/report/compressed_statistics.h>
#include <apps/gas/trees/grid_report.h>

// The program's commands. Each adds its options to the command line when it is made, and runs when
// it was chosen there.

namespace gas_app {

class Comparison;
class RenderJob;
class Team;
class ViewSession;
struct HttpRequest;
struct HttpResponse;
struct VerificationSettings;
struct ViewRequest;

/// A subcommand. The command line refers to its members.
class Command {
  public:
    /// `description`: a line of the list of commands; `details`: what else help tells of it.
    Command(CLI::App& app, const std::string& name, const std::string& description,
            const std::string& details = "")
        : m_command(app.add_subcommand(name, description)) {
        m_command->footer(details);
    }
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    bool is_chosen() const { return m_command->parsed(); }
    virtual void run() const = 0;

  protected:
    CLI::App* m_command;
};

/// `gas render`: a picture of a mesh or of the procedural scene.
class RenderCommand : public Command {
  public:
    /// With a team (may be null), its processes share each picture.
    explicit RenderCommand(CLI::App& app, Team* team = nullptr);
    void run() const override;

  private:
    CLI::Option& add_tile_options();
    TileChoice choose_tiles(const RenderSettings& settings) const;
    void add_frame_options(CLI::Option& repeat, CLI::Option& load);
    RenderSettings get_render_settings() const;
    TreeSettings get_tree_settings() const;
    PictureOutput get_output(const std::string& path) const;
    void draw(RenderJob& job, const PictureOutput& output) const;
    void make_tiles(RenderJob& job, const std::optional<FrameChoice>& frames) const;
    std::optional<FrameChoice> get_frames() const;

    Team* m_team;
    SceneOptions m_scene;
    std::string m_output_path;
    /// Empty: none.
    std::string m_saved_path;
    /// Empty: not chosen.
    std::string m_format;
    std::string m_size = "640x400";
    std::string m_view;
    std::string m_look_at;
    std::optional<std::string> m_tiles;
    std::optional<std::string> m_frames;
    std::string m_animation = "turn";
    std::string m_refit_limit = "1.2";
    /// Empty: beside the picture.
    std::string m_tiles_folder;
    unsigned m_samples = 12;
    unsigned m_ambient_rays = 3;
    /// 0: not chosen.
    unsigned m_packet_size = 0;
    unsigned m_render_count = 1;
    std::string m_seed = "1";
    std::string m_stream = "on";
    bool m_heat_map = false;
    bool m_brute_force = false;
};

/// `gas merge`: a picture from its tiles.
class MergeCommand : public Command {
  public:
    explicit MergeCommand(CLI::App& app);
    /// Throws a UserError where a tile is missing, damaged or of another picture.
    void run() const override;

  private:
    std::vector<std::string> m_paths;
    std::string m_output_path;
    std::string m_format;
    bool m_json = false;
    bool m_quiet = false;
};

/// `gas build`: the tree of a mesh, saved.
class BuildCommand : public Command {
  public:
    explicit BuildCommand(CLI::App& app);
    void run() const override;

  private:
    void print_json(const TracedTree& tree) const;

    SceneOptions m_scene;
    std::string m_output_path;
};

/// `gas stats`: statistics of the trees of a mesh or of the procedural scene, or of a saved tree.
class StatsCommand : public Command {
  public:
    explicit StatsCommand(CLI::App& app);
    void run() const override;

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

    /// A sentence on what is wrong, and with what.
    struct Flaw {
        std::string name;
        std::string sentence;
    };

    static Entry make_entry(const std::string& name, const TracedTree& tree);
    static void add_entry(const std::string& name, const TracedTree& tree, Entries& entries);
    bool is_saved_tree() const;
    void print_saved_tree() const;
    void render_small_picture(const Stage& stage, AppBase& application) const;
    Entries measure_trees(const Scene& scene, AppBase& application) const;
    std::vector<Flaw> find_flaws(const Entries& entries, AppBase& application) const;
    void print(const Entries& entries, const std::vector<Flaw>& flaws) const;
    void print_json(const Entries& entries, const std::vector<Flaw>& flaws) const;
    static nlohmann::ordered_json as_json(const Entry& entry);
    static void print_text(const Entry& entry);
    static void print_levels(const Entry& entry);

    SceneOptions m_scene;
    bool m_validates = false;
};

/// `gas report`: one page about the trees of meshes, of the procedural scene, or of saved trees.
class ReportCommand : public Command {
  public:
    explicit ReportCommand(CLI::App& app);
    void run() const override;

  private:
    ReportSettings get_settings(std::size_t subject_count) const;
    ReportSubject make_subject(const std::string& path, const ReportSettings& settings,
                               AppBase& application, AppProgressBar& bar, float share) const;
    std::vector<ReportSubject> make_subjects() const;

    SceneOptions m_scene;
    std::vector<std::string> m_mesh_paths;
    std::vector<std::string> m_saved_paths;
    std::string m_output_path;
    /// Empty: the usual one.
    std::string m_size;
    std::string m_view;
    unsigned m_samples = 8;
    unsigned m_rounds = 2;
};

/// `gas query`: the leaves of a mesh's tree in a box or near a point. A leaf is a triangle: its
/// number is the triangle's, its box the exact one.
class QueryCommand : public Command {
  public:
    explicit QueryCommand(CLI::App& app);
    void run() const override;

  private:
    using Boxes = CoreArray<GMathBbox3<float>>;
    /// A leaf that was found; the distance is that of its box's centre from the point.
    struct Found {
        unsigned leaf;
        float distance;
    };

    /// The query, which is read before the mesh.
    struct Question {
        GMathBbox3<float> box;
        Vec3f point;
        float max_distance;
    };

    Question read_question() const;
    std::vector<Found> find_in_box(const GasTree& tree, const Question& question) const;
    std::vector<Found> find_nearest(const GasTree& tree, const Question& question) const;
    void print_json(const Boxes& boxes, const Question& question,
                    const std::vector<Found>& found) const;
    void print_text(const Boxes& boxes, const std::vector<Found>& found) const;

    std::string m_mesh_path;
    std::string m_build_method = "sah-fast";
    std::string m_box;
    std::string m_point;
    std::string m_max_distance;
    std::string m_tree_kind = "plain";
    unsigned m_count = 1;
    bool m_json = false;
};

/// `gas verify`: whether all trees and ways find the same.
class VerifyCommand : public Command {
  public:
    explicit VerifyCommand(CLI::App& app);

    /// Throws a UserError where something differs.
    void run() const override;

  private:
    VerificationSettings get_settings(AppBase& application) const;
    void print_json(const Comparison& comparison, unsigned visit_count) const;

    std::string m_mesh_path;
    std::string m_seed = "1";
    std::string m_build_method = "all";
    unsigned m_ray_count = 10'000;
    /// 0: not chosen.
    unsigned m_item_count = 0;
    /// 0: one for each processor.
    unsigned m_threads = 0;
    bool m_in_turn = false;
    bool m_json = false;
};

/// `gas view`: a page in a browser, drawn live.
class ViewCommand : public Command {
  public:
    explicit ViewCommand(CLI::App& app);
    void run() const override;

  private:
    nlohmann::ordered_json describe(const ViewSession& session, const ViewRequest& usual) const;
    HttpResponse answer(ViewSession& session, const ViewRequest& usual,
                        const HttpRequest& request) const;
    ViewRequest get_usual(const Stage& stage) const;

    SceneOptions m_scene;
    unsigned m_port = 0;
};

} // namespace gas_app
