// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/image/light_picture.h>
#include <apps/gas/image/picture.h>
#include <apps/gas/render/pixel_tracer.h>

namespace gas_app {

struct RenderResult {
    RayCounts ray_counts;
    /// Where walks are counted.
    GasWalkCounts walk_counts;
    double seconds = 0.0;
    /// Until the first tile was done.
    double first_tile_seconds = 0.0;
};

/// Both compute the picture of a stage with built trees, tile by tile on the threads of the
/// settings, and fill the progress bar.

/// The picture of the stage; with `light` (may be null), which has its size, the light as well.
RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture,
                            LightPicture* light = nullptr);

/// The costs of each pixel, row by row, for a heat map. The settings say that walks are
/// counted.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& costs);

} // namespace gas_app
