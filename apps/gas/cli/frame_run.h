// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/cli/picture_output.h>
#include <apps/gas/cli/render_job.h>
#include <apps/gas/farm/frames.h>

namespace gas_app {

/// Renders frames of an animation one after the other, and reports.
class FrameRun {
  public:
    /// `pattern` and `format` are of the pictures' files.
    FrameRun(RenderJob& job, const FrameChoice& frames, const std::string& pattern,
             const std::string& format)
        : m_job(job), m_frames(frames), m_pattern(pattern), m_format(format) {}

    void run();

  private:
    struct TreeReport {
        std::string name;
        TreeStep step;
        /// By the surface area heuristic, now and when it was built; 0 where it is not known.
        double cost;
        double built_cost;
    };
    struct FrameReport {
        unsigned frame = 0;
        /// Of its own trees, not of those of frames before it.
        TreeSteps steps;
        std::vector<TreeReport> trees;
        double scene_seconds = 0.0;
        double tree_seconds = 0.0;
        double render_seconds = 0.0;

        /// The tree that refits made dearest; null: no tree was refitted.
        const TreeReport* find_dearest() const;
    };

    void render(unsigned frame, AppProgressBar& bar);
    void add_trees(FrameReport& report) const;
    void print() const;
    void print_json() const;

    RenderJob& m_job;
    FrameChoice m_frames;
    std::string m_pattern;
    std::string m_format;
    std::vector<FrameReport> m_reports;
    double m_total_seconds = 0.0;
};

} // namespace gas_app
