// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include <apps/gas/cli/ray_walk.h>
#include <apps/gas/cli/scene_options.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

/// What `gas render` reports of a picture.
struct RenderReport {
    /// In seconds.
    struct Timing {
        double scene = 0.0;
        double build = 0.0;
        /// From the first part of the program's work to the end of the first tile.
        double first_pixel = 0.0;
        /// Of each picture; all are the same.
        std::vector<double> renders;
        double write = 0.0;
        double total = 0.0;
    };

    const SceneOptions& options;
    const Stage& stage;
    const RenderSettings& settings;
    const Timing& timing;
    /// Of one picture.
    const RenderResult& result;
    /// Where the picture is.
    std::string picture_path;

    void print_json() const;
    void print_text(std::FILE* output) const;

  private:
    const char* get_instruction_set() const;
    RayWalk get_camera() const;
    nlohmann::ordered_json get_walks() const;
    nlohmann::ordered_json get_counts() const;
    void print_walks(std::FILE* output) const;
};

} // namespace gas_app
