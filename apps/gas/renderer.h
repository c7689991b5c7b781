#pragma once

#include <functional>

#include "picture.h"
#include "pixel_tracer.h"

namespace gas_app {

struct RenderResult {
    RayCounts ray_counts;
    double seconds = 0.0;
};

/// Computes every pixel of the stage, built before, tile by tile on the threads of the settings.
/// `shade` is called once per pixel with a tracer that no other thread uses. Fills the progress
/// bar.
RenderResult render_pixels(const Stage& stage, const RenderSettings& settings,
                           AppProgressBar& progress_bar,
                           const std::function<void(PixelTracer&, unsigned x, unsigned y)>& shade);

/// The picture of the stage.
RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture);

/// The costs of each pixel, row by row: a heat map. The walk of the settings must count.
RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& costs);

} // namespace gas_app
