// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/scene_options.h>
#include <apps/gas/farm/tile_file.h>
#include <apps/gas/image/light_picture.h>
#include <apps/gas/image/picture.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

class Stopwatch {
  public:
    /// Seconds since the last call, or since construction.
    double lap() {
        const Clock::time_point now = Clock::now();
        const std::chrono::duration<double> seconds = now - m_lap_start;
        m_lap_start = now;
        return seconds.count();
    }
    /// Seconds from construction to the last lap's end.
    double get_total() const {
        return std::chrono::duration<double>(m_lap_start - m_start).count();
    }

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lap_start = m_start;
};

/// How many trees came to their boxes in each way.
struct TreeSteps {
    unsigned built = 0;
    unsigned refitted = 0;
    unsigned kept = 0;

    void add(const Scene& scene);
};

/// What a command line wants drawn: its stage and trees, made when they are first needed.
class RenderJob {
  public:
    /// Refers to the options and the application.
    RenderJob(const SceneOptions& options, const StageSettings& stage_settings,
              const RenderSettings& settings, const TreeSettings& tree_settings,
              AppBase& application)
        : m_options(options), m_stage_settings(stage_settings), m_settings(settings),
          m_tree_settings(tree_settings), m_application(application) {}

    /// Of the stage that is made, in place of a camera that sees everything.
    void look_at(const LookAt& look_at) { m_look_at = look_at; }
    /// Makes the stage, or does nothing. Throws a UserError.
    void make_stage(bool shows_progress = false);
    /// Makes it as it is in a frame of an animation.
    void go_to(unsigned frame);
    /// Builds the trees of the stage, which is made, or does nothing. Those of a frame are refits
    /// where that is cheap enough, of trees that this builds for earlier frames of the same run.
    void build(bool shows_progress);

    /// Draws the picture, or the costs of a heat map, and fills the bar. `light` is unused where it
    /// has no size.
    RenderResult draw(Picture& picture, LightPicture& light, AppProgressBar& bar);

    /// What tiles are part of; the stage is made.
    TileSource get_source(unsigned tile_count) const;

    const SceneOptions& get_options() const { return m_options; }
    const Stage& get_stage() const { return *m_stage; }
    const RenderSettings& get_settings() const { return m_settings; }
    AppBase& get_application() const { return m_application; }
    /// That the stage and the trees took, all told.
    double get_stage_seconds() const { return m_stage_seconds; }
    double get_build_seconds() const { return m_build_seconds; }
    /// All that were taken, those for frames in between, too.
    const TreeSteps& get_tree_steps() const { return m_tree_steps; }

  private:
    std::string describe_walk() const;
    void build_stage(AppProgressBar& bar, TreeReuse reuse);
    void set_frame(unsigned frame);
    void build_frame(AppProgressBar& bar);

    const SceneOptions& m_options;
    StageSettings m_stage_settings;
    RenderSettings m_settings;
    TreeSettings m_tree_settings;
    AppBase& m_application;
    std::optional<LookAt> m_look_at;
    std::optional<Stage> m_stage;
    bool m_is_built = false;
    /// That the stage shows, and that its trees are of.
    std::optional<unsigned> m_frame;
    std::optional<unsigned> m_built_frame;
    double m_stage_seconds = 0.0;
    double m_build_seconds = 0.0;
    TreeSteps m_tree_steps;
};

} // namespace gas_app
