// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

#include <apps/gas/image/light_picture.h>
#include <apps/gas/image/picture.h>
#include <apps/gas/render/tile_queue.h>

namespace gas_app {

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

/// Their costs, for heat maps: what the settings say of walks that are counted and of times that
/// are measured.
using TakeCosts = std::function<void(unsigned block, const std::vector<PixelCost>& costs)>;
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeCosts& take);
/// The same, to be watched.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, TileWatch& watch, const TakeCosts& take);

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

/// Which of a picture's pixels and samples are computed together.
struct RenderPass {
    /// 2: pixels of twice the size.
    unsigned divisor = 1;
    unsigned first_sample = 0;
    unsigned sample_count = 1;
    /// Whether the pass is there to be looked at until others come: one sample, with one ambient
    /// ray at most.
    bool is_preview = false;

    bool operator==(const RenderPass&) const = default;
};

/// Ever finer pictures; the last is the one of the settings.
std::vector<RenderPass> plan_passes(const RenderSettings& settings);

/// A picture that is computed pass by pass. The last pass of the plan makes the very picture of
/// `render_picture`.
class ProgressivePicture {
  public:
    /// Both outlive the picture.
    ProgressivePicture(const Stage& stage, const RenderSettings& settings)
        : m_stage(stage), m_settings(settings), m_picture(settings.width, settings.height) {}

    /// Passes are those of the plan, in its order. One that `watch` stops is not complete.
    RenderResult draw(const RenderPass& pass, TileWatch& watch);
    /// Of the pass that is drawn, or was drawn last; each tile when it is done.
    const Picture& get_picture() const { return m_picture; }

  private:
    RenderResult draw_preview(const RenderPass& pass, TileWatch& watch);

    const Stage& m_stage;
    const RenderSettings& m_settings;
    Picture m_picture;
    /// Light of all samples so far, row by row.
    std::vector<Vec3> m_sums;
};

/// The costs as above, to be watched.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings, TileWatch& watch,
                          std::vector<PixelCost>& costs);

} // namespace gas_app
