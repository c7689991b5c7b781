#pragma once

#include <vector>

#include <apps/gas/cli/scene_options.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

/// In seconds.
struct RenderTiming {
    double scene = 0.0;
    double build = 0.0;
    /// From the first part of the program's work to the end of the first tile.
    double first_pixel = 0.0;
    /// Of each picture; all are the same.
    std::vector<double> renders;
    double write = 0.0;
    double total = 0.0;
};

/// What `gas render` reports of a picture.
struct RenderReport {
    const SceneOptions& options;
    const Stage& stage;
    const RenderSettings& settings;
    const RenderTiming& timing;
    /// Of one picture.
    const RayCounts& ray_counts;
    std::string picture_path;

    void print_json() const;
    void print_text() const;
};

} // namespace gas_app
