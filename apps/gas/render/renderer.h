// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
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

/// A run of the tiles in which a picture is computed, which are numbered row by row.
struct BlockRange {
    unsigned first = 0;
    /// Exclusive.
    unsigned last = 0;
};

unsigned get_block_count(const RenderSettings& settings);
Tile get_block(const RenderSettings& settings, unsigned block);

/// All compute the picture of a stage with built trees, tile by tile on the threads of the
/// settings, and fill the progress bar.

/// The picture of the stage; with `light` (may be null), which has its size, the light as well.
RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture,
                            LightPicture* light = nullptr);

/// The light of some blocks: `take` is called once for each of them, with its pixels row by row, on
/// any of the threads.
using TakeLight = std::function<void(unsigned block, const std::vector<Vec3>& light)>;
RenderResult render_light(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeLight& take);

/// Their costs, for heat maps: what the settings say of walks that are counted and of times that are
/// measured.
using TakeCosts = std::function<void(unsigned block, const std::vector<PixelCost>& costs)>;
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeCosts& take);

/// Paints a block's pixels, whose light is given row by row, into the picture and, unless it is
/// null, the light. `seed`: that of the settings.
void paint_light(const Tile& block, const Vec3* pixels, std::uint64_t seed, Picture& picture,
                 LightPicture* light);

/// The costs of each pixel, row by row.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<PixelCost>& costs);

/// As above; the visits of each pixel.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& visits);

} // namespace gas_app
